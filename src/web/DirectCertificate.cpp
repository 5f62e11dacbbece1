#include "web/DirectCertificate.h"

#include <algorithm>
#include <array>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fstream>
#include <iterator>
#include <utility>

#include "base/Log.h"
#include "base/PrivateFile.h"
#include "base/RandomText.h"

namespace tessaline {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using namespace std::chrono_literals;

constexpr std::string_view kServiceKey = "certificateServiceURL";
constexpr std::string_view kDomainKey = "directDomain";

constexpr const char* kOpenssl = "/usr/bin/openssl";
constexpr auto kCertificateLimit = 120s;  // an authority may look things up before it signs
constexpr auto kNameLimit = 30s;
constexpr const char* kRenewBefore = "2592000";  // seconds of validity left: 30 days
constexpr std::size_t kLongestMessage = 300;     // characters of the service's own words in the log

// Without l, o, 0 and 1: the id is part of a name that people read.
constexpr std::string_view kIDAlphabet = "abcdefghijkmnpqrstuvwxyz23456789";
constexpr std::size_t kIDLength = 12;
constexpr std::string_view kTokenAlphabet =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr std::size_t kTokenLength = 40;
constexpr std::string_view kPasswordAlphabet = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t kPasswordLength = 24;

// A new identity is made in a folder of its own; these take their places when all are complete. The
// bundle comes last: what is served is never older than what lies beside it.
constexpr const char* kRenewalFolder = "renewal";
constexpr std::array<const char*, 4> kRenewed = {"tls-key.pem", "tls-cert.pem", "tls-password.txt",
                                                 "tls.p12"};

constexpr std::size_t kRoom = std::size_t{64} * 1024;  // bytes; more than all of them take

using Problem = std::optional<Failure>;

bool isDomain(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' &&
         std::ranges::all_of(text, [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '-' || c == '.';
         });
}

std::string readAll(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string textOf(const json::object& reply, const char* key, const char* otherwise) {
  const auto* value = reply.if_contains(key);
  const auto* text = value ? value->if_string() : nullptr;
  if (!text || text->empty()) return otherwise;
  return {text->begin(), text->end()};
}

std::string messageOf(const json::object& reply, const char* otherwise) {
  return firstCharacters(textOf(reply, "error", otherwise), kLongestMessage);
}

}  // namespace

struct DirectCertificate::Settings {
  std::string service;  // ends in a slash
  std::string domain;
  std::optional<std::string> address;  // of this computer
};

/// One refresh, on "tessaline.certificate".
class DirectCertificate::Work {
 public:
  Work(Services services, TLSIdentity identity, Settings settings, std::stop_token stop)
      : services_(std::move(services)),
        identity_(std::move(identity)),
        settings_(std::move(settings)),
        stop_(std::move(stop)) {}

  bool run();

 private:
  using Arguments = std::vector<std::string>;

  Problem prepare();
  Problem keep(const char* file, std::size_t length, std::string_view alphabet, std::string& value);
  bool needsCertificate();
  Problem issue();
  Problem makeIdentity(const fs::path& folder);
  Result<bool> updateName();
  Result<json::object> post(const std::string& path, const json::object& body, Duration timeout);
  Result<std::string> openssl(const Arguments& arguments);
  [[nodiscard]] fs::path file(const char* name) const { return identity_.folder() / name; }

