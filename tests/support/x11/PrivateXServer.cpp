#include "support/x11/PrivateXServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>

namespace tessaline::test {
namespace {

// The server itself: the wrapper that Debian puts in the path refuses people without a console.
constexpr const char* kServer = "/usr/lib/xorg/Xorg";
constexpr const char* kDriver = "/usr/lib/xorg/modules/drivers/dummy_drv.so";
constexpr auto kStartLimit = std::chrono::seconds(60);  // a loaded machine needs a few seconds

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

/// The line that the server writes once it takes clients; empty when it ended or took too long.
std::string readDisplayNumber(int descriptor) {
  std::string line;
  const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd waiting{descriptor, POLLIN, 0};
    if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) return {};
    char c = 0;
    if (read(descriptor, &c, 1) != 1) return {};
    if (c == '\n') return line;
    line += c;
  }
}

}  // namespace

std::unique_ptr<PrivateXServer> PrivateXServer::start(std::string& problem,
                                                      PixelSize firstDisplay) {
  if (access(kServer, X_OK) != 0 || access(kDriver, R_OK) != 0) {
    problem = "Xorg or its dummy driver (xserver-xorg-video-dummy) is not installed";
    return nullptr;
  }
  std::unique_ptr<PrivateXServer> server(new PrivateXServer);
  const auto folder = server->folder_.path();
  const std::string configuration = folder / "xorg.conf";
  const std::string log = folder / "server.log";
  const std::string output = folder / "output.log";
  writeConfiguration(configuration, firstDisplay);
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
    problem = "no pipe";
    return nullptr;
  }
  const pid_t parent = getpid();
  server->process_ = fork();
  if (server->process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves no server behind
    if (getppid() != parent) _exit(1);
    const int out = open(output.c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    const int displayDescriptor = dup(pipe[1]);  // the copy survives exec
    execl(kServer, kServer, "-config", configuration.c_str(), "-logfile", log.c_str(), "-sharevts",
          "-novtswitch", "-nolisten", "tcp", "-noreset", "-displayfd",
          std::to_string(displayDescriptor).c_str(), nullptr);
    _exit(1);
  }
  close(pipe[1]);
  const std::string number = readDisplayNumber(pipe[0]);
  close(pipe[0]);
  if (number.empty()) {
    std::ifstream lines(output);
    problem = "Xorg did not start: " + std::string(std::istreambuf_iterator<char>(lines), {});
    return nullptr;
  }
  server->display_ = ":" + number;
  return server;
}

void PrivateXServer::kill() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
  // What the server itself would have removed.
  const std::string number = display_.empty() ? "" : display_.substr(1);
  if (number.empty()) return;
  unlink(("/tmp/.X11-unix/X" + number).c_str());
  unlink(("/tmp/.X" + number + "-lock").c_str());
}

PrivateXServer::~PrivateXServer() {
  if (process_ <= 0) return;
  ::kill(process_, SIGTERM);
  waitpid(process_, nullptr, 0);
}

}  // namespace tessaline::test
