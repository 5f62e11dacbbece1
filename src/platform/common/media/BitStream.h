#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Bytes.h"

namespace tessaline::platform {

/// Reads the bits of an H.264 structure and remembers whether it ran past the end; then everything
/// reads as 0.
class BitReader {
 public:
  explicit BitReader(ByteView bytes) : bytes_(bytes) {}

  std::uint32_t bits(int count);
  bool flag() { return bits(1) != 0; }
  /// ue(v); as many bits hold a se(v).
  std::uint32_t expGolomb();
  std::int32_t signedExpGolomb();
  void skip(int count);
  void skipExpGolombs(std::uint32_t count);
  /// Something other than the stop bit and zeros is left.
  [[nodiscard]] bool moreData() const;

  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] std::size_t position() const { return position_; }

 private:
  ByteView bytes_;
  std::size_t position_ = 0;
  bool failed_ = false;
};

/// Writes the bits of an H.264 structure.
class BitWriter {
 public:
  /// The lowest `count` (at most 32) bits of `value`, which has no others.
  void bits(std::uint32_t value, int count) {
    pending_ = pending_ << count | value;
    used_ += count;
    while (used_ >= 8) {
      used_ -= 8;
      bytes_.push_back(static_cast<std::uint8_t>(pending_ >> used_));
    }
  }
  void expGolomb(std::uint32_t value);
  void signedExpGolomb(std::int32_t value);
  /// The stop bit and zeros to the byte's end.
  Bytes finish();
  /// Whole bytes so far.
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }

 private:
  Bytes bytes_;
  std::uint64_t pending_ = 0;  // its lowest `used_` bits wait for a byte to be full
  int used_ = 0;
};

/// The bytes without those that keep start codes from appearing in them.
[[nodiscard]] Bytes unescape(ByteView bytes);
[[nodiscard]] Bytes escape(ByteView bytes);

}  // namespace tessaline::platform
