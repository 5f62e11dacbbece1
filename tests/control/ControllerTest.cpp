#include "control/Controller.h"

#include <gtest/gtest.h>

#include "support/BrowserNetwork.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

class ControllerTest : public testing::Test {
 protected:
  void quit(const std::string& who) {
    controller_.quit([this, who] { done_ += who; });
    queues_.run();
  }
  test::VirtualQueues queues_;
  test::FakeDesktop desktop_;
  test::FakeCoding coding_;
  test::BrowserNetwork network_;
  test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  Controller controller_{{queues_, desktop_, coding_, network_}, defaults_};
  std::string done_;
};

TEST_F(ControllerTest, GivesSessionsTheConfiguredBitrate) {
  const struct {
    std::int64_t stored;
    int expected;
  } cases[] = {
      {8'000'000, 8'000'000}, {0, 25'000'000}, {-5, 25'000'000}, {9'000'000'000'000, 60'000'000}};
  EXPECT_EQ(controller_.bitrate(), 25'000'000);
  for (const auto& [stored, expected] : cases) {
    defaults_.set("bitrate", stored);
    EXPECT_EQ(controller_.bitrate(), expected);
  }
}

TEST_F(ControllerTest, EndsAtOnceWithoutSessionsAndAnswersEveryoneWhoAsked) {
  controller_.launch();
  queues_.run();
  controller_.quit([this] { done_ += "a"; });
  controller_.quit([this] { done_ += "b"; });
  EXPECT_EQ(done_, "") << "never from inside the call";
  queues_.run();
  EXPECT_EQ(done_, "ab");
}

TEST_F(ControllerTest, SaysGoodbyeAndWaitsForItsDevicesButNotForEver) {
  controller_.launch();
  queues_.run();
  const auto socket = network_.browse(queues_);
  quit("a");
  queues_.advance(499ms);
  EXPECT_EQ(socket->sent.back(), (Bytes{4}));
  EXPECT_EQ(done_, "");
  queues_.advance(1ms);
  EXPECT_EQ(done_, "a") << "the last session has ended";

  const auto deaf = network_.browse(queues_);
  deaf->ignoresCancel = true;
  quit("b");
  queues_.advance(999ms);
  EXPECT_EQ(done_, "a");
  queues_.advance(1ms);
  EXPECT_EQ(done_, "ab");
}

}  // namespace
}  // namespace tessaline
