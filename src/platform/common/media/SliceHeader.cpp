#include "platform/common/media/SliceHeader.h"

namespace tessaline::platform {
namespace {

// Field names are those of ITU-T H.264, 7.3.2 and 7.3.3.
constexpr std::uint8_t kHighProfile = 100;
constexpr std::size_t kSequenceFixedBytes = 4;  // NAL header, profile, constraints, level
constexpr std::uint32_t kOrderIsDecodingOrder = 2;
constexpr std::uint32_t kOnlyPSlices = 5;
constexpr std::uint8_t kUnitTypeMask = 31;
constexpr std::uint8_t kDependentPicture = 1;  // NAL unit type
constexpr std::uint8_t kFreshPicture = 5;
// More than the fields of a slice header up to its frame number can take.
constexpr std::size_t kHeaderStart = 16;

bool readSequence(ByteView unit, SliceShape& shape) {
  if (unit.size() <= kSequenceFixedBytes || unit[1] != kHighProfile) return false;
  const Bytes payload = unescape(unit.subspan(kSequenceFixedBytes));
  BitReader reader(payload);
  bool known = reader.expGolomb() == 0;                         // identifier
  known &= reader.expGolomb() == 1;                             // chroma_format_idc
  known &= reader.expGolomb() == 0 && reader.expGolomb() == 0;  // bit depths
  known &= reader.bits(2) == 0;                                 // bypass, scaling matrices
  shape.frameNumberBits = static_cast<int>(reader.expGolomb()) + 4;
  known &= reader.expGolomb() == kOrderIsDecodingOrder;
  reader.expGolomb();        // reference frames
  reader.skip(1);            // gaps
  reader.skipExpGolombs(2);  // width, height
  known &= reader.flag();    // frames only
  return known && !reader.failed() && shape.frameNumberBits <= 16;
}

bool readPicture(ByteView unit, SliceShape& shape) {
  if (unit.empty()) return false;
  const Bytes payload = unescape(unit.subspan(1));
  BitReader reader(payload);
  bool known = reader.expGolomb() == 0 && reader.expGolomb() == 0;  // identifiers
  known &= reader.bits(2) == 0;                                     // CABAC, fields' order
  known &= reader.expGolomb() == 0;                                 // slice groups
  known &= reader.expGolomb() == 0;                                 // one reference
  reader.expGolomb();
  known &= reader.bits(3) == 0;  // weighted prediction
  shape.initialQp = reader.signedExpGolomb() + 26;
  reader.signedExpGolomb();
  shape.chromaQpOffset = reader.signedExpGolomb();
  shape.deblockingControl = reader.flag();
  reader.skip(1);           // intra prediction
  known &= !reader.flag();  // redundant pictures
  if (!reader.failed() && reader.moreData()) {
    shape.transform8x8 = reader.flag();
    known &= !reader.flag();  // scaling matrices
    known &= reader.signedExpGolomb() == shape.chromaQpOffset;
  }
  return known && !reader.failed() && shape.deblockingControl;
}

/// The unit with another frame number, whose length in bits does not change.
Bytes renumbered(ByteView unit, const SliceShape& shape, std::uint32_t frameNumber) {
  std::size_t end = std::min(unit.size(), kHeaderStart);
  while (end < unit.size() && unit[end - 1] == 0) ++end;  // no escaping crosses this place
  const Bytes head = unescape(unit.subspan(1, end - 1));
  BitReader reader(head);
  reader.skipExpGolombs(3);  // first macroblock, type, picture parameter set
  const std::size_t place = reader.position();
  Bytes changed = head;
  for (int i = 0; i < shape.frameNumberBits; ++i) {
    const std::size_t at = place + static_cast<std::size_t>(i);
    if (at / 8 >= changed.size()) break;
    const auto mask = static_cast<std::uint8_t>(0x80U >> at % 8);
    const bool set = (frameNumber >> (shape.frameNumberBits - 1 - i) & 1U) != 0;
    auto& byte = changed[at / 8];
    byte = static_cast<std::uint8_t>(set ? byte | mask : byte & ~mask);
  }
  Bytes result{unit.front()};
  const Bytes escaped = escape(changed);
  result.insert(result.end(), escaped.begin(), escaped.end());
  const auto rest = unit.subspan(end);
  result.insert(result.end(), rest.begin(), rest.end());
  return result;
}

}  // namespace

std::optional<SliceShape> SliceShape::read(const ParameterSets& sets) {
  SliceShape shape;
  if (!readSequence(sets.sequence, shape) || !readPicture(sets.picture, shape)) return std::nullopt;
  return shape;
}

void writeSliceHeader(BitWriter& writer, const SliceShape& shape, std::uint32_t first,
                      std::uint32_t frameNumber, int qp) {
  writer.expGolomb(first);
  writer.expGolomb(kOnlyPSlices);
  writer.expGolomb(0);  // picture parameter set
  writer.bits(frameNumber & ((1U << shape.frameNumberBits) - 1), shape.frameNumberBits);
  writer.bits(0, 1);  // as many references as the parameter set says
  writer.bits(0, 1);  // in their own order
  writer.bits(0, 1);  // kept as long as usual
  writer.signedExpGolomb(qp - shape.initialQp);
  writer.expGolomb(1);  // no deblocking
}

std::optional<std::uint32_t> firstMacroblock(ByteView unit) {
  if (unit.empty() || (unit.front() & kUnitTypeMask) != kDependentPicture) return std::nullopt;
  const Bytes head = unescape(unit.subspan(1, std::min(unit.size() - 1, kHeaderStart)));
  BitReader reader(head);
  const std::uint32_t first = reader.expGolomb();
  if (reader.failed()) return std::nullopt;
  return first;
}

void setFrameNumber(Bytes& slices, const SliceShape& shape, std::uint32_t frameNumber) {
  ByteReader reader(slices);
  ByteWriter writer(slices.size() + kHeaderStart);
  while (const auto length = reader.u32()) {
    const auto unit = reader.take(*length);
    if (!unit || unit->empty() || (unit->front() & kUnitTypeMask) == kFreshPicture) return;
    const Bytes result = renumbered(*unit, shape, frameNumber);
    writer.u32(static_cast<std::uint32_t>(result.size())).append(result);
  }
  slices = writer.take();
}

}  // namespace tessaline::platform
