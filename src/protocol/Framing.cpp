#include "protocol/Framing.h"

namespace tessaline::framing {

std::array<std::uint8_t, 5> header(std::uint8_t type, std::size_t payloadSize) {
  const auto length = static_cast<std::uint32_t>(payloadSize + 1);
  return {static_cast<std::uint8_t>(length >> 24), static_cast<std::uint8_t>(length >> 16),
          static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length), type};
}

Bytes message(std::uint8_t type, ByteView payload) {
  return ByteWriter(payload.size() + 5).append(header(type, payload.size())).append(payload).take();
}

std::optional<std::uint32_t> acceptedLength(ByteView lengthBytes, std::uint32_t limit) {
  const auto length = ByteReader(lengthBytes).u32();
  if (!length || *length == 0 || *length >= limit) return std::nullopt;
  return length;
}

}  // namespace tessaline::framing
