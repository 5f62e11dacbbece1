#include "protocol/Cursor.h"

#include <algorithm>
#include <cmath>

#include "protocol/Proto.h"

namespace tessaline {
namespace {

std::uint16_t clampedU16(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, 65535.0)));
}

}  // namespace

CursorPosition CursorPosition::on(const PixelRect& bounds, double x, double y) {
  const double fractionX = (x - bounds.x) / bounds.width;
  const double fractionY = (y - bounds.y) / bounds.height;
  const bool inside =
      x >= bounds.x && y >= bounds.y && x < bounds.x + bounds.width && y < bounds.y + bounds.height;
  return {clampedU16(fractionX * 65535), clampedU16(fractionY * 65535), inside};
}

std::array<std::uint8_t, 8> CursorUpdate::datagram() const {
  const auto high = [](std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); };
  const auto low = [](std::uint16_t value) { return static_cast<std::uint8_t>(value); };
  return {Proto::cursorPos, high(sequence),
          low(sequence),    high(position.x),
          low(position.x),  high(position.y),
          low(position.y),  static_cast<std::uint8_t>(position.visible ? 1 : 0)};
}

std::optional<CursorUpdate> CursorUpdate::decoded(ByteView datagram) {
  ByteReader reader(datagram);
  if (reader.u8() != Proto::cursorPos) return std::nullopt;
  const auto sequence = reader.u16();
  const auto x = reader.u16();
  const auto y = reader.u16();
  const auto visible = reader.u8();
  // A field that is missing leaves its bytes to the next, smaller one.
  if (!sequence || !x || !y || !visible) return std::nullopt;
  return CursorUpdate{*sequence, {*x, *y, *visible == 1}};
}

Bytes CursorShape::encoded(ByteView png) const {
  return ByteWriter(8 + png.size())
      .u16(clampedU16(hotSpotX * 16))
      .u16(clampedU16(hotSpotY * 16))
      .u16(clampedU16(width * 16))
      .u16(clampedU16(height * 16))
      .append(png)
      .take();
}

std::optional<CursorShape::Decoded> CursorShape::decoded(ByteView payload) {
  ByteReader reader(payload);
  std::array<double, 4> values{};
  for (auto& value : values) {
    const auto sixteenths = reader.u16();
    if (!sixteenths) return std::nullopt;
    value = *sixteenths / 16.0;
  }
  if (reader.rest().empty()) return std::nullopt;
  return Decoded{{values[0], values[1], values[2], values[3]}, reader.rest()};
}

}  // namespace tessaline
