#include "control/Controller.h"

#include "control/ControllerFixture.h"
#include "streaming/Messages.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
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
  show({"A", "B"});
  queues_.advance(10s);
  EXPECT_EQ(network_.probes, 1) << "one at a time";
  network_.answerProbe(platform::Reachability::blocked);
  EXPECT_TRUE(controller_->localNetworkDenied());
  queues_.advance(3s);
  EXPECT_EQ(network_.probes, 2);
  network_.answerProbe(platform::Reachability::ready);
  queues_.advance(60s);
  EXPECT_EQ(network_.probes, 2);
  EXPECT_TRUE(controller_->localNetworkOK());
}

TEST_F(ControllerTest, StartsOnTheLastScreenByItselfWhenNothingSpeaksAgainstIt) {
  launch();
  show({"B", "A"});
  EXPECT_EQ(active(), "-") << "no screen was ever used";
  controller_->setLastReceiver("A");
  access_.allowed = false;
  show({"A", "B"});
  EXPECT_EQ(active() + error(), "--") << "not without the permission, and without a word about it";
  EXPECT_TRUE(controller_->connect("A"));
  EXPECT_THAT(windows_.events, ElementsAre("regular", "onboarding")) << "whoever asks is led to it";
  access_.allowed = true;
  show({"B"});
  EXPECT_EQ(active(), "-") << "it is not there";
  show({"A"});
  EXPECT_EQ(active(), "A");
  controller_->disconnect();
  show({"A", "C"});
  queues_.advance(1min);
  EXPECT_EQ(active(), "-") << "stopped by the user";
}

TEST_F(ControllerTest, AnEndedSessionStartsAgainByItsReason) {
  enum class End { plain, blocked, noDisplay, refused };
  const struct {
    End end;
    std::string error;
    Duration again;  // zero: never
  } cases[] = {
      {End::plain, "-", 2s},
      {End::blocked, std::string(Messages::localNetwork), 5s},
      {End::noDisplay, std::string(Messages::noDisplay), {}},
      {End::refused, std::string(Messages::refused), {}},
  };
  launch();
  show({"A"});
  for (const auto& [end, reason, again] : cases) {
    SCOPED_TRACE(reason);
    controller_->approvedDevices().forgetAll();
    desktop_.refusals = end == End::noDisplay ? 1000 : 0;
    const auto screen = connect("A");
    EXPECT_EQ(error(), "-") << "a new start forgets the old error";
    screen->denied = end == End::blocked;
    if (screen->denied) {
      screen->report(platform::ConnectionState::waiting);
      queues_.run();
    } else {
      stream(*screen, end != End::refused);
      if (end == End::plain) lose(*screen);
    }
    for (int i = 0; i < 100 && active() == "A"; ++i) queues_.advance(100ms);
    ASSERT_EQ(active(), "-");
    EXPECT_EQ(error(), reason);
    queues_.advance(again == Duration::zero() ? 1min : again - 100ms);
    EXPECT_EQ(active(), "-");
    if (end == End::refused) show({"A"});
    queues_.advance(100ms);
    EXPECT_EQ(active(), again == Duration::zero() ? "-" : "A");
    if (active() == "A") stream(*connected());
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

TEST_F(ControllerTest, SaysGoodbyeAndWaitsForItsDevicesButNotForEver) {
  launch();
  show({"A", "B"});
  const auto replaced = connect("A");
  const auto screen = connect("B");
  const auto socket = network_.browse(queues_);
  quit("a");
  controller_->connect("A");
  EXPECT_EQ(network_.connectedTo.size(), 2U) << "nothing begins any more";
  queues_.advance(500ms);
  EXPECT_EQ(socket->sent.back(), (Bytes{Proto::bye}));
  EXPECT_EQ(screen->sent.back(), framing::message(Proto::bye, {}));
  lose(*screen);
  lose(*replaced);
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
