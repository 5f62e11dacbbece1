#include "support/x11/PrivateXServer.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace tessaline::test {
namespace {

// The server itself: the wrapper that Debian puts in the path refuses people without a console.
constexpr const char* kServer = "/usr/lib/xorg/Xorg";
constexpr const char* kDriver = "/usr/lib/xorg/modules/drivers/dummy_drv.so";

void writeConfiguration(const std::filesystem::path& path, PixelSize size) {
  std::ofstream(path) << R"(Section "ServerFlags"
  Option "AutoAddDevices" "false"
  Option "AutoAddGPU" "false"
  Option "BlankTime" "0"
  Option "OffTime" "0"
EndSection
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 256000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5-1000
  VertRefresh 5-200
EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Virtual 8192 4320
    Modes ")" << size.width
                      << "x" << size.height << R"("
  EndSubSection
EndSection
)";
}

}  // namespace

std::unique_ptr<PrivateXServer> PrivateXServer::start(std::string& problem,
                                                      PixelSize firstDisplay) {
  if (access(kServer, X_OK) != 0 || access(kDriver, R_OK) != 0) {
    problem = "Xorg or its dummy driver (xserver-xorg-video-dummy) is not installed";
    return nullptr;
  }
  std::unique_ptr<PrivateXServer> server(new PrivateXServer);
  const std::string folder = server->folder_.path();
  writeConfiguration(folder + "/xorg.conf", firstDisplay);
  // A test that crashes leaves no server behind. What the server prints is the number alone, once
  // it takes clients.
  const std::string command = std::string("exec ") + kServer + " -config " + folder +
                              "/xorg.conf -logfile " + folder + "/server.log -displayfd 1" +
                              " -sharevts -novtswitch -nolisten tcp -noreset 2>" + folder +
                              "/output.log";
  server->program_ = std::make_unique<Program>(
      std::vector<std::string>{"setpriv", "--pdeathsig", "KILL", "sh", "-c", command});
  if (!server->program_->waitFor("\n")) {
    problem = "Xorg did not start: " + readFile(folder + "/output.log");
    return nullptr;
  }
  const std::string& said = server->program_->output();
  server->display_ = ":" + said.substr(0, said.find('\n'));
  return server;
}

void PrivateXServer::kill() {
  program_.reset();
  if (display_.empty()) return;
  // What the server itself would have removed.
  unlink(("/tmp/.X11-unix/X" + display_.substr(1)).c_str());
  unlink(("/tmp/.X" + display_.substr(1) + "-lock").c_str());
}

}  // namespace tessaline::test
