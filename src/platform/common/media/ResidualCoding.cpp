#include "platform/common/media/ResidualCoding.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tessaline::platform {
namespace {

struct Code {
  std::uint8_t length;
  std::uint8_t bits;
};

// The code tables of ITU-T H.264, 9.2 (tables 9-5 to 9-10) and 9.1.2.

// How many levels there are, and how many of the last are ±1 (at most three): by the context's
// class, then four for each number of levels.
constexpr std::array<std::array<Code, 68>, 3> kCounts = {{
    {{{1, 1},   {0, 0},   {0, 0},   {0, 0},   {6, 5},   {2, 1},   {0, 0},   {0, 0},   {8, 7},
      {6, 4},   {3, 1},   {0, 0},   {9, 7},   {8, 6},   {7, 5},   {5, 3},   {10, 7},  {9, 6},
      {8, 5},   {6, 3},   {11, 7},  {10, 6},  {9, 5},   {7, 4},   {13, 15}, {11, 6},  {10, 5},
      {8, 4},   {13, 11}, {13, 14}, {11, 5},  {9, 4},   {13, 8},  {13, 10}, {13, 13}, {10, 4},
      {14, 15}, {14, 14}, {13, 9},  {11, 4},  {14, 11}, {14, 10}, {14, 13}, {13, 12}, {15, 15},
      {15, 14}, {14, 9},  {14, 12}, {15, 11}, {15, 10}, {15, 13}, {14, 8},  {16, 15}, {15, 1},
      {15, 9},  {15, 12}, {16, 11}, {16, 14}, {16, 13}, {15, 8},  {16, 7},  {16, 10}, {16, 9},
      {16, 12}, {16, 4},  {16, 6},  {16, 5},  {16, 8}}},
    {{{2, 3},   {0, 0},   {0, 0},  {0, 0},   {6, 11},  {2, 2},   {0, 0},   {0, 0},   {6, 7},
      {5, 7},   {3, 3},   {0, 0},  {7, 7},   {6, 10},  {6, 9},   {4, 5},   {8, 7},   {6, 6},
      {6, 5},   {4, 4},   {8, 4},  {7, 6},   {7, 5},   {5, 6},   {9, 7},   {8, 6},   {8, 5},
      {6, 8},   {11, 15}, {9, 6},  {9, 5},   {6, 4},   {11, 11}, {11, 14}, {11, 13}, {7, 4},
      {12, 15}, {11, 10}, {11, 9}, {9, 4},   {12, 11}, {12, 14}, {12, 13}, {11, 12}, {12, 8},
      {12, 10}, {12, 9},  {11, 8}, {13, 15}, {13, 14}, {13, 13}, {12, 12}, {13, 11}, {13, 10},
      {13, 9},  {13, 12}, {13, 7}, {14, 11}, {13, 6},  {13, 8},  {14, 9},  {14, 8},  {14, 10},
      {13, 1},  {14, 7},  {14, 6}, {14, 5},  {14, 4}}},
    {{{4, 15}, {0, 0},  {0, 0},   {0, 0},  {6, 15}, {4, 14}, {0, 0},  {0, 0},   {6, 11},  {5, 15},
      {4, 13}, {0, 0},  {6, 8},   {5, 12}, {5, 14}, {4, 12}, {7, 15}, {5, 10},  {5, 11},  {4, 11},
      {7, 11}, {5, 8},  {5, 9},   {4, 10}, {7, 9},  {6, 14}, {6, 13}, {4, 9},   {7, 8},   {6, 10},
      {6, 9},  {4, 8},  {8, 15},  {7, 14}, {7, 13}, {5, 13}, {8, 11}, {8, 14},  {7, 10},  {6, 12},
      {9, 15}, {8, 10}, {8, 13},  {7, 12}, {9, 11}, {9, 14}, {8, 9},  {8, 12},  {9, 8},   {9, 10},
      {9, 13}, {8, 8},  {10, 13}, {9, 7},  {9, 9},  {9, 12}, {10, 9}, {10, 12}, {10, 11}, {10, 10},
      {10, 5}, {10, 8}, {10, 7},  {10, 6}, {10, 1}, {10, 4}, {10, 3}, {10, 2}}},
}};
constexpr std::array<Code, 20> kChromaMeanCounts = {
    {{2, 1}, {0, 0}, {0, 0}, {0, 0}, {6, 7}, {1, 1}, {0, 0}, {0, 0}, {6, 4}, {6, 6},
     {3, 1}, {0, 0}, {6, 3}, {7, 3}, {7, 2}, {6, 5}, {6, 2}, {8, 3}, {8, 2}, {7, 0}}};

// How many zeros stand before the last level, by the number of levels.
constexpr std::array<std::array<Code, 16>, 15> kZeros = {{
    {{{1, 1},
      {3, 3},
      {3, 2},
      {4, 3},
      {4, 2},
      {5, 3},
      {5, 2},
      {6, 3},
      {6, 2},
      {7, 3},
      {7, 2},
      {8, 3},
      {8, 2},
      {9, 3},
      {9, 2},
      {9, 1}}},
    {{{3, 7},
      {3, 6},
      {3, 5},
      {3, 4},
      {3, 3},
      {4, 5},
      {4, 4},
      {4, 3},
      {4, 2},
      {5, 3},
      {5, 2},
      {6, 3},
      {6, 2},
      {6, 1},
      {6, 0}}},
    {{{4, 5},
      {3, 7},
      {3, 6},
      {3, 5},
      {4, 4},
      {4, 3},
      {3, 4},
      {3, 3},
      {4, 2},
      {5, 3},
      {5, 2},
      {6, 1},
      {5, 1},
      {6, 0}}},
    {{{5, 3},
      {3, 7},
      {4, 5},
      {4, 4},
      {3, 6},
      {3, 5},
      {3, 4},
      {4, 3},
      {3, 3},
      {4, 2},
      {5, 2},
      {5, 1},
      {5, 0}}},
    {{{4, 5},
      {4, 4},
      {4, 3},
      {3, 7},
      {3, 6},
      {3, 5},
      {3, 4},
      {3, 3},
      {4, 2},
      {5, 1},
      {4, 1},
      {5, 0}}},
    {{{6, 1}, {5, 1}, {3, 7}, {3, 6}, {3, 5}, {3, 4}, {3, 3}, {3, 2}, {4, 1}, {3, 1}, {6, 0}}},
    {{{6, 1}, {5, 1}, {3, 5}, {3, 4}, {3, 3}, {2, 3}, {3, 2}, {4, 1}, {3, 1}, {6, 0}}},
    {{{6, 1}, {4, 1}, {5, 1}, {3, 3}, {2, 3}, {2, 2}, {3, 2}, {3, 1}, {6, 0}}},
    {{{6, 1}, {6, 0}, {4, 1}, {2, 3}, {2, 2}, {3, 1}, {2, 1}, {5, 1}}},
    {{{5, 1}, {5, 0}, {3, 1}, {2, 3}, {2, 2}, {2, 1}, {4, 1}}},
    {{{4, 0}, {4, 1}, {3, 1}, {3, 2}, {1, 1}, {3, 3}}},
    {{{4, 0}, {4, 1}, {2, 1}, {1, 1}, {3, 1}}},
    {{{3, 0}, {3, 1}, {1, 1}, {2, 1}}},
    {{{2, 0}, {2, 1}, {1, 1}}},
    {{{1, 0}, {1, 1}}},
}};
constexpr std::array<std::array<Code, 4>, 3> kChromaMeanZeros = {
    {{{{1, 1}, {2, 1}, {3, 1}, {3, 0}}}, {{{1, 1}, {2, 1}, {2, 0}}}, {{{1, 1}, {1, 0}}}}};

// How many zeros stand right before a level, by how many are left (7: any more).
constexpr std::array<std::array<Code, 15>, 7> kRuns = {{
    {{{1, 1}, {1, 0}}},
    {{{1, 1}, {2, 1}, {2, 0}}},
    {{{2, 3}, {2, 2}, {2, 1}, {2, 0}}},
    {{{2, 3}, {2, 2}, {2, 1}, {3, 1}, {3, 0}}},
    {{{2, 3}, {2, 2}, {3, 3}, {3, 2}, {3, 1}, {3, 0}}},
    {{{2, 3}, {3, 0}, {3, 1}, {3, 3}, {3, 2}, {3, 5}, {3, 4}}},
    {{{3, 7},
      {3, 6},
      {3, 5},
      {3, 4},
      {3, 3},
      {3, 2},
      {3, 1},
      {4, 1},
      {5, 1},
      {6, 1},
      {7, 1},
      {8, 1},
      {9, 1},
      {10, 1},
      {11, 1}}},
}};

// Which coded parts of an inter macroblock each code number means.
constexpr std::array<std::uint8_t, 48> kPartsOfCode = {
    0,  16, 1,  2,  4,  8,  32, 3,  5,  10, 12, 15, 47, 7,  11, 13, 14, 6,  9,  31, 35, 37, 42, 44,
    33, 34, 36, 40, 39, 43, 45, 46, 17, 18, 20, 24, 19, 21, 26, 28, 23, 27, 29, 30, 22, 25, 38, 41};

constexpr std::array<std::uint8_t, 48> codesOfParts() {
  std::array<std::uint8_t, 48> result{};
  for (std::uint8_t code = 0; code < 48; ++code) result[kPartsOfCode[code]] = code;
  return result;
}
constexpr auto kCodeOfParts = codesOfParts();

constexpr int kManyLevels = 8;  // contexts from here on use a code of fixed length

void write(BitWriter& writer, Code code) {
  writer.bits(code.bits, code.length);
}

void writeCount(BitWriter& writer, int context, std::size_t count, std::size_t ones) {
  const std::size_t place = count * 4 + ones;
  if (context < 0) {
    write(writer, kChromaMeanCounts[place]);
  } else if (context < kManyLevels) {
    write(writer, kCounts[context < 2 ? 0 : context < 4 ? 1 : 2][place]);
  } else {
    writer.bits(static_cast<std::uint32_t>(count == 0 ? 3 : place - 4), 6);
  }
}

/// A level that is not one of the trailing ±1. The code adapts to the sizes seen.
class LevelWriter {
 public:
  LevelWriter(BitWriter& writer, std::size_t count, std::size_t ones)
      : writer_(writer), suffix_(count > 10 && ones < 3 ? 1 : 0), first_(ones < 3) {}

