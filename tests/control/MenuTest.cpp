#include "control/ControllerFixture.h"
#include "streaming/Messages.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

class MenuTest : public test::ControllerFixture {
 protected:
  /// What depends on screens: the header and the items above "Add a Screen".
  std::string head() {
    const auto menu = controller_->statusMenu();
    constexpr const char* dots[] = {"grey", "orange", "green", "red"};
    std::string text = dots[static_cast<int>(menu.header.dot)] + (": " + menu.header.status);
    for (const auto& item : menu.items) {
      if (item.title == "Add a Screen") break;
      if (item.kind != StatusMenuItem::Kind::command) continue;
      text += (item.checked ? " | ✓ " : " | ") + item.title;
    }
    return text;
  }
};

TEST_F(MenuTest, FollowsTheScreensThroughAWholeDay) {
  launch();
  show({"B", "A"});
  EXPECT_EQ(head(), "grey: Ready | Start Extra Screen on A | A | B");
  controller_->setLastReceiver("C");
  EXPECT_EQ(head(), "grey: Ready | A | B") << "the last screen is not there";

  choose("B");
  const auto screen = connected();
  EXPECT_EQ(head(), "orange: Connecting to B… | Stop Extra Screen | A | ✓ B");
  EXPECT_FALSE(controller_->live());
  stream(*screen);
  EXPECT_TRUE(controller_->live());
  streamToBrowser("Phone");
  const auto tablet = streamToBrowser("Tablet");
  network_.browse(queues_);
  EXPECT_EQ(head(),
            "green: Live on B, Phone, Tablet | Stop Extra Screen | A | ✓ B | ✓ Phone | "
            "✓ Tablet | ✓ Browser 192.0.2.7");
  show({});
  choose("Tablet");
  queues_.advance(1s);
  EXPECT_THAT(tablet->sent, testing::Contains(Bytes{Proto::bye}));
  lose(*screen);
  EXPECT_EQ(head(), "green: Live on Phone | Stop Extra Screen | ✓ Phone | ✓ Browser 192.0.2.7");
  choose("Stop Extra Screen");
  queues_.advance(1s);
  EXPECT_EQ(head(), "grey: Looking for your other Mac… | Open Tessaline on your other Mac");

  show({"B"});
  choose("Start Extra Screen on B");
  const auto blocked = connected();
  blocked->denied = true;
  blocked->report(platform::ConnectionState::waiting);
  queues_.run();
  EXPECT_EQ(head(), "red: " + std::string(Messages::localNetwork) +
                        " | Allow Local Network Access… | Start Extra Screen on B | B");
}

TEST_F(MenuTest, ItemsThatAreStillOpenDoNoHarm) {
  launch();
  show({"A"});
  const auto stale = controller_->statusMenu();
  controller_.reset();
  for (const auto& item : stale.items) {
    if (item.action) item.action();
    for (const auto& below : item.submenu) {
      if (below.action) below.action();
    }
  }
}

TEST_F(MenuTest, TheAssistantLeadsFromNothingToAPicture) {
  launch();
  access_.allowed = false;
  // Of each step whether it is done (✓) or busy (…), and its buttons.
  const auto setup = [this] {
    std::string text;
    for (const auto& step : controller_->setupAssistant().steps) {
      text += step.done ? "✓" : step.busy ? "…" : "-";
      for (const auto& button : step.buttons) text += "[" + button.title + "]";
    }
    return text;
  };
  const auto press = [this](std::size_t step, std::size_t button) {
    controller_->setupAssistant().steps.at(step).buttons.at(button).action();
  };
  EXPECT_EQ(setup(), "-[Allow]---[Make it smooth]");
  press(0, 0);
  EXPECT_EQ(access_.trials, 1);
  queues_.advance(2s);
  EXPECT_EQ(access_.trials, 0) << "the capture that nobody looks at has ended";
  EXPECT_EQ(workspace_.opened.size(), 1U) << "the settings";
  show({"B", "A"});
  EXPECT_EQ(setup(), "-[Show in Finder]…-[A][B]-[Make it smooth]");
  access_.allowed = true;
  press(3, 0);
  press(2, 1);
  EXPECT_EQ(setup(), "✓……[A][B]…");
  commands_->files = {"/etc/sudoers.d/tessaline"};
  stream(*connected());
  EXPECT_EQ(setup(), "✓✓✓✓");
  commands_->exists = false;
  EXPECT_EQ(controller_->setupAssistant().steps.size(), 3U);
}

}  // namespace
}  // namespace tessaline
