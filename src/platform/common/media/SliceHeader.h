#pragma once

#include <optional>

#include "base/Bytes.h"
#include "platform/VideoCoding.h"
#include "platform/common/media/BitStream.h"

namespace tessaline::platform {

/// What an encoder's parameter sets say about the P slices of its stream: all that somebody else
/// needs to know to add slices of his own.
struct SliceShape {
  int frameNumberBits = 4;
  int initialQp = 26;
  int chromaQpOffset = 0;
  bool transform8x8 = false;  ///< macroblocks say which transform they use
  bool deblockingControl = false;

  /// Nothing for streams with something that `writeSliceHeader` does not know.
  [[nodiscard]] static std::optional<SliceShape> read(const ParameterSets& sets);
};

/// The header of a slice of a P picture that others may refer to, not deblocked, up to its
/// macroblocks, of which `first` is the first. The NAL header is not part of it.
void writeSliceHeader(BitWriter& writer, const SliceShape& shape, std::uint32_t first,
                      std::uint32_t frameNumber, int qp);
constexpr std::uint8_t kReferenceSliceUnit = 0x41;  ///< the NAL header of such a slice

/// The first macroblock of a slice, a NAL unit; nothing when it is another unit, or begins anew.
[[nodiscard]] std::optional<std::uint32_t> firstMacroblock(ByteView unit);

/// Gives every slice of a coded picture (NAL units after their length as 4 big-endian bytes) the
/// frame number `frameNumber`. Pictures that start anew stay as they are: theirs is 0.
void setFrameNumber(Bytes& slices, const SliceShape& shape, std::uint32_t frameNumber);

}  // namespace tessaline::platform
