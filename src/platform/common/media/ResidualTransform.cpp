#include <algorithm>
#include <cstdlib>

#include "platform/common/media/ResidualCoding.h"

namespace tessaline::platform {
namespace {

// ITU-T H.264, 8.5. A coefficient's factor depends on whether its row and column are even: both,
// neither, one of them.
constexpr std::array<std::array<int, 3>, 6> kForward = {{{13107, 5243, 8066},
                                                         {11916, 4660, 7490},
                                                         {10082, 4194, 6554},
                                                         {9362, 3647, 5825},
                                                         {8192, 3355, 5243},
                                                         {7282, 2893, 4559}}};
constexpr std::array<std::array<int, 3>, 6> kBackward = {
    {{10, 16, 13}, {11, 18, 14}, {13, 20, 16}, {14, 23, 18}, {16, 25, 20}, {18, 29, 23}}};
constexpr std::array<std::uint8_t, 16> kZigzag = {0, 1,  4,  8,  5, 2,  3,  6,
                                                  9, 12, 13, 10, 7, 11, 14, 15};
constexpr int kForwardBits = 15;
// What a coefficient must exceed a step by to count as the next: a quarter is sharper than the
// customary sixth, for few more bytes.
constexpr int kRoundingDivisor = 4;

std::size_t factorClass(int position) {
  const bool evenRow = position / 4 % 2 == 0;
  const bool evenColumn = position % 2 == 0;
  if (evenRow && evenColumn) return 0;
  return !evenRow && !evenColumn ? 1 : 2;
}

void transformLine(std::int16_t* line, std::ptrdiff_t step) {
  const int a = line[0] + line[3 * step], b = line[step] + line[2 * step];
  const int c = line[step] - line[2 * step], d = line[0] - line[3 * step];
  line[0] = static_cast<std::int16_t>(a + b);
  line[step] = static_cast<std::int16_t>(2 * d + c);
  line[2 * step] = static_cast<std::int16_t>(a - b);
  line[3 * step] = static_cast<std::int16_t>(d - 2 * c);
}

void inverseLine(int* line, std::ptrdiff_t step) {
  const int a = line[0] + line[2 * step], b = line[0] - line[2 * step];
  const int c = (line[step] >> 1) - line[3 * step], d = line[step] + (line[3 * step] >> 1);
  line[0] = a + d;
  line[step] = b + c;
  line[2 * step] = b - c;
  line[3 * step] = a - d;
}

std::array<int, 4> sumsAndDifferences(const std::array<int, 4>& values) {
  const auto [a, b, c, d] = values;
  return {a + b + c + d, a - b + c - d, a + b - c - d, a - b - c + d};
}

}  // namespace

ResidualTransform::ResidualTransform(int qp) : shift_(qp / 6) {
  const auto row = static_cast<std::size_t>(qp % 6);
  for (int i = 0; i < 16; ++i) {
    const auto at = static_cast<std::size_t>(i);
    forward_[at] = kForward[row][factorClass(i)];
    backward_[at] = kBackward[row][factorClass(i)];
  }
}

void ResidualTransform::forward(Levels& block) {
  for (std::size_t i = 0; i < 4; ++i) transformLine(&block[i * 4], 1);
  for (std::size_t i = 0; i < 4; ++i) transformLine(&block[i], 4);
}

bool ResidualTransform::quantise(const Levels& coefficients, Levels& levels,
                                 std::size_t first) const {
  const int bits = kForwardBits + shift_;
  const int rounding = (1 << bits) / kRoundingDivisor;
  Levels all;
  int any = 0;
  for (std::size_t i = 0; i < 16; ++i) {
    const int size = (std::abs(coefficients[i]) * forward_[i] + rounding) >> bits;
    all[i] = static_cast<std::int16_t>(coefficients[i] < 0 ? -size : size);
    if (i >= first) any |= size;
  }
  for (std::size_t i = first; i < 16; ++i) levels[i - first] = all[kZigzag[i]];
  for (std::size_t i = 16 - first; i < 16; ++i) levels[i] = 0;
  return any != 0;
}

std::array<int, 16> ResidualTransform::scale(const Levels& levels) const {
  std::array<int, 16> result;
  for (std::size_t i = 0; i < 16; ++i) {
    const std::size_t at = kZigzag[i];
    result[at] = levels[i] * backward_[at] * (1 << shift_);
  }
  return result;
}

Levels ResidualTransform::inverse(const std::array<int, 16>& coefficients) {
  std::array<int, 16> work = coefficients;
  for (std::size_t i = 0; i < 4; ++i) inverseLine(&work[i * 4], 1);
  for (std::size_t i = 0; i < 4; ++i) inverseLine(&work[i], 4);
  Levels result;
  for (std::size_t i = 0; i < 16; ++i) result[i] = static_cast<std::int16_t>((work[i] + 32) >> 6);
  return result;
}

bool ResidualTransform::quantiseMeans(const std::array<int, 4>& means,
                                      std::array<std::int16_t, 4>& levels) const {
  const int bits = kForwardBits + 1 + shift_;
  const int rounding = (1 << bits) / kRoundingDivisor;
  const auto mixed = sumsAndDifferences(means);
  int any = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    const int size = (std::abs(mixed[i]) * forward_[0] + rounding) >> bits;
    levels[i] = static_cast<std::int16_t>(mixed[i] < 0 ? -size : size);
    any |= size;
  }
  return any != 0;
}

std::array<int, 4> ResidualTransform::scaleMeans(const std::array<std::int16_t, 4>& levels) const {
  auto result = sumsAndDifferences({levels[0], levels[1], levels[2], levels[3]});
  for (int& value : result) value = (value * backward_[0] * (1 << shift_)) >> 1;
  return result;
}

int chromaQp(int qp, int offset) {
  // Above 29 the chroma follows the luma more and more slowly.
  constexpr std::array<std::uint8_t, 22> kSlower = {29, 30, 31, 32, 32, 33, 34, 34, 35, 35, 36,
                                                    36, 37, 37, 37, 38, 38, 38, 39, 39, 39, 39};
  const int index = std::clamp(qp + offset, 0, 51);
  return index < 30 ? index : kSlower[static_cast<std::size_t>(index - 30)];
}

}  // namespace tessaline::platform
