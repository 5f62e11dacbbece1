#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/Geometry.h"

struct AVCodecContext;
struct AVFrame;

namespace tessaline::platform {

/// The memory that libavcodec decodes into. Slices that only repeat the picture before need not be
/// decoded when the memory has that picture already: each piece knows where it differs from the
/// newest, so that bringing it up to date costs what has changed meanwhile. Lives on its decoder's
/// thread; what it has handed out may outlive it and be let go of anywhere.
class DecodedPictures {
 public:
  DecodedPictures();
  ~DecodedPictures();
  DecodedPictures(const DecodedPictures&) = delete;
  DecodedPictures& operator=(const DecodedPictures&) = delete;

  /// Has `context`, which is not open yet, take its pictures' memory from here.
  void serve(AVCodecContext& context);
  /// The newest picture's, in macroblocks; nothing when it cannot be repeated.
  [[nodiscard]] std::optional<PixelSize> repeatable() const;
  /// What the next picture is to begin as: the newest one, or anything at all.
  void repeatNext(bool repeat) { repeat_ = repeat; }
  /// `frame` has been decoded and differs from the newest only in `changed`, macroblocks, which may
  /// reach beyond the picture.
  void decoded(const AVFrame& frame, const std::optional<PixelRect>& changed);
  /// What the newest picture is, is not known any more.
  void forget() { newest_ = nullptr; }

 private:
  struct Piece;
  static int give(AVCodecContext* context, AVFrame* frame, int flags);
  [[nodiscard]] std::shared_ptr<Piece> freePiece(AVCodecContext& context, const AVFrame& frame);

  std::vector<std::shared_ptr<Piece>> pieces_;
  std::shared_ptr<Piece> newest_;
  bool repeat_ = false;
};

}  // namespace tessaline::platform