  const Services services_;
  const TLSIdentity identity_;
  const Settings settings_;
  const std::stop_token stop_;
  std::string id_;
  std::string token_;
  std::string baseName_;  // what follows the address in host names
};

bool DirectCertificate::Work::run() {
  bool changed = false;
  Problem problem = prepare();
  if (!problem && needsCertificate()) {
    problem = issue();
    changed = !problem;
  }
  if (!problem) {
    auto renamed = updateName();
    if (renamed) {
      changed = changed || *renamed;
    } else {
      problem = Failure{renamed.error()};
    }
  }
  if (problem && !stop_.stop_requested()) log("certificate: " + problem->text);
  return changed;
}

Problem DirectCertificate::Work::prepare() {
  if (!settings_.service.starts_with("https://")) {
    return Failure{std::string(kServiceKey) + " has to begin with https://"};
  }
  if (!isDomain(settings_.domain)) return Failure{std::string(kDomainKey) + " is no domain name"};
  if (auto problem = makePrivateFolder(identity_.folder())) return problem;
  if (auto problem = keep("direct-id.txt", kIDLength, kIDAlphabet, id_)) return problem;
  if (auto problem = keep("direct-token.txt", kTokenLength, kTokenAlphabet, token_)) return problem;
  baseName_ = id_ + ".direct." + settings_.domain;
  return std::nullopt;
}

/// The value in `file`, made when it is missing.
Problem DirectCertificate::Work::keep(const char* name, std::size_t length,
                                      std::string_view alphabet, std::string& value) {
  if (auto stored = readTrimmed(file(name))) {
    value = std::move(*stored);
    return std::nullopt;
  }
  value = randomText(length, alphabet);
  return replacePrivateFile(file(name), value + "\n");
}

bool DirectCertificate::Work::needsCertificate() {
  const std::string certificate = file("tls-cert.pem");
  std::error_code ignored;
  if (!fs::exists(certificate, ignored) || !fs::exists(identity_.p12(), ignored)) return true;
  auto text = openssl({"x509", "-in", certificate, "-noout", "-subject", "-text"});
  if (!text || text->find(baseName_) == std::string::npos ||
      text->find("rsaEncryption") == std::string::npos) {
    return true;
  }
  if (!openssl({"x509", "-in", certificate, "-noout", "-checkend", kRenewBefore})) return true;
  // A power cut between the files leaves a bundle that its password does not open.
  return !identity_.load();
}

/// What is served stays what it is until the new identity is complete on the disk.
Problem DirectCertificate::Work::issue() {
  const fs::path folder = file(kRenewalFolder);
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  Problem problem = makePrivateFolder(folder);
  if (!problem) problem = makeIdentity(folder);
  for (const char* name : kRenewed) {
    if (problem) break;
    std::error_code error;
    fs::rename(folder / name, file(name), error);
    if (error) problem = Failure{file(name).string() + ": " + error.message()};
  }
  fs::remove_all(folder, ignored);
  if (!problem) log("certificate: issued for *." + baseName_);
  return problem;
}

Problem DirectCertificate::Work::makeIdentity(const fs::path& folder) {
  const std::string key = folder / "tls-key.pem";
  const std::string request = folder / "tls-csr.pem";
  const std::string certificate = folder / "tls-cert.pem";
  const std::string password = folder / "tls-password.txt";
  const std::string bundle = folder / "tls.p12";
  const std::string name = "*." + baseName_;

  // The command does not always notice a full disk.
  if (auto problem = replacePrivateFile(folder / "room", std::string(kRoom, ' '))) return problem;
  auto made = openssl({"genrsa", "-out", key, "2048"});
  if (!made) return Failure{made.error()};
  made = openssl({"req", "-new", "-key", key, "-subj", "/CN=" + name, "-addext",
                  "subjectAltName=DNS:" + name, "-out", request});
  if (!made) return Failure{made.error()};

  auto reply =
      post("cert", {{"token", token_}, {"id", id_}, {"csr", readAll(request)}}, kCertificateLimit);
  if (!reply) return Failure{reply.error()};
  const std::string chain = textOf(*reply, "cert", "");
  if (chain.empty()) return Failure{messageOf(*reply, "no certificate")};
  if (auto fault = services_.security->findFault(chain, readAll(key), "direct." + baseName_)) {
    return Failure{*fault};
  }

  const std::string secret = randomText(kPasswordLength, kPasswordAlphabet);
  if (auto problem = replacePrivateFile(certificate, chain)) return problem;
  if (auto problem = replacePrivateFile(password, secret + "\n")) return problem;
  // From a file: everybody on the computer can read a command line.
  made = openssl({"pkcs12", "-export", "-inkey", key, "-in", certificate, "-name", "Tessaline",
                  "-out", bundle, "-passout", "file:" + password});
  if (!made) return Failure{made.error()};
  const std::string bytes = readAll(bundle);
  auto identity = services_.security->importIdentity(viewBytes(bytes), secret);
  if (!identity) return Failure{"the new identity does not work: " + identity.error()};
  // Once more, for their modes and to have them on the disk.
  if (auto problem = replacePrivateFile(bundle, bytes)) return problem;
  return replacePrivateFile(key, readAll(key));
}

Result<bool> DirectCertificate::Work::updateName() {
  if (!settings_.address) return false;
  std::string expected = *settings_.address + "." + baseName_;
  std::replace(expected.begin(),
               expected.begin() + static_cast<std::ptrdiff_t>(settings_.address->size()), '.', '-');
  if (identity_.hostName() == expected) return false;

  auto reply = post("ip", {{"id", id_}, {"token", token_}, {"ip", *settings_.address}}, kNameLimit);
  if (!reply) return Failure{reply.error()};
  const std::string host = textOf(*reply, "host", "");
  if (host.empty()) return Failure{messageOf(*reply, "no name")};
  // The link with its key goes wherever this name leads.
  const std::string_view label = std::string_view(host).substr(0, host.find('.'));
  if (!isDomain(label) || host != std::string(label) + "." + baseName_) {
    return Failure{"the service gave a name that is not ours"};
  }
  if (auto problem = replacePrivateFile(identity_.host(), host + "\n")) return *problem;
  log("certificate: name " + host);
  return true;
}

Result<json::object> DirectCertificate::Work::post(const std::string& path,
                                                   const json::object& body, Duration timeout) {
  auto reply =
      services_.http->postJson(settings_.service + path, json::serialize(body), timeout, stop_);
  if (!reply) return Failure{reply.error()};
  boost::system::error_code error;
  json::value value = json::parse(*reply, error);
  if (error || !value.is_object()) return Failure{"bad reply from " + path};
  return std::move(value.get_object());
}

Result<std::string> DirectCertificate::Work::openssl(const Arguments& arguments) {
  auto output = services_.processes->run(kOpenssl, arguments, stop_);
  if (!output) return Failure{output.error()};
  if (output->status != 0) return Failure{"openssl " + arguments.front() + " failed"};
  return std::move(output->text);
}

DirectCertificate::DirectCertificate(Services services, const UserDefaults& defaults,
                                     TLSIdentity identity)
    : services_(std::move(services)), defaults_(defaults), identity_(std::move(identity)) {}

DirectCertificate::~DirectCertificate() {
  stop_.request_stop();
}

std::optional<DirectCertificate::Settings> DirectCertificate::settings() const {
  auto service = defaults_.string(kServiceKey).value_or("");
  auto domain = defaults_.string(kDomainKey).value_or("");
  if (service.empty() || domain.empty()) return std::nullopt;
  if (!service.ends_with('/')) service += '/';
  return Settings{std::move(service), std::move(domain), services_.network.localIPv4Address()};
}

void DirectCertificate::refresh(std::function<void(bool)> done) {
  const auto main = services_.queues.main();
  auto wanted = settings();
  if (!wanted) {
    main->async([done = std::move(done)] { done(false); });
    return;
  }
  if (std::exchange(*busy_, true)) return;
  // Its work blocks, so it has a thread of its own.
  if (!queue_) queue_ = services_.queues.thread("tessaline.certificate");
  queue_->async(
      [work = std::make_shared<Work>(services_, identity_, std::move(*wanted), stop_.get_token()),
       main, busy = busy_, done = std::move(done)] {
        const bool changed = work->run();
        main->async([busy, done, changed] {
          *busy = false;
          done(changed);
        });
      });
}

}  // namespace tessaline
