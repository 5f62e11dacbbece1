#pragma once

#include <pipewire/pipewire.h>

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/wayland/screencast/CastMemory.h"

namespace tessaline::platform {

/// A buffer of a stream, and its memory.
struct CastSlot {
  pw_buffer* buffer = nullptr;  ///< none once PipeWire took it away; the thread of PipeWire only
  std::shared_ptr<const CastMemory> memory;
};

/// The way of buffers back to the compositor, from whichever thread is done with one. Buffers go
/// back on the thread of PipeWire only, so that nobody else ever waits for its lock. Shared by the
/// stream and by the pictures in its buffers, which may outlive it.
class CastReturns {
 public:
  /// `returned` is signalled when there is something to collect.
  void open(pw_loop* loop, spa_source* returned) {
    const std::lock_guard lock(mutex_);
    loop_ = loop;
    returned_ = returned;
  }
  void close() {
    const std::lock_guard lock(mutex_);
    returned_ = nullptr;
    waiting_.clear();
  }

  void giveBack(std::shared_ptr<CastSlot> slot) {
    const std::lock_guard lock(mutex_);
    if (!returned_) return;
    waiting_.push_back(std::move(slot));
    // The thread itself collects before it rests.
    if (std::this_thread::get_id() != thread_) pw_loop_signal_event(loop_, returned_);
  }
  /// On the thread of PipeWire.
  [[nodiscard]] std::vector<std::shared_ptr<CastSlot>> collect() {
    const std::lock_guard lock(mutex_);
    thread_ = std::this_thread::get_id();
    return std::exchange(waiting_, {});
  }

 private:
  std::mutex mutex_;  // guards everything
  pw_loop* loop_ = nullptr;
  spa_source* returned_ = nullptr;
  std::thread::id thread_;
  std::vector<std::shared_ptr<CastSlot>> waiting_;
};

}  // namespace tessaline::platform
