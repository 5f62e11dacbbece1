#pragma once

#include <mutex>

#include "platform/CaptureStream.h"

namespace tessaline {

/// Wakes a session's capture from other threads (the link's and the encoder's), whichever of them
/// ends first.
class CaptureWaker {
 public:
  void set(platform::CaptureStream* stream) {
    const std::lock_guard lock(mutex_);
    stream_ = stream;
  }
  void wake() {
    const std::lock_guard lock(mutex_);
    if (stream_) stream_->wake();
  }

 private:
  std::mutex mutex_;
  platform::CaptureStream* stream_ = nullptr;  // guarded by mutex_
};

}  // namespace tessaline
