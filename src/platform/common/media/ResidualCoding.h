#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/common/media/BitStream.h"

namespace tessaline::platform {

/// Quantised coefficients in the order in which they are written, or pixels' differences row by
/// row.
using Levels = std::array<std::int16_t, 16>;

/// H.264's 4 × 4 transform and quantiser for pictures that are predicted from others, at one
/// quantiser step. Bit for bit what every decoder computes.
class ResidualTransform {
 public:
  explicit ResidualTransform(int qp);

  /// Differences row by row to coefficients row by row, in place.
  static void forward(Levels& block);
  /// Coefficients row by row to levels in writing order, from `first` (0, or 1 without the mean);
  /// false when nothing is left of them.
  bool quantise(const Levels& coefficients, Levels& levels, std::size_t first) const;
  /// Levels in writing order to scaled coefficients row by row.
  [[nodiscard]] std::array<int, 16> scale(const Levels& levels) const;
  /// Scaled coefficients to differences.
  [[nodiscard]] static Levels inverse(const std::array<int, 16>& coefficients);

  /// The same for the means of the four blocks of a chroma component.
  bool quantiseMeans(const std::array<int, 4>& means, std::array<std::int16_t, 4>& levels) const;
  [[nodiscard]] std::array<int, 4> scaleMeans(const std::array<std::int16_t, 4>& levels) const;

 private:
  const int shift_;  // qp / 6
  std::array<int, 16> forward_{};
  std::array<int, 16> backward_{};
};

/// The chroma quantiser that belongs to a luma quantiser.
[[nodiscard]] int chromaQp(int qp, int offset);

/// Writes the levels of one block with variable-length codes. `context` is the number of
/// coefficients that its neighbours lead to expect, -1 for chroma means. Returns how many levels
/// are not 0.
int writeLevels(BitWriter& writer, std::span<const std::int16_t> levels, int context);

/// Writes which parts of a macroblock have levels: a bit for each quarter of the luma, and 16 for
/// chroma means, 32 for all of the chroma.
void writeCodedParts(BitWriter& writer, int parts);

}  // namespace tessaline::platform
