#pragma once

#include <optional>
#include <span>
#include <vector>

#include "platform/PixelBuffer.h"
#include "platform/common/media/ResidualCoding.h"
#include "platform/common/media/SliceHeader.h"

namespace tessaline::platform {

/// The decoded picture that an encoder keeps to predict the next one from, in its own memory. Both
/// planes are whole macroblocks wide and high, with a margin on every side that repeats their
/// edges.
struct ReferencePicture {
  std::uint8_t* luma = nullptr;
  std::uint8_t* chroma = nullptr;  ///< interleaved Cb and Cr
  int lumaStride = 0;
  int chromaStride = 0;
};

/// Codes a picture of which little has changed: the changed macroblocks as differences to the
/// reference, everything else as skipped, so that a frame costs what changed and not what the
/// picture's size is. Puts what decoders will show into the reference, whole pixels only: the
/// encoder must not search between them (x264's subme=0). Belongs to one thread.
class PatchCoder {
 public:
  /// `picture` is the visible size, even in both directions.
  PatchCoder(PixelSize picture, const SliceShape& shape, int qp);

  /// The access unit, each unit after its length as 4 big-endian bytes, of a picture that equals
  /// the reference outside of `changed`; it says where it does not, and what lies above and below
  /// are slices of their own, which a decoder that keeps the picture before may leave out.
  /// Nothing, and the reference as it was, when too much has changed or coding it takes more than
  /// `mostBytes`.
  [[nodiscard]] std::optional<Bytes> code(const PixelBuffer& picture,
                                          std::span<const PixelRect> changed,
                                          const ReferencePicture& reference,
                                          std::uint32_t frameNumber, std::size_t mostBytes);

 private:
  /// One macroblock's pixels: 16 × 16 of luma, 8 rows of 8 interleaved pairs of chroma.
  struct Pixels {
    std::array<std::uint8_t, 256> luma;
    std::array<std::uint8_t, 128> chroma;
  };
  /// How many levels each block has, which its neighbours' codes depend on: 16 of luma, 4 of each
  /// chroma component.
  struct Counts {
    int row = -1;  ///< of the macroblock that they belong to
    std::array<std::uint8_t, 16> luma{};
    std::array<std::array<std::uint8_t, 4>, 2> chroma{};
  };
  struct Residual;
  struct Done {
    int column;
    int row;
    Pixels pixels;
  };

  [[nodiscard]] bool mark(std::span<const PixelRect> changed);
  void load(const PixelBuffer& picture, int column, int row, Pixels& pixels) const;
  /// False when nothing of it is worth coding.
  [[nodiscard]] bool reduce(const Pixels& wanted, const Pixels& predicted,
                            Residual& residual) const;
  [[nodiscard]] BitWriter beginSlice(int row, std::uint32_t frameNumber) const;
  void write(BitWriter& writer, const Residual& residual, int column, int row);
  [[nodiscard]] Pixels rebuilt(const Pixels& predicted, const Residual& residual) const;
  void put(const ReferencePicture& reference, const Done& done) const;
  void extendEdges(const ReferencePicture& reference, const Done& done) const;

  const PixelSize size_;
  const int columns_;  // macroblocks
  const int rows_;
  const SliceShape shape_;
  const int qp_;
  const ResidualTransform luma_;
  const ResidualTransform chroma_;
  std::vector<std::uint32_t> marked_;  // macroblocks that may have changed, in order
  int firstRow_ = 0;                   // of the slice that they are in
  std::vector<Counts> counts_;         // the newest of each column
  std::vector<Done> done_;
};

}  // namespace tessaline::platform
