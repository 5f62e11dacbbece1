#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/SystemCommands.h"

namespace tessaline::test {

/// A system that writes down what it is asked to run, and whose radio link obeys.
class RecordingCommands final : public platform::SystemCommands {
 public:
  bool exists = true;  // the radio link
  bool up = true;
  std::string user = "ana";
  std::set<std::string> files;
  std::vector<std::string> ran;

  std::optional<unsigned> interfaceFlags(const std::string& name) override {
    if (!exists || name != "awdl0") return std::nullopt;
    return up ? 0x8043U : 0x8042U;
  }
  bool fileExists(const std::string& path) override { return files.contains(path); }
  std::string userName() override { return user; }
  void run(const std::string& program, const std::vector<std::string>& arguments) override {
    std::string line = program;
    for (const auto& argument : arguments) line += " [" + argument + "]";
    record(std::move(line), arguments.back() == "up");
  }
  bool runScript(const std::string& source) override {
    record(source, up && source.find("ifconfig awdl0 down\" with") == std::string::npos);
    return true;
  }
  [[nodiscard]] std::vector<std::string> take() { return std::exchange(ran, {}); }

 private:
  void record(std::string line, bool nowUp) {
    ran.push_back(std::move(line));
    up = nowUp;
  }
};

}  // namespace tessaline::test
