#include "platform/common/media/ChangedArea.h"

#include <algorithm>
#include <array>
#include <cassert>

namespace tessaline::platform {
namespace {

constexpr std::uint8_t kUnregistered = 5;
constexpr std::uint8_t kStopBit = 0x80;

// Of our own making; the page knows it too. Neither it nor what follows has a byte of zero, so that
// nothing in the unit looks like a start code.
constexpr std::array<std::uint8_t, 16> kIdentifier = {
    0xEF, 0x43, 0x85, 0xDC, 0x52, 0xF8, 0x41, 0xE9, 0xAA, 0xE5, 0x45, 0x21, 0x8F, 0x61, 0x37, 0xA6};
constexpr std::uint8_t kMark = 0x80;  // set in each byte of a number, which holds 7 bits
constexpr int kNumberBits = 7;
constexpr std::size_t kNumberBytes = 2;
constexpr std::size_t kDataBytes = kIdentifier.size() + 4 * kNumberBytes;

}  // namespace

Bytes changedAreaUnit(const PixelRect& area) {
  ByteWriter unit(sizeof(std::uint32_t) + kDataBytes + 4);
  unit.u32(static_cast<std::uint32_t>(kDataBytes + 4));
  unit.u8(kUserDataUnit).u8(kUnregistered).u8(static_cast<std::uint8_t>(kDataBytes));
  unit.append(kIdentifier);
  for (const int number : {area.x, area.y, area.width, area.height}) {
    assert(number >= 0 && number < 1 << 2 * kNumberBits);
    unit.u8(static_cast<std::uint8_t>(kMark | number >> kNumberBits));
    unit.u8(static_cast<std::uint8_t>(kMark | (number & (kMark - 1))));
  }
  return unit.u8(kStopBit).take();
}

std::optional<PixelRect> readChangedArea(ByteView unit) {
  ByteReader reader(unit);
  if (reader.u8() != kUserDataUnit || reader.u8() != kUnregistered || reader.u8() != kDataBytes) {
    return std::nullopt;
  }
  const auto identifier = reader.take(kIdentifier.size());
  if (!identifier || !std::ranges::equal(*identifier, kIdentifier)) return std::nullopt;
  std::array<int, 4> numbers{};
  for (int& number : numbers) {
    const auto high = reader.u8();
    const auto low = reader.u8();
    if (!low || (*high & *low & kMark) == 0) return std::nullopt;
    number = (*high & (kMark - 1)) << kNumberBits | (*low & (kMark - 1));
  }
  return PixelRect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

}  // namespace tessaline::platform
