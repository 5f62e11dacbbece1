#include "platform/linux/desktop/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

int lockFile(int descriptor, int operation) {
  int result = 0;
  do {
    result = ::flock(descriptor, operation);
  } while (result != 0 && errno == EINTR);
  return result;
}

/// Waits for the lock in a thread, because the system call knows no time limit. Past the limit the
/// thread is left behind and closes the file itself when it wakes.
class LockWaiter : public std::enable_shared_from_this<LockWaiter> {
 public:
  explicit LockWaiter(int descriptor) : descriptor_(descriptor) {}

  bool wait(Duration limit) {
    std::thread([self = shared_from_this()] { self->block(); }).detach();
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, limit, [this] { return locked_; })) return true;
    abandoned_ = true;
    return false;
  }

 private:
  void block() {
    const bool locked = lockFile(descriptor_, LOCK_EX) == 0;
    const std::lock_guard lock(mutex_);
    locked_ = locked;
    if (abandoned_) ::close(descriptor_);
    ended_.notify_one();
  }

  const int descriptor_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable ended_;
  bool locked_ = false;
  bool abandoned_ = false;
};

}  // namespace

InstanceLock::~InstanceLock() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

InstanceLock::Outcome InstanceLock::acquire(Duration limit) {
  std::error_code error;
  const auto folder = file_.parent_path();
  if (std::filesystem::create_directories(folder, error)) ::chmod(folder.c_str(), 0700);
  const int descriptor = ::open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const auto failed = [this] {
    log("the instance lock " + file_.string() + " does not work: " + std::strerror(errno));
    return Outcome::failed;
  };
  if (descriptor < 0) return failed();
  if (lockFile(descriptor, LOCK_EX | LOCK_NB) == 0) {
    descriptor_ = descriptor;
    return Outcome::held;
  }
  if (errno != EWOULDBLOCK) {
    const auto outcome = failed();
    ::close(descriptor);
    return outcome;
  }
  if (limit <= Duration::zero()) {
    ::close(descriptor);
    return Outcome::taken;
  }
  if (!std::make_shared<LockWaiter>(descriptor)->wait(limit)) return Outcome::taken;
  descriptor_ = descriptor;
  return Outcome::held;
}

}  // namespace tessaline::platform
