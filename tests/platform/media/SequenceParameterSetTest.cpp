#include "platform/common/media/SequenceParameterSet.h"

#include <gtest/gtest.h>

#include <boost/algorithm/hex.hpp>

namespace tessaline::platform {
namespace {

TEST(SequenceParameterSet, GainsTheRestrictionAndKeepsEverythingElse) {
  // Up to the restriction, with long runs of zeros that are escaped.
  const std::string usability =
      "1E0089F97FF00010001B5010D06F00000300010000030078D118006D6401C2C003E8200FA4B5AD";
  const struct {
    const char* what;
    std::string before, after;
  } cases[] = {
      {"High", "6764002AAC2DA01E0089F950", "67640C2AAC2DA01E0089F9601E1108D4"},
      {"everything but the restriction, and two reference frames",
       "6764002AAC2DB0" + usability + "65", "67640C2AAC2DB0" + usability + "67C2211B80"},
      {"one that allows reordering", "6764002AAC2DA0" + usability + "676860C658",
       "67640C2AAC2DA0" + usability + "67C2211A80"},
      {"Baseline", "6742C01EDA0280F640", "6742C01EDA0280F68078442350"},
  };
  for (const auto& [what, before, after] : cases) {
    Bytes unit;
    boost::algorithm::unhex(before, std::back_inserter(unit));
    completeSequenceParameterSet(unit);
    EXPECT_EQ(boost::algorithm::hex(std::string(unit.begin(), unit.end())), after) << what;
  }
}

}  // namespace
}  // namespace tessaline::platform