  void write(int level) {
    const int size = std::abs(level);
    // Were the first of them ±1, it would be one of the trailing ones.
    int code = 2 * size - 2 + (level < 0 ? 1 : 0) - (std::exchange(first_, false) ? 2 : 0);
    const int shortCodes = suffix_ == 0 ? 14 : 15 << suffix_;
    if (code < shortCodes) {
      prefix(code >> suffix_);
      writer_.bits(static_cast<std::uint32_t>(code & ((1 << suffix_) - 1)), suffix_);
    } else if (suffix_ == 0 && code < 30) {
      prefix(14);
      writer_.bits(static_cast<std::uint32_t>(code - 14), 4);
    } else {
      code -= suffix_ == 0 ? 30 : shortCodes;
      prefix(15);
      writer_.bits(static_cast<std::uint32_t>(std::min(code, kLargestEscape)), 12);
    }
    if (suffix_ == 0) suffix_ = 1;
    if (suffix_ < 6 && size > 3 << (suffix_ - 1)) ++suffix_;
  }

 private:
  static constexpr int kLargestEscape = 4095;  // far beyond what 8-bit pixels lead to

  void prefix(int zeros) { writer_.bits(1, zeros + 1); }

  BitWriter& writer_;
  int suffix_;
  bool first_;
};

}  // namespace

