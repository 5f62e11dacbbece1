#include "control/Controller.h"

#include "control/ControllerFixture.h"
#include "streaming/Messages.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using platform::Reachability;
using testing::ElementsAre;
using testing::IsEmpty;

class ControllerTest : public test::ControllerFixture {
 protected:
  void quit(const std::string& who) {
    controller_->quit([this, who] { done_ += who; });
    queues_.run();
  }
  [[nodiscard]] std::string active() const { return controller_->activeName().value_or("-"); }
  [[nodiscard]] std::string error() const { return controller_->lastError().value_or("-"); }
  std::string done_;
};

TEST_F(ControllerTest, TheFirstLaunchOpensTheAssistantAndTurnsOpenAtLoginOnOnce) {
  defaults_.remove("onboarded");
  defaults_.remove("mainConfigured");
  launch();
  EXPECT_THAT(windows_.events, ElementsAre("regular", "onboarding"));
  EXPECT_TRUE(workspace_.atLogin);
  show({"A"});
  controller_->setLastReceiver("A");
  controller_->finishOnboarding();
  EXPECT_THAT(windows_.events, ElementsAre("regular", "onboarding", "close", "accessory"));
  EXPECT_EQ(active(), "A") << "finishing the assistant starts on the last screen";

  workspace_.atLogin = false;
  windows_.events.clear();
  launch();
  EXPECT_THAT(windows_.events, IsEmpty());
  EXPECT_FALSE(workspace_.atLogin) << "whoever turned it off is not asked again";
}

TEST_F(ControllerTest, TriesTheLocalNetworkUntilItIsKnownToWork) {
  launch();
  queues_.advance(10s);
  EXPECT_THAT(network_.probed, IsEmpty()) << "nothing is there to try";
  show({"A"});
  show({"A", "B"});
  queues_.advance(10s);
  EXPECT_EQ(network_.probed.size(), 1U) << "one at a time";
  network_.answerProbe(Reachability::failed);
  queues_.advance(3s);
  ASSERT_EQ(network_.probed.size(), 2U);
  network_.answerProbe(Reachability::ready);
  EXPECT_TRUE(controller_->localNetworkOK());
  queues_.advance(60s);
  show({"C"});
  EXPECT_EQ(network_.probed.size(), 2U);
  discovery_.report(platform::ServiceBrowser::State::failed, -65570);
  queues_.run();
  EXPECT_TRUE(controller_->localNetworkDenied());
  stream(*connect("C"));
  EXPECT_FALSE(controller_->localNetworkDenied()) << "a live stream proves that it works";
}

TEST_F(ControllerTest, StartsOnTheLastScreenByItselfWhenNothingSpeaksAgainstIt) {
  launch();
  show({"B", "A"});
  EXPECT_EQ(active(), "-") << "no screen was ever used";
  controller_->setLastReceiver("A");
  access_.allowed = false;
  show({"A", "B"});
  EXPECT_EQ(active(), "-") << "not without the permission, and without a word about it";
  EXPECT_EQ(error(), "-");
  access_.allowed = true;
  show({"B"});
  EXPECT_EQ(active(), "-") << "it is not there";
  show({"A"});
  EXPECT_EQ(active(), "A");
  controller_->disconnect();
  queues_.advance(2s);
  show({"A", "C"});
  queues_.advance(1min);
  EXPECT_EQ(active(), "-") << "stopped by the user";
}

TEST_F(ControllerTest, TheHotKeyStartsOnOneScreenAndStopsAll) {
  launch();
  ASSERT_TRUE(desktop_.hotKeyAction);
  const auto press = [this] {
    desktop_.hotKeyAction();
    queues_.run();
  };
  press();
  EXPECT_EQ(active(), "-");
  show({"B", "A"});
  press();
  EXPECT_EQ(active(), "A") << "the alphabetically first";
  stream(*connected());
  streamToBrowser("iPad");
  press();
  queues_.advance(2s);
  EXPECT_EQ(active(), "-");
  EXPECT_THAT(controller_->web().sessions(), IsEmpty());
  EXPECT_THAT(desktop_.displays, IsEmpty());
  controller_->setLastReceiver("C");
  press();
  EXPECT_EQ(active(), "-") << "the last screen is not there";
}

