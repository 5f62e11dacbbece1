#include "platform/common/media/DecodedPictures.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <utility>

#include "platform/common/media/ChangedArea.h"

namespace tessaline::platform {
namespace {

constexpr int kAlignment = 128;        // bytes: more than any vector instruction asks for
constexpr std::size_t kPadding = 128;  // bytes that decoders may read after a plane's last row

constexpr int roundUp(int value, int unit) {
  return (value + unit - 1) / unit * unit;
}

struct FreeMemory {
  void operator()(std::uint8_t* memory) const { av_free(memory); }
};

}  // namespace

struct DecodedPictures::Piece {
  PixelSize size;  // of the coded picture
  PixelSize macroblocks;
  std::array<std::size_t, 3> offsets{};
  std::array<int, 3> strides{};
  std::size_t bytes = 0;
  std::unique_ptr<std::uint8_t, FreeMemory> memory;
  PixelRect stale;                 // macroblocks that differ from the newest picture's
  std::atomic<bool> used = false;  // by libavcodec or by who got the picture

  [[nodiscard]] PixelRect whole() const { return {0, 0, macroblocks.width, macroblocks.height}; }

  bool allocate(AVCodecContext& context, PixelSize coded) {
    size = coded;
    macroblocks = {roundUp(coded.width, kMacroblock) / kMacroblock,
                   roundUp(coded.height, kMacroblock) / kMacroblock};
    int width = coded.width, height = coded.height;
    std::array<int, AV_NUM_DATA_POINTERS> alignments{};
    avcodec_align_dimensions2(&context, &width, &height, alignments.data());
    for (std::size_t i = 0; i < strides.size(); ++i) {
      const int share = i == 0 ? 1 : 2;
      offsets[i] = bytes;
      strides[i] = roundUp(width, 2 * kAlignment) / share;
      bytes += static_cast<std::size_t>(strides[i]) *
                   static_cast<std::size_t>(roundUp(height, 2 * kMacroblock) / share) +
               kPadding;
    }
    memory.reset(static_cast<std::uint8_t*>(av_mallocz(bytes)));
    return memory != nullptr;
  }

  void copy(const Piece& from, const PixelRect& area) {
    for (std::size_t i = 0; i < strides.size(); ++i) {
      const int side = i == 0 ? kMacroblock : kMacroblock / 2;
      for (int row = area.y * side; row < (area.y + area.height) * side; ++row) {
        const std::size_t at =
            offsets[i] + static_cast<std::size_t>(row) * static_cast<std::size_t>(strides[i]) +
            static_cast<std::size_t>(area.x * side);
        std::memcpy(memory.get() + at, from.memory.get() + at,
                    static_cast<std::size_t>(area.width * side));
      }
    }
  }
};

DecodedPictures::DecodedPictures() = default;
DecodedPictures::~DecodedPictures() = default;

void DecodedPictures::serve(AVCodecContext& context) {
  context.opaque = this;
  context.get_buffer2 = give;
}

std::optional<PixelSize> DecodedPictures::repeatable() const {
  if (!newest_) return std::nullopt;
  return newest_->macroblocks;
}

std::shared_ptr<DecodedPictures::Piece> DecodedPictures::freePiece(AVCodecContext& context,
                                                                   const AVFrame& frame) {
  const PixelSize size{frame.width, frame.height};
  if (!pieces_.empty() && pieces_.front()->size != size) {
    pieces_.clear();
    newest_.reset();
  }
  std::shared_ptr<Piece> best;
  for (const auto& piece : pieces_) {
    if (piece == newest_ || piece->used.load(std::memory_order_acquire)) continue;
    const auto cost = [](const Piece& of) { return of.stale.width * of.stale.height; };
    if (!best || cost(*piece) < cost(*best)) best = piece;
  }
  if (best) return best;
  auto fresh = std::make_shared<Piece>();
  if (!fresh->allocate(context, size)) return nullptr;
  fresh->stale = fresh->whole();
  return pieces_.emplace_back(std::move(fresh));
}

int DecodedPictures::give(AVCodecContext* context, AVFrame* frame, int flags) {
  if (frame->format != AV_PIX_FMT_YUV420P && frame->format != AV_PIX_FMT_YUVJ420P) {
    return avcodec_default_get_buffer2(context, frame, flags);
  }
  auto& self = *static_cast<DecodedPictures*>(context->opaque);
  const auto piece = self.freePiece(*context, *frame);
  if (!piece) return AVERROR(ENOMEM);
  if (self.repeat_ && self.newest_) piece->copy(*self.newest_, piece->stale);
  piece->stale = piece->whole();  // until it has been decoded into
  auto owner = std::make_unique<std::shared_ptr<Piece>>(piece);
  frame->buf[0] = av_buffer_create(
      piece->memory.get(), piece->bytes,
      [](void* opaque, std::uint8_t*) {
        const std::unique_ptr<std::shared_ptr<Piece>> last(
            static_cast<std::shared_ptr<Piece>*>(opaque));
        (*last)->used.store(false, std::memory_order_release);
      },
      owner.get(), 0);
  if (!frame->buf[0]) return AVERROR(ENOMEM);
  static_cast<void>(owner.release());
  piece->used.store(true, std::memory_order_relaxed);
  for (std::size_t i = 0; i < piece->strides.size(); ++i) {
    frame->data[i] = piece->memory.get() + piece->offsets[i];
    frame->linesize[i] = piece->strides[i];
  }
  frame->extended_data = frame->data;
  return 0;
}

void DecodedPictures::decoded(const AVFrame& frame, const std::optional<PixelRect>& changed) {
  newest_.reset();
  for (const auto& piece : pieces_) {
    if (frame.data[0] == piece->memory.get()) newest_ = piece;
    const PixelRect stale = piece->stale;
    piece->stale = piece->whole();
    if (changed) piece->stale = intersected(united(stale, *changed), piece->whole());
  }
  if (newest_) newest_->stale = {};
}

}  // namespace tessaline::platform