int writeLevels(BitWriter& writer, std::span<const std::int16_t> levels, int context) {
  std::array<std::size_t, 16> places{};
  std::size_t count = 0;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (levels[i] != 0) places[count++] = i;
  }
  std::size_t ones = 0;
  while (ones < 3 && ones < count && std::abs(levels[places[count - 1 - ones]]) == 1) ++ones;
  writeCount(writer, context, count, ones);
  if (count == 0) return 0;

  for (std::size_t i = 0; i < ones; ++i) {
    writer.bits(levels[places[count - 1 - i]] < 0 ? 1 : 0, 1);
  }
  LevelWriter rest(writer, count, ones);
  for (std::size_t i = count - ones; i-- > 0;) rest.write(levels[places[i]]);

  std::size_t zeros = places[count - 1] + 1 - count;
  if (count < levels.size()) {
    write(writer, context < 0 ? kChromaMeanZeros[count - 1][zeros] : kZeros[count - 1][zeros]);
  }
  for (std::size_t i = count - 1; i > 0 && zeros > 0; --i) {
    const std::size_t run = places[i] - places[i - 1] - 1;
    write(writer, kRuns[std::min<std::size_t>(zeros, 7) - 1][run]);
    zeros -= run;
  }
  return static_cast<int>(count);
}

void writeCodedParts(BitWriter& writer, int parts) {
  writer.expGolomb(kCodeOfParts[static_cast<std::size_t>(parts)]);
}

}  // namespace tessaline::platform
