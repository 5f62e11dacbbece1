#include "platform/common/media/SequenceParameterSet.h"

namespace tessaline::platform {
namespace {

constexpr std::uint8_t kHighProfile = 100;
// constraint_set4 (progressive frames only) and constraint_set5 (no B slices): with them the High
// profile is Constrained High, and a decoder need not hold pictures back.
constexpr std::uint8_t kConstrainedHigh = 0x08 | 0x04;
// Bytes of a sequence parameter set: NAL header, profile, constraint flags, level, …
constexpr std::size_t kProfile = 1;
constexpr std::size_t kConstraints = 2;
constexpr std::size_t kFixedBytes = 4;

}  // namespace

void completeSequenceParameterSet(Bytes& unit) {
  if (unit.size() < kFixedBytes || unit[kProfile] != kHighProfile) return;
  unit[kConstraints] |= kConstrainedHigh;
}

}  // namespace tessaline::platform
