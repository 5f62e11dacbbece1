#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace tessaline::bench {

/// A counter as a row of black and white cells, for a machine that looks at a picture of it. Each
/// cell is one macroblock of a video encoder when the row starts at a multiple of 16, so that a
/// lossy picture still reads: two framing cells (white, black), 20 bits of counter, 8 bits of
/// checksum, two framing cells (black, white). `bench/latency/pageProbe.mjs` reads it in a browser.
class PaintedCode {
 public:
  static constexpr int kCells = 32;
  static constexpr int kCellSize = 16;  // pixels, both ways
  static constexpr int kCounterBits = 20;
  static constexpr std::uint32_t kCounterMask = (1U << kCounterBits) - 1;

  /// Only the low 20 bits of `counter` are shown.
  explicit PaintedCode(std::uint32_t counter);

  /// The counter that these cells show, nothing when they are not a code.
  [[nodiscard]] static std::optional<std::uint32_t> read(const std::array<bool, kCells>& cells);

  /// True for a white cell, leftmost first.
  [[nodiscard]] const std::array<bool, kCells>& cells() const { return cells_; }

  /// CRC-8 with polynomial 0x07 over the counter's three bytes, started with 0x5A so that a blank
  /// picture never reads as a counter.
  [[nodiscard]] static std::uint8_t checksum(std::uint32_t counter);

 private:
  std::array<bool, kCells> cells_{};
};

}  // namespace tessaline::bench
