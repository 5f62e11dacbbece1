#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/CaptureStream.h"
#include "support/Eventually.h"

namespace tessaline::test {

/// What a capture delivers, in order, and how it ends. Outlives the capture; used by the test's
/// thread.
class CapturedFrames {
 public:
  platform::CaptureStream::Callbacks callbacks() {
    platform::CaptureStream::Callbacks callbacks;
    callbacks.onFrame = [this](platform::CapturedFrame frame) {
      const std::lock_guard lock(mutex_);
      frames_.push_back(std::move(frame));
    };
    callbacks.onStopped = [this](const std::string& text) {
      const std::lock_guard lock(mutex_);
      stops_.push_back(text);
    };
    callbacks.mayDeliver = [this] {
      ++asked;
      return mayDeliver.load();
    };
    return callbacks;
  }
  std::size_t count() {
    const std::lock_guard lock(mutex_);
    return frames_.size();
  }
  /// Takes the oldest frame, waiting for it.
  platform::CapturedFrame next() {
    EXPECT_TRUE(eventually([&] { return count() > 0; })) << "no frame came";
    const std::lock_guard lock(mutex_);
    if (frames_.empty()) return {};
    platform::CapturedFrame frame = std::move(frames_.front());
    frames_.pop_front();
    return frame;
  }
  std::vector<std::string> stops() {
    const std::lock_guard lock(mutex_);
    return stops_;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    frames_.clear();
    stops_.clear();
  }

  std::atomic<bool> mayDeliver = true;
  std::atomic<int> asked = 0;

 private:
  std::mutex mutex_;
  std::deque<platform::CapturedFrame> frames_;
  std::vector<std::string> stops_;
};

}  // namespace tessaline::test
