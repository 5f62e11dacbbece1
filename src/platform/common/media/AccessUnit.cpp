#include "platform/common/media/AccessUnit.h"

#include <algorithm>
#include <array>

namespace tessaline::platform {
namespace {

// NAL unit types (ITU-T H.264, table 7-1).
constexpr std::uint8_t kFirstSlice = 1;
constexpr std::uint8_t kLastSlice = 5;
constexpr std::uint8_t kSequenceParameterSet = 7;
constexpr std::uint8_t kPictureParameterSet = 8;

constexpr std::array<std::uint8_t, 3> kStartCode = {0, 0, 1};

/// Takes the next NAL unit, without its framing, off the front of `rest`. Nothing at the end;
/// `broken` when a length does not fit.
std::optional<ByteView> takeByLength(ByteView& rest, bool& broken) {
  if (rest.empty()) return std::nullopt;
  ByteReader reader(rest);
  const auto length = reader.u32();
  const auto unit = length ? reader.take(*length) : std::nullopt;
  broken = !unit || unit->empty();
  rest = reader.rest();
  return broken ? std::nullopt : unit;
}

std::optional<ByteView> takeByStartCode(ByteView& rest) {
  const auto start = std::search(rest.begin(), rest.end(), kStartCode.begin(), kStartCode.end());
  if (start == rest.end()) return std::nullopt;
  const auto begin = start + kStartCode.size();
  const auto next = std::search(begin, rest.end(), kStartCode.begin(), kStartCode.end());
  // Zero bytes before a start code belong to it: a NAL unit never ends with one.
  auto end = next;
  while (end != begin && *(end - 1) == 0) --end;
  rest = ByteView(next, rest.end());
  return ByteView(begin, end);
}

}  // namespace

std::optional<AccessUnit> splitAccessUnit(ByteView output, NalFraming framing) {
  AccessUnit result;
  ByteWriter slices(output.size() + sizeof(std::uint32_t));
  bool anySlice = false;
  bool broken = false;
  ParameterSets sets;
  for (ByteView rest = output;;) {
    const auto unit =
        framing == NalFraming::lengths ? takeByLength(rest, broken) : takeByStartCode(rest);
    if (!unit) break;
    if (unit->empty()) continue;
    const std::uint8_t type = unit->front() & 0x1F;
    if (type >= kFirstSlice && type <= kLastSlice) {
      slices.u32(static_cast<std::uint32_t>(unit->size())).append(*unit);
      anySlice = true;
    } else if (type == kSequenceParameterSet) {
      sets.sequence.assign(unit->begin(), unit->end());
    } else if (type == kPictureParameterSet) {
      sets.picture.assign(unit->begin(), unit->end());
    }
  }
  if (broken || !anySlice) return std::nullopt;
  result.slices = slices.take();
  if (!sets.sequence.empty() && !sets.picture.empty()) result.parameterSets = std::move(sets);
  return result;
}

}  // namespace tessaline::platform