TEST_F(ControllerTest, AnEndedSessionStartsAgainByItsReason) {
  const struct {
    const char* what;
    bool denied, noDisplay, refused;
    std::string error;
    Duration again;  // zero: never
  } cases[] = {
      {"plain end", false, false, false, "-", 2s},
      {"blocked", true, false, false, std::string(Messages::localNetwork), 5s},
      {"any other reason", false, true, false, std::string(Messages::noDisplay), {}},
      {"refused", false, false, true, std::string(Messages::refused), {}},
  };
  launch();
  show({"A"});
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    controller_->approvedDevices().forgetAll();
    desktop_.refusals = each.noDisplay ? 1000 : 0;
    const auto screen = connect("A");
    EXPECT_EQ(error(), "-") << "a new start forgets the old error";
    screen->denied = each.denied;
    if (each.denied) {
      screen->report(platform::ConnectionState::waiting);
      queues_.run();
    } else if (each.noDisplay || each.refused) {
      stream(*screen, !each.refused);
      for (int i = 0; i < 100 && active() == "A"; ++i) queues_.advance(100ms);
    } else {
      stream(*screen);
      lose(*screen);
    }
    ASSERT_EQ(active(), "-");
    EXPECT_EQ(error(), each.error);
    EXPECT_EQ(controller_->localNetworkDenied(), each.denied);
    if (each.again == Duration::zero()) {
      queues_.advance(1min);
      EXPECT_EQ(active(), "-");
      if (each.refused) {
        show({"A"});
        EXPECT_EQ(active(), "-") << "it said no";
      }
    } else {
      queues_.advance(each.again - 1ms);
      EXPECT_EQ(active(), "-");
      queues_.advance(1ms);
      EXPECT_EQ(active(), "A");
      stream(*connected());
    }
  }
}

TEST_F(ControllerTest, AReplacedSessionIsKeptUntilItsEndAndChangesNothingElse) {
  launch();
  show({"A", "B"});
  const auto first = connect("A");
  first->ignoresCancel = true;  // a goodbye that takes its time
  const std::weak_ptr session = controller_->session();
  const auto second = connect("B");
  EXPECT_EQ(first->sent.back(), framing::message(Proto::bye, {}));
  stream(*first);  // what was on its way
  EXPECT_FALSE(session.expired());
  EXPECT_FALSE(controller_->streaming());
  EXPECT_EQ(active(), "B");
  stream(*second);
  lose(*first);
  EXPECT_TRUE(session.expired());
  EXPECT_EQ(active(), "B");
  EXPECT_TRUE(controller_->streaming());
  EXPECT_EQ(desktop_.displays.size(), 1U);
  queues_.advance(1min);
  EXPECT_EQ(network_.connectedTo.size(), 2U) << "nothing else was started";
}

TEST_F(ControllerTest, AnOldEndDoesNotStartWhatANewerOneForbids) {
  launch();
  show({"A"});
  lose(*connect("A"));
  queues_.advance(1s);
  desktop_.refusals = 1;
  coding_.failing = true;
  stream(*connect("A"));
  queues_.advance(500ms);
  ASSERT_EQ(error(), Messages::noEncoder);
  queues_.advance(1min);
  EXPECT_EQ(active(), "-");
}

TEST_F(ControllerTest, WithoutThePermissionAStartLeadsToTheAssistant) {
  launch();
  show({"A"});
  access_.allowed = false;
  EXPECT_TRUE(controller_->connect("A"));
  EXPECT_FALSE(controller_->connect("B")) << "not there";
  EXPECT_EQ(error(), "Allow Screen Recording first (Setup Assistant, step 1).");
  EXPECT_THAT(windows_.events, ElementsAre("regular", "onboarding"));
  EXPECT_THAT(network_.connectedTo, IsEmpty());
}

TEST_F(ControllerTest, SaysGoodbyeAndWaitsForItsDevicesButNotForEver) {
  launch();
  show({"A", "B"});
  const auto replaced = connect("A");
  const auto screen = connect("B");
  const auto socket = network_.browse(queues_);
  quit("a");
  controller_->connect("A");
  EXPECT_EQ(network_.connectedTo.size(), 2U) << "nothing begins any more";
  queues_.advance(499ms);
  EXPECT_EQ(socket->sent.back(), (Bytes{Proto::bye}));
  EXPECT_EQ(screen->sent.back(), framing::message(Proto::bye, {}));
  EXPECT_EQ(done_, "");
  lose(*screen);
  lose(*replaced);
  EXPECT_EQ(done_, "");
  queues_.advance(1ms);
  EXPECT_EQ(done_, "a") << "the last session has ended";
  queues_.advance(1min);
  EXPECT_EQ(active(), "-") << "nothing starts again";

  const auto deaf = network_.browse(queues_);
  deaf->ignoresCancel = true;
  quit("b");
  quit("c");
  queues_.advance(999ms);
  EXPECT_EQ(done_, "a");
  queues_.advance(1ms);
  EXPECT_EQ(done_, "abc") << "everyone who asked is answered";
}

TEST_F(ControllerTest, GivingUpTheRoleFirstUndoesWhatSessionsDid) {
  commands_->files = {"/etc/sudoers.d/tessaline"};
  launch();
  show({"A"});
  const auto screen = connect("A");
  stream(*screen);
  platform::CapturedFrame frame;
  frame.pixels = std::make_shared<platform::PixelBuffer>(PixelSize{100, 100});
  desktop_.stream->callbacks.onFrame(frame);
  queues_.run();
  EXPECT_FALSE(commands_->up) << "motion pauses the radio link";
  std::string state;
  controller_->onSwitchMode = [&] {
    state = commands_->up && desktop_.displays.empty() ? "all undone" : "left something behind";
  };
  controller_->switchRole();
  lose(*screen);
  queues_.advance(500ms);
  EXPECT_EQ(state, "all undone");
}

}  // namespace
}  // namespace tessaline
