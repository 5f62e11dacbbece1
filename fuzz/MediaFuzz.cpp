#include <boost/crc.hpp>

#include "Targets.h"
#include "platform/common/media/AccessUnit.h"
#include "platform/common/media/ChangedArea.h"
#include "platform/common/media/PointerPng.h"
#include "platform/common/media/SequenceParameterSet.h"

namespace tessaline::fuzz {
namespace {

using platform::NalFraming;

void readSequence(ByteView unit) {
  const auto size = platform::visiblePictureSize(unit);
  if (size) {
    require(size->width >= 1 && size->width <= 16384);
    require(size->height >= 1 && size->height <= 16384);
  }
  Bytes completed(unit.begin(), unit.end());
  platform::completeSequenceParameterSet(completed);
  Bytes again = completed;
  platform::completeSequenceParameterSet(again);
  require(again == completed);
  // No profile has level 0, which with the bytes beside it could need escaping.
  if (size && unit[3] != 0) require(platform::visiblePictureSize(completed) == size);
}

void readNote(ByteView unit) {
  const auto area = platform::readChangedArea(unit);
  if (!area) return;
  const Bytes written = platform::changedAreaUnit(*area);
  require(platform::readChangedArea(ByteView(written).subspan(sizeof(std::uint32_t))) == area);
}

void readAccessUnit(ByteView bytes, NalFraming framing) {
  const auto unit = platform::splitAccessUnit(bytes, framing);
  if (!unit) return;
  const auto again = platform::splitAccessUnit(unit->slices, NalFraming::lengths);
  require(again && again->slices == unit->slices && !again->parameterSets);
}

void readPng(ByteView file) {
  const auto image = platform::decodePointerPng(file);
  if (!image) return;
  require(image->width >= 1 && image->width <= 1024 && image->height >= 1 && image->height <= 1024);
  require(image->rgba.size() == static_cast<std::size_t>(image->width * image->height) * 4);
  const auto again = platform::decodePointerPng(platform::encodePointerPng(*image));
  require(again && again->rgba == image->rgba);
}

/// The file with checksums that fit: a sender's would.
Bytes repaired(ByteView file) {
  constexpr std::size_t kSignature = 8;
  constexpr std::size_t kChecksum = 4;
  Bytes png(file.begin(), file.end());
  std::size_t at = kSignature;
  while (at + 3 * kChecksum <= png.size()) {
    const std::size_t length = *ByteReader(ByteView(png).subspan(at)).u32();
    const std::size_t counted = length + kChecksum;  // the chunk's type and its content
    if (length > png.size() || at + kChecksum + counted + kChecksum > png.size()) break;
    boost::crc_32_type sum;
    sum.process_bytes(png.data() + at + kChecksum, counted);
    const Bytes bytes = ByteWriter().u32(sum.checksum()).take();
    at += kChecksum + counted;
    std::copy(bytes.begin(), bytes.end(), png.begin() + static_cast<std::ptrdiff_t>(at));
    at += kChecksum;
  }
  return png;
}

}  // namespace

void media(ByteView input) {
  readSequence(input);
  readAccessUnit(input, NalFraming::lengths);
  readAccessUnit(input, NalFraming::startCodes);
  readNote(input);
  readPng(input);
  readPng(repaired(input));
}

}  // namespace tessaline::fuzz
