// A program that replaces its own file, as an upgrade does, opens a file and a socket that a
// careless library would leak, ignores a signal, blocks another, and relaunches; its successor
// tells what it finds of that.

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iostream>

#include "platform/linux/desktop/LinuxWorkspace.h"

namespace {

namespace fs = std::filesystem;
using namespace tessaline::platform;

int relaunch() {
  LinuxWorkspace workspace;
  const fs::path self = fs::read_symlink("/proc/self/exe");
  fs::rename(self, self.string() + ".old");
  fs::copy_file(self.string() + ".old", self);
  [[maybe_unused]] const int file = ::open("/dev/null", O_RDONLY);
  [[maybe_unused]] const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
  return workspace.relaunch() ? 0 : 1;
}

int reportSlate() {
  int files = 0;
  for (int descriptor = STDERR_FILENO + 1; descriptor < 256; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) >= 0) ++files;
  }
  struct sigaction pipe {};
  ::sigaction(SIGPIPE, nullptr, &pipe);
  sigset_t blocked;
  ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
  std::cout << "successor files=" << files << " ignored=" << (pipe.sa_handler == SIG_IGN)
            << " blocked=" << sigismember(&blocked, SIGTERM)
            << " again=" << LinuxWorkspace::takeSuccession() << std::endl;
  return 0;
}

}  // namespace

int main() {
  if (LinuxWorkspace::takeSuccession()) return reportSlate();
  return relaunch();
}
