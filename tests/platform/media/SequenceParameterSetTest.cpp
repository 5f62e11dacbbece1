#include "platform/common/media/SequenceParameterSet.h"

#include <gtest/gtest.h>

#include "platform/media/HeaderTrace.h"

namespace tessaline::platform {
namespace {

// High up to level 4.2, two reference frames, everything optional but the restriction, with long
// runs of zeros that are escaped.
const Bytes kUsable = {0x67, 0x64, 0x00, 0x2A, 0xAC, 0x2D, 0xB0, 0x1E, 0x00, 0x89, 0xF9, 0x7F,
                       0xF0, 0x00, 0x10, 0x00, 0x1B, 0x50, 0x10, 0xD0, 0x6F, 0x00, 0x00, 0x03,
                       0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x78, 0xD1, 0x18, 0x00, 0x6D, 0x64,
                       0x01, 0xC2, 0xC0, 0x03, 0xE8, 0x20, 0x0F, 0xA4, 0xB5, 0xAD, 0x65};
// The same with one reference frame and a restriction that allows reordering.
const Bytes kReordering = {0x67, 0x64, 0x00, 0x2A, 0xAC, 0x2D, 0xA0, 0x1E, 0x00, 0x89, 0xF9,
                           0x7F, 0xF0, 0x00, 0x10, 0x00, 0x1B, 0x50, 0x10, 0xD0, 0x6F, 0x00,
                           0x00, 0x03, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x78, 0xD1, 0x18,
                           0x00, 0x6D, 0x64, 0x01, 0xC2, 0xC0, 0x03, 0xE8, 0x20, 0x0F, 0xA4,
                           0xB5, 0xAD, 0x67, 0x68, 0x60, 0xC6, 0x58};
const Bytes kPlainHigh = {0x67, 0x64, 0x00, 0x2A, 0xAC, 0x2D, 0xA0, 0x1E, 0x00, 0x89, 0xF9, 0x50};
const Bytes kBaseline = {0x67, 0x42, 0xC0, 0x1E, 0xDA, 0x02, 0x80, 0xF6, 0x40};

TEST(SequenceParameterSet, GainsTheRestrictionAndKeepsEverythingElse) {
  for (const Bytes& set : {kPlainHigh, kUsable, kReordering, kBaseline}) {
    const HeaderTrace before = traceHeader(set);
    ASSERT_FALSE(before.empty());
    Bytes unit = set;
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
  for (std::size_t length = 0; length + 1 < kUsable.size(); ++length) {
    Bytes cut(kUsable.begin(), kUsable.begin() + static_cast<std::ptrdiff_t>(length));
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
