#pragma once

#include <memory>
#include <string>

#include "base/Geometry.h"
#include "support/Program.h"

namespace tessaline::test {

/// An X server of the test's own (scripts/desktop): Xorg with the dummy driver, which has 16
/// outputs (DUMMY0 is on, the others are spare) and needs no hardware. It ends with this object or
/// with the test's process.
class PrivateXServer {
 public:
  /// Nothing when something that it takes is not installed or does not start; `problem` says why.
  static std::unique_ptr<PrivateXServer> start(std::string& problem,
                                               PixelSize firstDisplay = {1280, 800});
  ~PrivateXServer();
  PrivateXServer(const PrivateXServer&) = delete;
  PrivateXServer& operator=(const PrivateXServer&) = delete;

  /// As $DISPLAY wants it: ":7". This process has the key to it.
  [[nodiscard]] const std::string& display() const { return display_; }

 private:
  PrivateXServer() = default;

  std::string display_;
  std::unique_ptr<Program> program_;
};

}  // namespace tessaline::test
