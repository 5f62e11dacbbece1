#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "base/Bytes.h"
#include "base/Geometry.h"
#include "base/Queue.h"
#include "base/Result.h"
#include "platform/PixelBuffer.h"
#include "platform/PointerSource.h"

namespace tessaline::platform {

struct CompressionOptions {
  PixelSize size;
  int averageBitRate = 0;  ///< bit/s, kept within a short window
  int expectedFrameRate = 60;
  int maxKeyFrameInterval = 600;  ///< frames
};

/// H.264 parameter sets: NAL header included, no start code.
struct ParameterSets {
  Bytes sequence;
  Bytes picture;
  bool operator==(const ParameterSets&) const = default;
};

/// One coded picture.
struct CodedFrame {
  bool keyFrame = false;
  std::optional<ParameterSets> parameterSets;  ///< present on key frames
  /// The access unit as NAL units, each preceded by its length as 4 big-endian bytes; parameter
  /// sets are not repeated in it.
  SharedBytes data;
  Clock::time_point presentationTime;
  /// Half as wide and high as the picture that was submitted, in whole chroma samples. It changes
  /// with key frames only.
  bool coarse = false;
};

/// What a coder should know of a picture, and what is wanted of it.
struct FrameNotes {
  bool keyFrame = false;  ///< to be decodable without any before it
  /// Where the picture may differ from the one submitted before; nothing: anywhere.
  std::optional<std::vector<PixelRect>> changed = std::nullopt;
  /// The picture stands still: it may take more bits than one that moves.
  bool refine = false;
  /// The picture may be coded at half its width and height; a coder that cannot do so codes it
  /// whole.
  bool coarse = false;
};

/// An H.264 encoder: Constrained High profile, no reordering, one frame in, one frame out. Encoding
/// runs on a thread of the session's own, where at most one frame waits, the newest: a frame
/// submitted while another waits replaces it and inherits its changes and its demand for a key
/// frame.
class CompressionSession {
 public:
  struct Callbacks {
    /// On the session's thread, once per encoded frame; nothing when encoding failed. Never after
    /// the session's destructor has returned; may not destroy the session.
    std::function<void(std::optional<CodedFrame>)> onOutput;
  };
  virtual ~CompressionSession() = default;
  /// Callable from any thread; returns at once.
  virtual void encode(std::shared_ptr<const PixelBuffer> frame, Clock::time_point presentationTime,
                      FrameNotes notes) = 0;
  /// The average bit rate from the next frame on, at most that of the options. Callable from any
  /// thread. Coders that cannot change it keep theirs.
  virtual void setBitRate(int bitsPerSecond) = 0;
  /// Frames submitted whose output has not been delivered: 0, 1, or 2 with one waiting.
  [[nodiscard]] virtual int pendingFrames() const = 0;
};

/// Makes coders and encodes images.
class VideoCoding {
 public:
  virtual ~VideoCoding() = default;
  /// On failure the error text is a decimal status, as the encoder's log line wants it.
  [[nodiscard]] virtual Result<std::unique_ptr<CompressionSession>> createCompressionSession(
      const CompressionOptions& options, CompressionSession::Callbacks callbacks) = 0;
  /// A PNG file of `image`, empty when it cannot be made.
  [[nodiscard]] virtual Bytes encodePng(const PointerImage& image) = 0;
};

}  // namespace tessaline::platform
