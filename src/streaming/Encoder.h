#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/VideoCoding.h"
#include "streaming/ScreenLink.h"

namespace tessaline {

/// Turns captured pictures into H.264 and hands the result straight to the session's link: the
/// parameter sets before every key frame, and every access unit. Whatever the link drops makes the
/// next frame a key frame. `encode` and `forceKey` are callable from any thread; the output runs on
/// the coder's own thread. Owned by its session.
class Encoder {
 public:
  /// On the coder's thread.
  struct Callbacks {
    /// After each frame, whatever became of it: another may be submitted.
    std::function<void(bool keyFrame)> onOutput;
    /// Between the parameter sets and the first frame of another size.
    std::function<void(bool coarse)> onSizeChange;
  };
  /// Nothing when the coder cannot be made, with a log line.
  [[nodiscard]] static std::unique_ptr<Encoder> create(platform::VideoCoding& coding,
                                                       PixelSize size, int bitrate,
                                                       std::shared_ptr<ScreenLink> link,
                                                       Callbacks callbacks);
  ~Encoder();

  /// Submits one picture; returns at once.
  void encode(std::shared_ptr<const platform::PixelBuffer> picture,
              Clock::time_point presentationTime, platform::FrameNotes notes);
  /// As the coder's.
  void setBitRate(int bitsPerSecond) { coder_->setBitRate(bitsPerSecond); }

  /// The next submitted picture is to become a key frame. True from the start.
  [[nodiscard]] bool forceKey() const;
  void setForceKey(bool force);

  /// Pictures submitted whose output is still to come.
  [[nodiscard]] int pendingFrames() const { return coder_->pendingFrames(); }

 private:
  explicit Encoder(std::shared_ptr<ScreenLink> link, Callbacks callbacks);
  void output(const platform::CodedFrame& frame);

  const std::shared_ptr<ScreenLink> link_;
  const Callbacks callbacks_;
  bool coarse_ = false;  // the size of the parameter sets that the link took last
  mutable std::mutex mutex_;
  bool forceKey_ = true;                                 // guarded by mutex_
  std::unique_ptr<platform::CompressionSession> coder_;  // destroyed first: it calls back
};

}  // namespace tessaline
