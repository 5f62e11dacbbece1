#include "painter/PaintedCode.h"

namespace tessaline::bench {

PaintedCode::PaintedCode(std::uint32_t counter) {
  counter &= kCounterMask;
  std::size_t cell = 0;
  const auto put = [&](std::uint32_t value, int bits) {
    for (int bit = bits - 1; bit >= 0; --bit) cells_.at(cell++) = ((value >> bit) & 1U) != 0;
  };
  put(0b10, 2);
  put(counter, kCounterBits);
  put(checksum(counter), 8);
  put(0b01, 2);
}

std::optional<std::uint32_t> PaintedCode::read(const std::array<bool, kCells>& cells) {
  std::uint32_t value = 0;
  for (const bool white : cells) value = (value << 1) | (white ? 1U : 0U);
  const std::uint32_t counter = (value >> 10) & kCounterMask;
  if (PaintedCode(counter).cells() != cells) return std::nullopt;
  return counter;
}

std::uint8_t PaintedCode::checksum(std::uint32_t counter) {
  std::uint32_t crc = 0x5A;
  for (const int shift : {16, 8, 0}) {
    crc ^= (counter >> shift) & 0xFFU;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80U) ? ((crc << 1) ^ 0x07U) : (crc << 1);
    crc &= 0xFFU;
  }
  return static_cast<std::uint8_t>(crc);
}

}  // namespace tessaline::bench
