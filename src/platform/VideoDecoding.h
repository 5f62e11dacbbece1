#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "base/Bytes.h"
#include "base/Geometry.h"
#include "platform/PointerSource.h"
#include "platform/VideoCoding.h"

namespace tessaline::platform {

/// What a stream's parameter sets announce: enough to decode the pictures that follow.
struct VideoFormat {
  ParameterSets parameterSets;
  PixelSize size;  ///< of the visible picture, both sides 1…16384
};

/// One coded picture on its way to the decoder.
struct VideoSample {
  std::shared_ptr<const VideoFormat> format;
  /// What holds the bytes. Whoever counts waiting pictures counts these: let go of it early.
  SharedBytes message;
  ByteView accessUnit;  ///< in `message`: NAL units, each preceded by its length as 4 bytes
};

/// One decoded picture, 8-bit 4:2:0, read-only. Its memory goes back to the decoder when the last
/// owner lets go, so few should be kept.
class VideoPicture {
 public:
  enum class Layout {
    planar,    ///< Y, Cb, Cr
    biPlanar,  ///< Y, interleaved Cb and Cr
  };
  enum class Matrix { bt601, bt709, bt2020 };
  struct Plane {
    const std::uint8_t* data = nullptr;
    int stride = 0;  ///< bytes from row to row
  };

  virtual ~VideoPicture() = default;

  PixelSize size;
  Layout layout = Layout::planar;
  std::array<Plane, 3> planes;  ///< the third is empty when bi-planar
  // What the stream says about its colours.
  Matrix matrix = Matrix::bt601;
  bool fullRange = false;
  /// Where it may differ from the picture delivered before; nothing: anywhere.
  std::optional<PixelRect> changed;
};

/// An H.264 decoder for one screen, on a thread of its own ("tessaline.decode"). Every sample is
/// decoded, as later ones refer to it; each picture is delivered as soon as it is there, none is
/// held back for another. What cannot be decoded is dropped, with at most one log line a minute.
class DecompressionSession {
 public:
  struct Callbacks {
    /// On the session's thread, in the order of the samples; nothing after a flush: what was shown
    /// is over. Never after the session's destructor has returned; may not destroy the session.
    std::function<void(std::shared_ptr<const VideoPicture>)> onPicture;
  };
  virtual ~DecompressionSession() = default;
  /// Callable from any thread; returns at once. How many samples wait here is the caller's to
  /// bound: a sample's `message` is let go of when it has been decoded.
  virtual void decode(VideoSample sample) = 0;
  /// Forgets the samples that wait and what was decoded; the next sample begins another stream.
  /// Callable from any thread; returns at once.
  virtual void flush() = 0;
};

/// Makes decoders and reads images and pictures. The operations are callable from any thread.
class VideoDecoding {
 public:
  virtual ~VideoDecoding() = default;
  /// Nothing when the sets cannot be read or announce pictures that no decoder here takes.
  [[nodiscard]] virtual std::optional<VideoFormat> readFormat(const ParameterSets& sets) = 0;
  [[nodiscard]] virtual std::unique_ptr<DecompressionSession> createDecompressionSession(
      DecompressionSession::Callbacks callbacks) = 0;
  /// `picture` in another size, both sides positive; nothing when memory is short.
  [[nodiscard]] virtual std::shared_ptr<const VideoPicture> scale(const VideoPicture& picture,
                                                                  PixelSize size) = 0;
  /// Writes the pixels of `part`, which lies in `picture` and begins at even coordinates, as 32
  /// bits each, blue first in memory and opaque. `stride` is in bytes.
  virtual void convert(const VideoPicture& picture, const PixelRect& part, std::uint8_t* pixels,
                       int stride) = 0;
  /// The image of a PNG file, at most 1024 pixels wide and high, without hot spot and serial;
  /// nothing when there is none in `file` or it is larger, which is found out before unpacking it.
  [[nodiscard]] virtual std::optional<PointerImage> decodePng(ByteView file) = 0;
};

}  // namespace tessaline::platform
