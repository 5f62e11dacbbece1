#include "stages/PainterProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace tessaline::bench {

PainterProcess::PainterProcess(const std::string& load, const PixelRect& bounds) {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  std::string program = self.parent_path() / "painter";
  std::string geometry = std::to_string(bounds.width) + "x" + std::to_string(bounds.height) + "+" +
                         std::to_string(bounds.x) + "+" + std::to_string(bounds.y);
  std::string kind = load;
  std::string options[] = {"--load", "--geometry"};
  const std::array<char*, 6> arguments = {program.data(),    options[0].data(), kind.data(),
                                          options[1].data(), geometry.data(),   nullptr};
  posix_spawn_file_actions_t actions{};
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  if (posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments.data(), environ) != 0) {
    process_ = 0;
  }
  posix_spawn_file_actions_destroy(&actions);
}

PainterProcess::~PainterProcess() {
  if (process_ <= 0) return;
  kill(process_, SIGTERM);
  waitpid(process_, nullptr, 0);
}

}  // namespace tessaline::bench
