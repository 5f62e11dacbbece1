#include "protocol/Hello.h"

#include <algorithm>
#include <cassert>

namespace tessaline {

Bytes Hello::encoded() const {
  assert(scale >= 0 && scale <= 255);
  assert(deviceID.size() <= 255);
  return ByteWriter(10 + deviceID.size())
      .u16(static_cast<std::uint16_t>(width))
      .u16(static_cast<std::uint16_t>(height))
      .u16(static_cast<std::uint16_t>(static_cast<int>(sizeMM.width)))
      .u16(static_cast<std::uint16_t>(static_cast<int>(sizeMM.height)))
      .u8(static_cast<std::uint8_t>(scale))
      .u8(static_cast<std::uint8_t>(deviceID.size()))
      .append(viewBytes(deviceID))
      .take();
}

std::optional<Hello> Hello::decoded(ByteView payload, const std::string& serviceName) {
  ByteReader reader(payload);
  const auto width = reader.u16();
  const auto height = reader.u16();
  const auto widthMM = reader.u16();
  const auto heightMM = reader.u16();
  if (!heightMM) return std::nullopt;

  Hello hello;
  hello.width = *width;
  hello.height = *height;
  hello.sizeMM = {static_cast<double>(*widthMM), static_cast<double>(*heightMM)};
  hello.scale = std::max<int>(1, reader.u8().value_or(1));
  if (const auto length = reader.u8()) {
    if (const auto id = reader.take(*length)) hello.deviceID = repairUtf8(*id);
  }
  if (hello.deviceID.empty()) hello.deviceID = "legacy-" + serviceName;
  hello.deviceName = serviceName;
  return hello;
}

}  // namespace tessaline
