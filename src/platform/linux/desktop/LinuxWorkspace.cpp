#include "platform/linux/desktop/LinuxWorkspace.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include "base/Log.h"
#include "platform/linux/desktop/ComputerName.h"
#include "platform/linux/desktop/LoginEntry.h"

namespace tessaline::platform {
namespace {

// Says "your predecessor is still ending" from one instance to the next; nobody else's business.
constexpr const char* kSuccessionVariable = "TESSALINE_SUCCESSOR";

/// Starts `arguments[0]` with this process's standard files and nothing else of it: no listening
/// socket and no signal setting survives into the new process.
std::optional<pid_t> start(std::vector<std::string> arguments, std::vector<std::string> extra) {
  std::vector<char*> argumentPointers;
  for (auto& argument : arguments) argumentPointers.push_back(argument.data());
  argumentPointers.push_back(nullptr);
  std::vector<char*> environment;
  for (char** entry = environ; *entry; ++entry) environment.push_back(*entry);
  for (auto& entry : extra) environment.push_back(entry.data());
  environment.push_back(nullptr);

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  sigset_t signals;
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);

  pid_t pid = 0;
  const int error = ::posix_spawnp(&pid, argumentPointers[0], &files, &attributes,
                                   argumentPointers.data(), environment.data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  if (error == 0) return pid;
  log("could not start " + arguments[0] + ": " + std::strerror(error));
  return std::nullopt;
}

std::string ownExecutable() {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) log("this program's own file cannot be found: " + error.message());
  return path.string();
}

}  // namespace

LinuxWorkspace::LinuxWorkspace() : executable_(ownExecutable()) {}

bool LinuxWorkspace::open(const std::string& url) {
  const auto pid = start({"xdg-open", url}, {});
  if (!pid) return false;
  // xdg-open may stay as long as the browser that it starts.
  std::thread([pid = *pid] { ::waitpid(pid, nullptr, 0); }).detach();
  return true;
}

bool LinuxWorkspace::relaunch() {
  if (executable_.empty()) return false;
  return start({executable_}, {std::string(kSuccessionVariable) + "=1"}).has_value();
}

std::string LinuxWorkspace::computerName() const {
  return readComputerName();
}

bool LinuxWorkspace::opensAtLogin(std::string_view label) const {
  return LoginEntry::exists(label);
}

void LinuxWorkspace::setOpensAtLogin(std::string_view label, bool on) {
  if (LoginPortal::needed()) {
    loginPortal_.request(std::string(label), executable_, on);
  } else if (!on) {
    LoginEntry::remove(label);
  } else if (!executable_.empty()) {
    LoginEntry::write(label, executable_);
  }
}

std::unique_ptr<Activity> LinuxWorkspace::beginActivity(ActivityOptions options,
                                                        const std::string& reason) {
  return inhibitor_.begin(options, reason);
}

bool LinuxWorkspace::takeSuccession() {
  const bool successor = std::getenv(kSuccessionVariable) != nullptr;
  ::unsetenv(kSuccessionVariable);
  return successor;
}

}  // namespace tessaline::platform
