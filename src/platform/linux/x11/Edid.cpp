#include "platform/linux/x11/Edid.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <string_view>

#include "base/Bytes.h"

namespace tessaline::platform {
namespace {

constexpr std::uint8_t kYear =
    2026 - 1990;  // of manufacture; fixed, for it is part of the identity
constexpr std::size_t kDescriptorSize = 18;
constexpr std::size_t kDescriptors = 54;  // where the four descriptors start
constexpr std::size_t kTextSize = 13;
constexpr std::uint8_t kNameTag = 0xFC;
constexpr std::uint8_t kSerialTag = 0xFF;
constexpr std::uint8_t kUnusedTag = 0x10;
constexpr int kLargestTimingField = 4095;           // 12 bits: pixels, lines and millimetres
constexpr std::uint32_t kTimingClockUnit = 10'000;  // Hz

using Descriptor = std::span<std::uint8_t, kDescriptorSize>;

std::uint8_t low8(std::uint32_t value) {
  return static_cast<std::uint8_t>(value & 0xFF);
}

/// The upper four bits of two 12-bit numbers.
std::uint8_t highNibbles(int first, int second) {
  return static_cast<std::uint8_t>(((first >> 8) << 4) | (second >> 8));
}

int millimetres(double value) {
  return static_cast<int>(std::lround(std::clamp(value, 0.0, double{kLargestTimingField})));
}

bool writeTiming(Descriptor out, const ModeTiming& timing, SizeMM size) {
  const std::uint32_t clock = timing.dotClock / kTimingClockUnit;
  if (clock > 0xFFFF || timing.width > kLargestTimingField || timing.height > kLargestTimingField) {
    return false;
  }
  const int hBlank = timing.hTotal - timing.width;
  const int vBlank = timing.vTotal - timing.height;
  const int hFront = timing.hSyncStart - timing.width;
  const int hSync = timing.hSyncEnd - timing.hSyncStart;
  const int vFront = timing.vSyncStart - timing.height;
  const int vSync = timing.vSyncEnd - timing.vSyncStart;
  const int mmWide = millimetres(size.width);
  const int mmHigh = millimetres(size.height);
  const auto byte = [](int value) { return static_cast<std::uint8_t>(value & 0xFF); };
  const std::array<std::uint8_t, kDescriptorSize> bytes = {
      low8(clock),
      low8(clock >> 8),  //
      byte(timing.width),
      byte(hBlank),
      highNibbles(timing.width, hBlank),  //
      byte(timing.height),
      byte(vBlank),
      highNibbles(timing.height, vBlank),  //
      byte(hFront),
      byte(hSync),
      byte((vFront << 4) | vSync),
      0,  //
      byte(mmWide),
      byte(mmHigh),
      highNibbles(mmWide, mmHigh),  //
      0,
      0,
      0x1A};  // digital, separate syncs, the horizontal one positive
  std::copy(bytes.begin(), bytes.end(), out.begin());
  return true;
}

void writeText(Descriptor out, std::uint8_t tag, std::string_view text) {
  std::fill(out.begin(), out.end(), std::uint8_t{0});
  out[3] = tag;
  const auto field = out.subspan<5, kTextSize>();
  std::fill(field.begin(), field.end(), std::uint8_t{' '});
  std::size_t length = 0;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if ((byte & 0xC0) == 0x80) continue;  // a character of several bytes becomes one '?'
    if (length == kTextSize) return;
    field[length++] = byte >= 0x20 && byte < 0x7F ? byte : std::uint8_t{'?'};
  }
  if (length < kTextSize) field[length] = '\n';
}

void writeUnused(Descriptor out) {
  std::fill(out.begin(), out.end(), std::uint8_t{0});
  out[3] = kUnusedTag;
}

}  // namespace

Edid makeEdid(const VirtualDisplayDescriptor& descriptor, const ModeTiming& timing) {
  const auto centimetres = [](double mm) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(mm / 10, 0.0, 255.0)));
  };
  const auto product = descriptor.productID;
  const auto serial = descriptor.serialNumber;
  const std::array<std::uint8_t, kDescriptors> head = {
      0x00,
      0xFF,
      0xFF,
      0xFF,
      0xFF,
      0xFF,
      0xFF,
      0x00,  // start of every EDID
      low8(descriptor.vendorID >> 8),
      low8(descriptor.vendorID),  // vendor, big-endian
      low8(product),
      low8(product >> 8),  // product, little-endian
      low8(serial),
      low8(serial >> 8),
      low8(serial >> 16),
      low8(serial >> 24),
      0,
      kYear,
      1,
      3,     // no week; EDID 1.3
      0x80,  // digital
      centimetres(descriptor.sizeInMillimeters.width),
      centimetres(descriptor.sizeInMillimeters.height),
      120,   // gamma 2.2
      0x0E,  // colour, sRGB, preferred mode
      0xEE,
      0x91,
      0xA3,
      0x54,
      0x4C,
      0x99,
      0x26,
      0x0F,
      0x50,
      0x54,  // sRGB chromaticities
      0,
      0,
      0,  // no established timings
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1,
      1};  // no standard timings
  Edid edid{};
  std::copy(head.begin(), head.end(), edid.begin());
  const auto slot = [&](std::size_t index) {
    return Descriptor(edid.data() + kDescriptors + index * kDescriptorSize, kDescriptorSize);
  };
  if (!writeTiming(slot(0), timing, descriptor.sizeInMillimeters)) writeUnused(slot(0));
  writeText(slot(1), kNameTag, descriptor.name);
  writeText(slot(2), kSerialTag, std::to_string(serial));
  writeUnused(slot(3));
  const auto sum = std::accumulate(edid.begin(), edid.end(), 0U);
  edid.back() = low8(0U - sum);  // all 128 bytes add up to 0
  return edid;
}

}  // namespace tessaline::platform
