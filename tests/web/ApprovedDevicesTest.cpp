#include "web/ApprovedDevices.h"

#include <gtest/gtest.h>

#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

class ApprovedDevicesTest : public testing::Test {
 protected:
  static Hello device(std::string id, std::string name = "iPad") {
    return {800, 600, {}, 1, std::move(id), std::move(name), {}};
  }
  ApprovedDevices::Completion note() {
    return [this](bool allowed) { answers_ += allowed ? 'y' : 'n'; };
  }
  test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  ApprovedDevices approved_{defaults_};
  std::string answers_;
};

TEST_F(ApprovedDevicesTest, RemembersOnlyConsentAndOnlyForAnIdentity) {
  defaults_.set("approvedDevices", "a");  // not what it should be
  for (const bool allow : {false, true}) {
    for (const char* id : {"a", ""}) {
      approved_.ask(device(id, "iPad (Anna)"), note());
      ASSERT_EQ(approved_.pending().size(), 1U);
      const auto prompt = approved_.pending()[0];
      EXPECT_TRUE(approved_.answer(prompt.id, allow));
      EXPECT_FALSE(approved_.answer(prompt.id, true)) << "the first answer counts";
    }
  }
  EXPECT_EQ(approved_.all(), (UserDefaults::Dictionary{{"a", "iPad (Anna)"}}));
}

TEST_F(ApprovedDevicesTest, NeitherACrowdNorOneThatAsksForEverPilesUp) {
  // However often one asks, the newest gets its answer and all get one.
  for (int i = 0; i < 1000; ++i) approved_.ask(device("b"), note());
  EXPECT_GT(answers_.size(), 900U);
  approved_.answer(approved_.pending().at(0).id, true);
  EXPECT_EQ(answers_.size(), 1000U);
  EXPECT_EQ(answers_.back(), 'y');

  answers_.clear();
  for (int i = 0; i < 100; ++i) approved_.ask(device(std::to_string(i)), note());
  EXPECT_LT(approved_.pending().size(), 50U);
  EXPECT_EQ(answers_.size() + approved_.pending().size(), 100U);
}

}  // namespace
}  // namespace tessaline
