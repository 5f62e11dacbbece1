#pragma once

#include <set>
#include <string>
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
  std::vector<std::string> ran;  // as administrator

  std::optional<unsigned> interfaceFlags(const std::string& name) override {
    if (!exists || name != "awdl0") return std::nullopt;
    return up ? 0x8043U : 0x8042U;
  }
  bool fileExists(const std::string& path) override { return files.contains(path); }
  std::string userName() override { return user; }
  void run(const std::string&, const std::vector<std::string>& arguments) override {
    up = arguments.back() == "up";
  }
  bool runScript(const std::string& source) override {
    ran.push_back(source);
    return true;
  }
};

}  // namespace tessaline::test
