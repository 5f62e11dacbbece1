#include "support/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

namespace tessaline::test {
namespace {

// Programs under test answer in milliseconds; a machine with other work needs patience.
constexpr std::chrono::seconds kPatience{20};

[[noreturn]] void become(std::vector<std::string> arguments, std::vector<std::string> environment) {
  std::vector<char*> pointers;
  for (auto& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  for (auto& entry : environment) ::putenv(entry.data());
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) return;
  pid_ = ::fork();
  if (pid_ == 0) {
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(pipe[1], STDOUT_FILENO);
    ::dup2(pipe[1], STDERR_FILENO);
    become(arguments, environment);
  }
  ::close(pipe[1]);
  descriptor_ = pipe[0];
}

Program::~Program() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  ::close(descriptor_);
}

bool Program::readSome() {
  pollfd source{descriptor_, POLLIN, 0};
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
  if (::poll(&source, 1, static_cast<int>(patience.count())) <= 0) return false;
  char buffer[4096];
  const ssize_t count = ::read(descriptor_, buffer, sizeof buffer);
  if (count <= 0) return false;
  output_.append(buffer, static_cast<std::size_t>(count));
  return true;
}

bool Program::waitFor(const std::string& text) {
  while (output_.find(text) == std::string::npos) {
    if (!readSome()) return false;
  }
  return true;
}

void Program::signal(int number) const {
  ::kill(pid_, number);
}

int Program::wait() {
  while (readSome()) {
  }
  // Its output has ended, so it has ended or is about to; a hanging one is killed by the patience
  // of whoever runs the tests.
  int status = 0;
  if (::waitpid(pid_, &status, 0) != pid_) return -1000;
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace tessaline::test
