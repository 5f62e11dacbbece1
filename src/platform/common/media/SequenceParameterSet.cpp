#include "platform/common/media/SequenceParameterSet.h"

#include <algorithm>
#include <array>
#include <optional>

#include "platform/common/media/BitStream.h"

namespace tessaline::platform {
namespace {

// Bytes of a sequence parameter set: NAL header, profile, constraint flags, level, then the bits
// that `Outline` walks (ITU-T H.264, 7.3.2.1.1 and E.1.1).
constexpr std::size_t kProfile = 1;
constexpr std::size_t kConstraints = 2;
constexpr std::size_t kFixedBytes = 4;
constexpr std::uint8_t kHighProfile = 100;
// constraint_set4 (progressive frames only) and constraint_set5 (no B slices).
constexpr std::uint8_t kConstrainedHigh = 0x08 | 0x04;
// These profiles, and no other that an encoder of 8-bit video writes, describe their chroma format.
constexpr std::array<std::uint8_t, 4> kProfilesWithChroma = {100, 110, 122, 244};

// What is decoded: Baseline, Main and High, which have 8-bit 4:2:0 pictures. The bounds on size and
// on the pictures that a decoder has to keep are those of the highest level, 6.2 (table A-1).
constexpr std::array<std::uint8_t, 3> kProfilesDecoded = {66, 77, kHighProfile};
constexpr std::uint8_t kUnitTypeMask = 31;
constexpr std::uint8_t kSequenceParameterSet = 7;
constexpr std::uint32_t kMacroblock = 16;      // pixels
constexpr std::uint32_t kMaximumSide = 16384;  // pixels
constexpr std::uint32_t kMaximumMacroblocks = 139'264;
constexpr std::uint32_t kMaximumStoredMacroblocks = 696'320;

constexpr std::uint32_t kExtendedAspect = 255;  // aspect_ratio_idc with a ratio of its own
constexpr std::uint32_t kMaximumCpbCount = 32;
constexpr std::uint32_t kMaximumPocCycle = 255;
// Motion vectors of up to 2^16 quarter samples, that is: no limit beyond the level's.
constexpr std::uint32_t kLog2MaximumVector = 16;

void skipHrd(BitReader& reader) {
  const std::uint32_t count = reader.expGolomb() + 1;
  reader.skip(8);
  for (std::uint32_t i = 0; i < std::min(count, kMaximumCpbCount) && !reader.failed(); ++i) {
    reader.skipExpGolombs(2);
    reader.skip(1);
  }
  reader.skip(20);
}

/// What matters of a sequence parameter set, and where the end of it starts.
struct Outline {
  std::uint32_t referenceFrames = 0;
  std::uint32_t columns = 0;  // macroblocks of the coded picture
  std::uint32_t rows = 0;
  std::array<std::uint32_t, 4> cropped{};  // chroma samples: left, right, top, bottom
  std::size_t usabilityFlag = 0;           // bit position of vui_parameters_present_flag
  bool usability = false;
  std::size_t restrictionFlag = 0;  // bit position of bitstream_restriction_flag, with `usability`
  bool restricted = false;          // it is set, and rules out reordering and spare pictures
};

void readUsability(BitReader& reader, Outline& outline) {
  if (reader.flag() && reader.bits(8) == kExtendedAspect) reader.skip(32);
  if (reader.flag()) reader.skip(1);  // overscan
  if (reader.flag()) {                // video signal type
    reader.skip(4);
    if (reader.flag()) reader.skip(24);
  }
  if (reader.flag()) reader.skipExpGolombs(2);  // chroma location
  if (reader.flag()) reader.skip(65);           // timing
  const bool nalHrd = reader.flag();
  if (nalHrd) skipHrd(reader);
  const bool vclHrd = reader.flag();
  if (vclHrd) skipHrd(reader);
  if (nalHrd || vclHrd) reader.skip(1);
  reader.skip(1);  // picture structure
  outline.restrictionFlag = reader.position();
  if (!reader.flag()) return;
  reader.skip(1);
  reader.skipExpGolombs(4);
  const std::uint32_t reordered = reader.expGolomb();
  const std::uint32_t buffered = reader.expGolomb();
  outline.restricted = reordered == 0 && buffered <= outline.referenceFrames;
}

/// Nothing for what this reader does not know: interlaced pictures, scaling matrices.
std::optional<Outline> readOutline(ByteView payload, std::uint8_t profile) {
  BitReader reader(payload);
  Outline outline;
  reader.expGolomb();  // identifier
  if (std::ranges::find(kProfilesWithChroma, profile) != kProfilesWithChroma.end()) {
    if (reader.expGolomb() != 1) return std::nullopt;                             // not 4:2:0
    if (reader.expGolomb() != 0 || reader.expGolomb() != 0) return std::nullopt;  // not 8-bit
    reader.skip(1);
    if (reader.flag()) return std::nullopt;  // scaling matrices
  }
  reader.expGolomb();  // frame number bits
  const std::uint32_t orderType = reader.expGolomb();
  if (orderType == 0) {
    reader.expGolomb();
  } else if (orderType == 1) {
    reader.skip(1);
    reader.skipExpGolombs(2);
    reader.skipExpGolombs(std::min(reader.expGolomb(), kMaximumPocCycle));
  }
  outline.referenceFrames = reader.expGolomb();
  reader.skip(1);
  outline.columns = reader.expGolomb() + 1;
  outline.rows = reader.expGolomb() + 1;
  if (!reader.flag()) return std::nullopt;  // fields
  reader.skip(1);
  if (reader.flag()) {
    for (auto& edge : outline.cropped) edge = reader.expGolomb();
  }
  outline.usabilityFlag = reader.position();
  outline.usability = reader.flag();
  if (outline.usability) readUsability(reader, outline);
  if (reader.failed()) return std::nullopt;
  return outline;
}

Bytes restrict(ByteView payload, const Outline& outline) {
  BitReader reader(payload);
  BitWriter writer;
  const std::size_t kept = outline.usability ? outline.restrictionFlag : outline.usabilityFlag;
  while (reader.position() < kept) writer.bits(reader.bits(1), 1);
  if (!outline.usability) {
    writer.bits(1, 1);
    writer.bits(0, 8);  // no aspect, overscan, signal, location, timing, HRDs, picture structure
  }
  writer.bits(1, 1);
  writer.bits(1, 1);  // vectors may point outside the picture
  writer.expGolomb(0);
  writer.expGolomb(0);  // no limit on a picture's or a macroblock's size
  writer.expGolomb(kLog2MaximumVector);
  writer.expGolomb(kLog2MaximumVector);
  writer.expGolomb(0);  // reordered
  writer.expGolomb(outline.referenceFrames);
  return writer.finish();
}

}  // namespace

std::optional<PixelSize> visiblePictureSize(ByteView unit) {
  if (unit.size() <= kFixedBytes || (unit[0] & kUnitTypeMask) != kSequenceParameterSet) {
    return std::nullopt;
  }
  if (std::ranges::find(kProfilesDecoded, unit[kProfile]) == kProfilesDecoded.end()) {
    return std::nullopt;
  }
  const Bytes payload = unescape(unit.subspan(kFixedBytes));
  const auto outline = readOutline(payload, unit[kProfile]);
  if (!outline || outline->columns > kMaximumSide / kMacroblock ||
      outline->rows > kMaximumSide / kMacroblock) {
    return std::nullopt;
  }
  const std::uint32_t macroblocks = outline->columns * outline->rows;
  if (macroblocks > kMaximumMacroblocks ||
      std::uint64_t{macroblocks} * outline->referenceFrames > kMaximumStoredMacroblocks) {
    return std::nullopt;
  }
  const auto& [left, right, top, bottom] = outline->cropped;
  const std::int64_t width =
      std::int64_t{outline->columns} * kMacroblock - 2 * (std::int64_t{left} + right);
  const std::int64_t height =
      std::int64_t{outline->rows} * kMacroblock - 2 * (std::int64_t{top} + bottom);
  if (width <= 0 || height <= 0) return std::nullopt;
  return PixelSize{static_cast<int>(width), static_cast<int>(height)};
}

void completeSequenceParameterSet(Bytes& unit) {
  if (unit.size() <= kFixedBytes) return;
  if (unit[kProfile] == kHighProfile) unit[kConstraints] |= kConstrainedHigh;
  const Bytes raw = unescape(ByteView(unit).subspan(1));
  if (raw.size() < kFixedBytes) return;
  const auto fixed = ByteView(raw).first(kFixedBytes - 1);
  const auto payload = ByteView(raw).subspan(kFixedBytes - 1);
  const auto outline = readOutline(payload, unit[kProfile]);
  if (!outline || outline->restricted) return;
  ByteWriter whole;
  whole.append(fixed).append(restrict(payload, *outline));
  const Bytes escaped = escape(whole.take());
  unit.resize(1);
  unit.insert(unit.end(), escaped.begin(), escaped.end());
}

}  // namespace tessaline::platform
