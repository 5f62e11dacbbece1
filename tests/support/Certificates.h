#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/Bytes.h"
#include "support/TemporaryFolder.h"

namespace tessaline::test {

/// A certificate authority of the test's own, made with the openssl command in a folder that goes
/// with it.
class Certificates {
 public:
  Certificates() {
    run("req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ca.key -out ca.pem "
        "-days 365 -subj "
        "/CN=Authority");
  }

  /// Runs openssl with files of the folder; quotes are the shell's.
  void run(const std::string& arguments) const {
    const std::string command = "cd '" + folder_.path().string() + "' && openssl " + arguments +
                                " >log 2>&1 || { cat log; exit 1; }";
    if (std::system(command.c_str()) != 0) std::abort();
  }
  /// Makes `file`.pem, signed for the key of the request `file`.csr.
  void sign(const std::string& file, const std::string& name, int days = 90) const {
    std::ofstream(folder_.path() / "extensions") << "subjectAltName=DNS:" << name;
    run("x509 -req -in " + file + ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -extfile " +
        "extensions -days " + std::to_string(days) + " -out " + file + ".pem");
  }
  /// A key with its certificate as a PKCS #12 bundle whose password is "secret".
  [[nodiscard]] Bytes identity(const std::string& name) const {
    run("req -new -newkey rsa:2048 -nodes -keyout own.key -out own.csr -subj '/CN=" + name + "'");
    sign("own", name);
    run("pkcs12 -export -inkey own.key -in own.pem -certfile ca.pem -out own.p12 -passout "
        "pass:secret");
    const auto text = read("own.p12");
    return {text.begin(), text.end()};
  }
  [[nodiscard]] std::string read(const std::string& file) const {
    return readFile(folder_.path() / file);
  }
  [[nodiscard]] const std::filesystem::path& folder() const { return folder_.path(); }
  /// What a client trusts.
  [[nodiscard]] std::string authority() const { return (folder_.path() / "ca.pem").string(); }

 private:
  const TemporaryFolder folder_;
};

}  // namespace tessaline::test
