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

TEST_F(ApprovedDevicesTest, AsksOnceAndRemembersOnlyConsent) {
  int changes = 0;
  const auto subscription = approved_.observe([&] { ++changes; });
  approved_.ask(device("a", "iPad (Anna)"), note());
  ASSERT_EQ(approved_.pending().size(), 1U);
  const auto prompt = approved_.pending()[0];
  EXPECT_EQ(prompt.message(), "Use “iPad (Anna)” as your extra screen?");
  EXPECT_EQ(answers_, "");
  EXPECT_TRUE(approved_.answer(prompt.id, false));
  EXPECT_EQ(answers_, "n");
  EXPECT_FALSE(approved_.contains("a"));

  approved_.ask(device("a", "iPad (Anna)"), note());
  approved_.answer(approved_.pending()[0].id, true);
  approved_.ask(device("a", "iPad"), note());
  EXPECT_EQ(answers_, "nyy");
  EXPECT_EQ(approved_.all(), (UserDefaults::Dictionary{{"a", "iPad (Anna)"}}));
  EXPECT_EQ(changes, 4);
  EXPECT_FALSE(approved_.answer(prompt.id, true));

  approved_.forgetAll();
  approved_.ask(device("a"), note());
  EXPECT_EQ(answers_, "nyy");
}

TEST_F(ApprovedDevicesTest, ADeviceWithoutAnIdentityIsAskedAboutEveryTime) {
  for (int i = 1; i <= 2; ++i) {
    approved_.ask(device(""), note());
    ASSERT_EQ(approved_.pending().size(), 1U);
    approved_.answer(approved_.pending()[0].id, true);
  }
  EXPECT_EQ(answers_, "yy");
  EXPECT_TRUE(approved_.all().empty());
}

TEST_F(ApprovedDevicesTest, ADeviceThatReconnectsJoinsItsOwnQuestion) {
  approved_.ask(device("a"), note());
  approved_.ask(device("b"), note());
  approved_.ask(device("a"), note());
  ASSERT_EQ(approved_.pending().size(), 2U);
  approved_.answer(approved_.pending()[0].id, true);
  EXPECT_EQ(answers_, "yy");
  // However often it does, what waits stays bounded, the newest gets its answer and all get one.
  for (int i = 0; i < 999; ++i) approved_.ask(device("b"), note());
  EXPECT_GT(answers_.size(), 900U);
  approved_.answer(approved_.pending()[0].id, true);
  EXPECT_EQ(answers_.size(), 2U + 1000U);
  EXPECT_EQ(answers_.back(), 'y');
}

TEST_F(ApprovedDevicesTest, ACrowdIsRefusedInsteadOfAskedAbout) {
  for (int i = 0; i < 100; ++i) approved_.ask(device(std::to_string(i)), note());
  EXPECT_LT(approved_.pending().size(), 50U);
  EXPECT_EQ(answers_.size() + approved_.pending().size(), 100U);
}

TEST_F(ApprovedDevicesTest, AMalformedMemoryCountsAsEmpty) {
  defaults_.set("approvedDevices", "a");
  EXPECT_FALSE(approved_.contains("a"));
  approved_.add("a", "iPad");
  EXPECT_TRUE(approved_.contains("a"));
}

}  // namespace
}  // namespace tessaline
