#include "platform/linux/wayland/wlroots/OutputLedger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "base/RandomText.h"

namespace tessaline::platform {
namespace {

constexpr std::string_view kPrefix = "tessaline-outputs-";
constexpr std::size_t kLongest = 64 * 1024;  // bytes that are read of another run's file

std::string contentOf(int descriptor) {
  std::string content;
  std::array<char, 4096> part{};
  while (content.size() < kLongest) {
    const ssize_t count = ::read(descriptor, part.data(), part.size());
    if (count <= 0) break;
    content.append(part.data(), static_cast<std::size_t>(count));
  }
  return content;
}

}  // namespace

OutputLedger::OutputLedger(std::filesystem::path folder, const std::filesystem::path& socket)
    : folder_(std::move(folder)), socket_(socket.string()) {}

OutputLedger::~OutputLedger() {
  if (descriptor_ < 0) return;
  // What could not be removed is left to a later run.
  if (outputs_.empty()) ::unlink(file_.c_str());
  ::close(descriptor_);
}

std::vector<std::string> OutputLedger::takeOver() {
  std::vector<std::string> found;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) {
    if (!entry.path().filename().string().starts_with(kPrefix) || entry.path() == file_) continue;
    const int file = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) continue;
    if (::flock(file, LOCK_EX | LOCK_NB) == 0 && inherit(file, found)) {
      ::unlink(entry.path().c_str());
    }
    ::close(file);
  }
  return found;
}

bool OutputLedger::inherit(int descriptor, std::vector<std::string>& found) {
  std::istringstream lines(contentOf(descriptor));
  std::string line;
  std::getline(lines, line);
  std::error_code error;
  // Another compositor's outputs are for a run in there to remove, as long as it is there.
  if (line != socket_) return !std::filesystem::exists(line, error);
  while (std::getline(lines, line)) {
    found.push_back(line);
    outputs_.insert(line);
  }
  // They are written here before they are deleted there: this run may crash as well.
  return !write();
}

std::optional<Failure> OutputLedger::add(const std::string& output) {
  outputs_.insert(output);
  return write();
}

void OutputLedger::remove(const std::string& output) {
  if (outputs_.erase(output) > 0) write();
}

std::optional<Failure> OutputLedger::open() {
  if (descriptor_ >= 0) return std::nullopt;
  const auto token = randomUuid();
  const auto hidden = folder_ / ("." + std::string(kPrefix) + token);
  file_ = folder_ / (std::string(kPrefix) + token);
  descriptor_ = ::open(hidden.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  // It takes its name once it is locked: an unlocked one would be a crashed run's.
  if (descriptor_ >= 0 && ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 &&
      ::rename(hidden.c_str(), file_.c_str()) == 0) {
    return std::nullopt;
  }
  Failure failure{file_.string() + " cannot be written: " + std::strerror(errno)};
  if (descriptor_ >= 0) {
    ::unlink(hidden.c_str());
    ::close(std::exchange(descriptor_, -1));
  }
  return failure;
}

std::optional<Failure> OutputLedger::write() {
  if (auto failure = open()) return failure;
  std::string content = socket_ + '\n';
  for (const auto& output : outputs_) content += output + '\n';
  const auto size = static_cast<off_t>(content.size());
  if (::pwrite(descriptor_, content.data(), content.size(), 0) != size ||
      ::ftruncate(descriptor_, size) != 0) {
    return Failure{file_.string() + " cannot be written: " + std::strerror(errno)};
  }
  return std::nullopt;
}

}  // namespace tessaline::platform
