#include "base/Bytes.h"

namespace tessaline {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool isContinuation(std::uint8_t byte) {
  return (byte & 0xC0) == 0x80;
}

/// Length of the well-formed UTF-8 sequence at the start of `bytes`, or 0 when there is none.
std::size_t sequenceLength(ByteView bytes) {
  const std::uint8_t first = bytes[0];
  if (first < 0x80) return 1;
  std::size_t length = 0;
  std::uint8_t low = 0x80;  // bounds of the second byte rule out overlong forms and surrogates
  std::uint8_t high = 0xBF;
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    if (first == 0xE0) low = 0xA0;
    if (first == 0xED) high = 0x9F;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    if (first == 0xF0) low = 0x90;
    if (first == 0xF4) high = 0x8F;
  }
  if (length == 0 || bytes.size() < length || bytes[1] < low || bytes[1] > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (!isContinuation(bytes[i])) return 0;
  }
  return length;
}

}  // namespace

ByteWriter& ByteWriter::u8(std::uint8_t value) {
  bytes_.push_back(value);
  return *this;
}

ByteWriter& ByteWriter::u16(std::uint16_t value) {
  return u8(static_cast<std::uint8_t>(value >> 8)).u8(static_cast<std::uint8_t>(value));
}

ByteWriter& ByteWriter::u32(std::uint32_t value) {
  return u16(static_cast<std::uint16_t>(value >> 16)).u16(static_cast<std::uint16_t>(value));
}

ByteWriter& ByteWriter::append(ByteView bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

std::optional<ByteView> ByteReader::take(std::size_t count) {
  if (bytes_.size() < count) return std::nullopt;
  const ByteView taken = bytes_.first(count);
  bytes_ = bytes_.subspan(count);
  return taken;
}

std::optional<std::uint8_t> ByteReader::u8() {
  const auto bytes = take(1);
  if (!bytes) return std::nullopt;
  return (*bytes)[0];
}

std::optional<std::uint16_t> ByteReader::u16() {
  const auto bytes = take(2);
  if (!bytes) return std::nullopt;
  return static_cast<std::uint16_t>((*bytes)[0] << 8 | (*bytes)[1]);
}

std::optional<std::uint32_t> ByteReader::u32() {
  const auto bytes = take(4);
  if (!bytes) return std::nullopt;
  std::uint32_t value = 0;
  for (const std::uint8_t byte : *bytes) value = value << 8 | byte;
  return value;
}

ByteView viewBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string_view viewText(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string repairUtf8(ByteView bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t length = sequenceLength(bytes);
    if (length == 0) {
      text += kReplacement;
    } else {
      text += viewText(bytes.first(length));
    }
    bytes = bytes.subspan(length == 0 ? 1 : length);
  }
  return text;
}

std::string firstCharacters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  while (end < text.size() && count > 0) {
    ++end;
    while (end < text.size() && isContinuation(static_cast<std::uint8_t>(text[end]))) ++end;
    --count;
  }
  return std::string(text.substr(0, end));
}

}  // namespace tessaline
