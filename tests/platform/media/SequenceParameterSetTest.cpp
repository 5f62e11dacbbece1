#include "platform/common/media/SequenceParameterSet.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/media/HeaderTrace.h"

namespace tessaline::platform {
namespace {

/// Writes a parameter set as an encoder would.
class SetWriter {
 public:
  SetWriter& u(int count, std::uint32_t value) {
    for (int i = count - 1; i >= 0; --i) bits_.push_back(((value >> i) & 1) != 0);
    return *this;
  }
  SetWriter& ue(std::uint32_t value) {
    int length = 0;
    while ((value + 1) >> (length + 1) != 0) ++length;
    return u(length, 0).u(length + 1, value + 1);
  }
  [[nodiscard]] Bytes unit() const {
    std::vector<bool> bits = bits_;
    bits.push_back(true);
    while (bits.size() % 8 != 0) bits.push_back(false);
    Bytes result = {0x67};
    int zeros = 0;
    for (std::size_t i = 0; i < bits.size(); i += 8) {
      std::uint8_t byte = 0;
      for (std::size_t k = 0; k < 8; ++k) byte = static_cast<std::uint8_t>(byte << 1 | bits[i + k]);
      if (zeros >= 2 && byte <= 3) {
        result.push_back(3);
        zeros = 0;
      }
      zeros = byte == 0 ? zeros + 1 : 0;
      result.push_back(byte);
    }
    return result;
  }

 private:
  std::vector<bool> bits_;
};

SetWriter highUpToUsability(std::uint32_t referenceFrames) {
  SetWriter set;
  set.u(8, 100).u(8, 0).u(8, 42).ue(0).ue(1).ue(0).ue(0).u(2, 0);
  set.ue(4).ue(0).ue(2).ue(referenceFrames).u(1, 0).ue(119).ue(67).u(1, 1).u(1, 1);
  return set.u(1, 1).ue(0).ue(0).ue(0).ue(4);
}

SetWriter baselineUpToUsability() {
  SetWriter set;
  set.u(8, 66).u(8, 0xC0).u(8, 30).ue(0).ue(0).ue(2).ue(1).u(1, 0).ue(39).ue(29);
  return set.u(1, 1).u(1, 1).u(1, 0);
}

/// Everything optional, with long runs of zeros that need escaping.
SetWriter& addUsability(SetWriter& set) {
  set.u(1, 1).u(1, 1).u(8, 255).u(16, 1).u(16, 1).u(1, 1).u(1, 0);
  set.u(1, 1).u(3, 5).u(1, 0).u(1, 1).u(8, 1).u(8, 13).u(8, 6);
  set.u(1, 1).ue(0).ue(0);
  set.u(1, 1).u(32, 1).u(32, 120).u(1, 1);
  set.u(1, 1).ue(1).u(4, 2).u(4, 3).ue(7000).ue(900).u(1, 1).ue(8000).ue(1000).u(1, 0);
  set.u(20, 0x5AD6B);
  return set.u(1, 0).u(1, 0).u(1, 1);
}

TEST(SequenceParameterSet, GainsTheRestrictionAndKeepsEverythingElse) {
  SetWriter plainHigh = highUpToUsability(1);
  SetWriter usableHigh = highUpToUsability(2);
  SetWriter reorderingHigh = highUpToUsability(1);
  SetWriter baseline = baselineUpToUsability();
  plainHigh.u(1, 0);
  addUsability(usableHigh).u(1, 0);
  addUsability(reorderingHigh).u(1, 1).u(1, 1).ue(2).ue(1).ue(11).ue(11).ue(2).ue(4);
  baseline.u(1, 0);
  for (const auto* set : {&plainHigh, &usableHigh, &reorderingHigh, &baseline}) {
    const HeaderTrace before = traceHeader(set->unit());
    Bytes unit = set->unit();
    completeSequenceParameterSet(unit);
    const HeaderTrace after = traceHeader(unit);
    EXPECT_EQ(valueOf(after, "bitstream_restriction_flag"), 1);
    EXPECT_EQ(valueOf(after, "max_num_reorder_frames"), 0);
    EXPECT_EQ(valueOf(after, "max_dec_frame_buffering"), valueOf(before, "max_num_ref_frames"));
    const bool high = valueOf(before, "profile_idc") == 100;
    EXPECT_EQ(valueOf(after, "constraint_set4_flag"), high ? 1 : 0);
    EXPECT_EQ(valueOf(after, "constraint_set5_flag"), high ? 1 : 0);
    for (const auto& [name, value] : before) {
      if (name.starts_with("constraint_set") || name.starts_with("vui_parameters")) continue;
      if (name.starts_with("rbsp_stop") || name == "bitstream_restriction_flag") break;
      EXPECT_EQ(valueOf(after, name), value) << name;
    }
    Bytes again = unit;
    completeSequenceParameterSet(again);
    EXPECT_EQ(again, unit);
  }
}

TEST(SequenceParameterSet, LeavesAloneWhatItCannotUnderstand) {
  SetWriter whole = highUpToUsability(1);
  addUsability(whole).u(1, 0);
  const Bytes unit = whole.unit();
  for (std::size_t length = 0; length + 1 < unit.size(); ++length) {
    Bytes cut(unit.begin(), unit.begin() + static_cast<std::ptrdiff_t>(length));
    completeSequenceParameterSet(cut);
    // Only flags may have changed, in place: half a parameter set gains no tail.
    EXPECT_EQ(cut.size(), length);
  }
  Bytes endless(64, 0);
  endless[1] = 100;
  completeSequenceParameterSet(endless);
  EXPECT_EQ(endless.size(), 64U);
}

}  // namespace
}  // namespace tessaline::platform
