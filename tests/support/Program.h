#pragma once

#include <sys/types.h>
#include <string>
#include <utility>
#include <vector>

namespace tessaline::test {

/// A real program that a test starts, with its output collected. It is killed with this object.
class Program {
 public:
  /// Starts `arguments[0]` with `environment` ("NAME=value") on top of this process's own.
  explicit Program(const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  [[nodiscard]] pid_t pid() const { return pid_; }
  [[nodiscard]] const std::string& output() const { return output_; }

  /// Reads output until it contains `text`; false when the program ends first or takes too long.
  bool waitFor(const std::string& text);
  void signal(int number) const;
  /// Reads the rest of the output and waits for the end; the exit code, minus the signal that
  /// killed it, or -1000 when it takes too long.
  int wait();

 private:
  bool readSome();

  pid_t pid_ = -1;
  int descriptor_ = -1;  // what the program writes to
  std::string output_;
};

}  // namespace tessaline::test
