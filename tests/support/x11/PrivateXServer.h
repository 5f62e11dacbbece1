#pragma once

#include <memory>
#include <string>

#include "base/Geometry.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace tessaline::test {

/// An X server of the test's own: Xorg with the dummy driver, which has 16 outputs (DUMMY0 is on,
/// the others are spare) and needs no hardware. It chooses a free display number, keeps its log and
/// configuration in a temporary folder, and ends with this object or with the test's process.
class PrivateXServer {
 public:
  /// Nothing when Xorg or its dummy driver is not installed or does not start; `problem` says why.
  static std::unique_ptr<PrivateXServer> start(std::string& problem,
                                               PixelSize firstDisplay = {1280, 800});
  ~PrivateXServer() { kill(); }
  PrivateXServer(const PrivateXServer&) = delete;
  PrivateXServer& operator=(const PrivateXServer&) = delete;

  /// As $DISPLAY wants it: ":7".
  [[nodiscard]] const std::string& display() const { return display_; }
  /// Ends the server at once, as a crash would.
  void kill();

 private:
  PrivateXServer() = default;

  TemporaryFolder folder_;
  std::string display_;
  std::unique_ptr<Program> program_;
};

}  // namespace tessaline::test
