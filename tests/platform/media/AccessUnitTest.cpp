#include "platform/common/media/AccessUnit.h"

#include <gtest/gtest.h>

namespace tessaline::platform {
namespace {

const Bytes kSequence = {0x67, 1, 2, 3};
const Bytes kPicture = {0x68, 4};
const Bytes kSei = {0x06, 5, 0, 3, 1};
const Bytes kKeySlice = {0x65, 9, 0, 0, 3, 1, 7};
const Bytes kSlice = {0x41, 8};

Bytes framed(const std::vector<Bytes>& units, NalFraming framing) {
  ByteWriter writer;
  bool first = true;
  for (const auto& unit : units) {
    if (framing == NalFraming::lengths) {
      writer.u32(static_cast<std::uint32_t>(unit.size()));
    } else {
      if (first) writer.u8(0);  // the long form, as encoders write the first one
      writer.append(Bytes{0, 0, 1});
    }
    first = false;
    writer.append(unit);
  }
  return writer.take();
}

TEST(AccessUnit, KeepsSlicesAndParameterSetsFromBothKindsOfFraming) {
  const Bytes slices = framed({kKeySlice, kSlice}, NalFraming::lengths);
  for (const auto framing : {NalFraming::lengths, NalFraming::startCodes}) {
    const auto key =
        splitAccessUnit(framed({kSequence, kPicture, kSei, kKeySlice, kSlice}, framing), framing);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->slices, slices);
    EXPECT_EQ(key->parameterSets, (ParameterSets{kSequence, kPicture}));
    const auto delta = splitAccessUnit(framed({kSlice}, framing), framing);
    ASSERT_TRUE(delta);
    EXPECT_FALSE(delta->parameterSets);
    EXPECT_FALSE(splitAccessUnit(framed({kSei}, framing), framing));
    EXPECT_FALSE(splitAccessUnit({}, framing));
  }
}

}  // namespace
}  // namespace tessaline::platform
