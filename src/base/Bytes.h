#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessaline {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;
/// Bytes that several owners share and nobody changes: a message on its way to the network.
using SharedBytes = std::shared_ptr<const Bytes>;

/// Appends big-endian integers and bytes to a growing buffer.
class ByteWriter {
 public:
  ByteWriter() = default;
  explicit ByteWriter(std::size_t capacity) { bytes_.reserve(capacity); }

  ByteWriter& u8(std::uint8_t value);
  ByteWriter& u16(std::uint16_t value);
  ByteWriter& u32(std::uint32_t value);
  ByteWriter& append(ByteView bytes);

  [[nodiscard]] Bytes take() { return std::move(bytes_); }

 private:
  Bytes bytes_;
};

/// Reads big-endian integers and runs of bytes. Reading past the end yields nothing and leaves the
/// position where it was, so that a short message cannot be misread.
class ByteReader {
 public:
  explicit ByteReader(ByteView bytes) : bytes_(bytes) {}

  [[nodiscard]] std::optional<std::uint8_t> u8();
  [[nodiscard]] std::optional<std::uint16_t> u16();
  [[nodiscard]] std::optional<std::uint32_t> u32();
  [[nodiscard]] std::optional<ByteView> take(std::size_t count);
  [[nodiscard]] ByteView rest() const { return bytes_; }

 private:
  ByteView bytes_;
};

/// The bytes of `text`, which must outlive the view.
[[nodiscard]] ByteView viewBytes(std::string_view text);
[[nodiscard]] std::string_view viewText(ByteView bytes);

/// `bytes` as UTF-8 with every invalid sequence replaced by U+FFFD.
[[nodiscard]] std::string repairUtf8(ByteView bytes);

/// The first `count` Unicode scalars of `text`, which must be valid UTF-8.
[[nodiscard]] std::string firstCharacters(std::string_view text, std::size_t count);

}  // namespace tessaline
