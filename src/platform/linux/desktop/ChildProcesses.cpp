#include "platform/linux/desktop/ChildProcesses.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "base/Queue.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 60s;                                     // no program here takes a second
constexpr int kWait = 50;                                        // ms between looks at the limits
constexpr std::size_t kLongestOutput = std::size_t{256} * 1024;  // bytes; the rest is dropped

/// How a child starts: with nothing of this process but its environment.
class SpawnSettings {
 public:
  explicit SpawnSettings(int output) {
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    ::posix_spawnattr_init(&attributes);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    ::sigaddset(&signals, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnSettings() {
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

/// False at the end of the stream.
bool readSome(int descriptor, std::string& text) {
  std::array<char, 4096> buffer;
  const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
  if (count < 0) return errno == EINTR;
  if (text.size() < kLongestOutput) text.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

class ChildProcesses final : public ProcessRunner {
 public:
  Result<Output> run(const std::string& program, const std::vector<std::string>& arguments,
                     std::stop_token stop) override {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return Failure{std::strerror(errno)};
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    pid_t child = 0;
    const SpawnSettings settings(pipe[1]);
    const int error = ::posix_spawn(&child, program.c_str(), &settings.actions,
                                    &settings.attributes, words.data(), ::environ);
    ::close(pipe[1]);
    if (error != 0) {
      ::close(pipe[0]);
      return Failure{program + ": " + std::strerror(error)};
    }

    Output output;
    const auto end = Clock::now() + kLimit;
    pollfd readable{pipe[0], POLLIN, 0};
    for (bool open = true; open;) {
      if (stop.stop_requested() || Clock::now() > end) {
        ::kill(child, SIGKILL);
        break;
      }
      if (::poll(&readable, 1, kWait) > 0) open = readSome(pipe[0], output.text);
    }
    ::close(pipe[0]);
    output.status = waitFor(child);
    return output;
  }
};

}  // namespace

std::shared_ptr<ProcessRunner> createProcessRunner() {
  return std::make_shared<ChildProcesses>();
}

}  // namespace tessaline::platform
