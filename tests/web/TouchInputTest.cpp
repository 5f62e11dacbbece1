#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "support/FakePlatform.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"
#include "web/TouchInput.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using Events = std::vector<std::string>;

class TouchInputTest : public testing::Test {
 protected:
  TouchInputTest() {
    desktop_.input.pointer = &desktop_.fakePointer->where;
    desktop_.fakePointer->where = {{7, 8}};
    desktop_.fakePointer->display = {1000, 100, 800, 600};
  }
  /// What the desktop is told to do for a message, the pointer's return included.
  Events eventsOf(const std::string& message) {
    handle(message);
    queues_.advance(1s);
    return std::exchange(desktop_.input.events, {});
  }
  void handle(const std::string& message) {
    queues_.main()->async([&] { touch_.handle(boost::json::parse(message).as_object(), 42); });
    queues_.run();
  }

  test::TemporaryFolder folder_;
  test::VirtualQueues queues_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  test::FakeDesktop desktop_;
  TouchInput touch_{queues_.main(), defaults_, desktop_};
};

TEST_F(TouchInputTest, DoesWhatOddMessagesSayAndNothingForThoseThatSayNothing) {
  const auto at = [](const std::string& place, Events events) {
    events.insert(events.begin(), "move @" + place);
    events.push_back("move @7,8");
    return events;
  };
  const auto tapAt = [&](const std::string& place) {
    return at(place, {"left down 1 @" + place, "left up 1 @" + place});
  };
  const struct {
    const char* message;
    Events expected;
  } cases[] = {
      {R"({"t":"tap","x":"0.1","y":null})", tapAt("1400,400")},
      {R"({"t":"tap","x":1,"y":1})", tapAt("1799,699")},
      {R"({"t":"tap","x":-3e200,"y":1e308})", tapAt("1000,699")},
      {R"({"t":"scroll","dx":-0.6,"dy":2.4})", at("1400,400", {"scroll -1 2"})},
      {R"({"t":"scroll","dy":2147483647.4})", at("1400,400", {"scroll 0 2147483647"})},
      {R"({"t":"scroll","dy":2147483647.5})", {}},
      {R"({"t":"scroll","dx":-1e300,"dy":1})", {}},
      {R"({"t":"zoom","dir":7})", at("1400,400", {"zoom out"})},
      {R"({"t":"text","s":12})", {}},
      {R"({"t":"key","k":"F1"})", {}},
      {R"({"t":"key"})", {}},
      {R"({"t":"drag","x":0,"y":0})", {}},
      {R"({})", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(eventsOf(c.message), c.expected) << c.message;

  desktop_.fakePointer->display = {};  // the display has gone
  EXPECT_EQ(eventsOf(R"({"t":"tap"})"), Events());
}

TEST_F(TouchInputTest, TakesNothingWithoutTheUsersSettingOrTheSystemsTrustNorTooMuch) {
  const auto nothingComes = [this] {
    return eventsOf(R"({"t":"tap"})").empty() && eventsOf(R"({"t":"text","s":"x"})").empty();
  };
  desktop_.input.allowed = false;
  touch_.setEnabled(false);
  EXPECT_TRUE(nothingComes());
  EXPECT_EQ(desktop_.input.asked, 0) << "nobody is asked about what is switched off";
  touch_.setEnabled(true);
  EXPECT_TRUE(nothingComes());
  EXPECT_EQ(desktop_.input.asked, 1);
  desktop_.input.allowed = true;
  desktop_.input.waiting = 1'000'000;
  EXPECT_TRUE(nothingComes());
  desktop_.input.waiting = 0;
  const std::string megabyte(1'000'000, 'x');
  const auto events = eventsOf(R"({"t":"text","s":")" + megabyte + "\"}");
  ASSERT_EQ(events.size(), 1U);
  EXPECT_LT(events[0].size(), 10'000U);
}

}  // namespace
}  // namespace tessaline
