#include "platform/common/media/BitStream.h"

#include <bit>

namespace tessaline::platform {
namespace {

constexpr int kLongestExpGolomb = 31;  // leading zero bits; more is not a parameter

}  // namespace

std::uint32_t BitReader::bits(int count) {
  std::uint32_t value = 0;
  for (int i = 0; i < count; ++i) {
    const std::size_t byte = position_ / 8;
    if (byte >= bytes_.size()) {
      failed_ = true;
      return 0;
    }
    value = value << 1 | ((bytes_[byte] >> (7 - position_ % 8)) & 1U);
    ++position_;
  }
  return value;
}

std::uint32_t BitReader::expGolomb() {
  int zeros = 0;
  while (!failed_ && zeros <= kLongestExpGolomb && !flag()) ++zeros;
  if (zeros > kLongestExpGolomb) failed_ = true;
  return failed_ ? 0 : (1U << zeros) - 1 + bits(zeros);
}

std::int32_t BitReader::signedExpGolomb() {
  const std::uint32_t code = expGolomb();
  const auto half = static_cast<std::int32_t>(code / 2);
  return code % 2 == 0 ? -half : half + 1;
}

void BitReader::skip(int count) {
  for (int i = 0; i < count; ++i) bits(1);
}

void BitReader::skipExpGolombs(std::uint32_t count) {
  for (std::uint32_t i = 0; i < count && !failed_; ++i) expGolomb();
}

bool BitReader::moreData() const {
  std::size_t last = bytes_.size();
  while (last > 0 && bytes_[last - 1] == 0) --last;
  if (last == 0) return false;
  const auto stop = static_cast<std::size_t>(7 - std::countr_zero(bytes_[last - 1]));
  return position_ < (last - 1) * 8 + stop;
}

void BitWriter::expGolomb(std::uint32_t value) {
  const int length = static_cast<int>(std::bit_width(value + 1)) - 1;
  bits(0, length);
  bits(value + 1, length + 1);
}

void BitWriter::signedExpGolomb(std::int32_t value) {
  expGolomb(value > 0 ? static_cast<std::uint32_t>(value) * 2 - 1
                      : static_cast<std::uint32_t>(-value) * 2);
}

Bytes BitWriter::finish() {
  bits(1, 1);
  if (used_ > 0) bits(0, 8 - used_);
  return std::move(bytes_);
}

Bytes unescape(ByteView bytes) {
  Bytes result;
  int zeros = 0;
  for (const std::uint8_t byte : bytes) {
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    result.push_back(byte);
  }
  return result;
}

Bytes escape(ByteView bytes) {
  Bytes result;
  result.reserve(bytes.size() + bytes.size() / 64);
  int zeros = 0;
  for (const std::uint8_t byte : bytes) {
    if (zeros >= 2 && byte <= 3) {
      result.push_back(3);
      zeros = 0;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    result.push_back(byte);
  }
  return result;
}

}  // namespace tessaline::platform
