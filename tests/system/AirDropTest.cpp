#include "system/AirDrop.h"

#include <gmock/gmock.h>

#include "support/RecordingCommands.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"
#include "system/AirDropPause.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kUp = "/usr/bin/sudo [-n] [/sbin/ifconfig] [awdl0] [up]";
constexpr auto kDown = "/usr/bin/sudo [-n] [/sbin/ifconfig] [awdl0] [down]";
constexpr auto kInstall =
    R"(do shell script "t=$(/usr/bin/mktemp /private/var/root/tessaline.XXXXXX) && printf '%s\\n' )"
    R"('an.a-_9 ALL=(root) NOPASSWD: /sbin/ifconfig awdl0 down, /sbin/ifconfig awdl0 up' > \"$t\" && )"
    R"(/usr/sbin/visudo -cf \"$t\" && /usr/bin/install -m 0440 -o root -g wheel \"$t\" )"
    R"(/etc/sudoers.d/tessaline; rm -f \"$t\"" with administrator privileges)";

TEST(AirDropTest, InstallsTheRuleOnlyForNamesThatCannotDoHarm) {
  test::RecordingCommands commands;
  const AirDrop airDrop(commands);
  commands.user = "an.a-_9";
  EXPECT_TRUE(airDrop.installHelper());
  EXPECT_THAT(commands.take(), ElementsAre(kInstall));
  for (const auto* name : {"", "an a", "an'a", "an\"a", "a;b", "a\n", "zoë", "a/b", "a$b"}) {
    commands.user = name;
    EXPECT_FALSE(airDrop.installHelper()) << name;
  }
  EXPECT_THAT(commands.ran, IsEmpty());
}

class AirDropPauseTest : public testing::Test {
 protected:
  AirDropPauseTest() { commands_->files = {"/etc/sudoers.d/tessaline"}; }
  /// What was run within `time`.
  std::vector<std::string> after(Duration time) {
    queues_.advance(time);
    return commands_->take();
  }
  void move() {
    pause_.activityReporter()();
    queues_.run();
  }
  test::VirtualQueues queues_;
  test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  std::shared_ptr<test::RecordingCommands> commands_ = std::make_shared<test::RecordingCommands>();
  AirDropPause pause_{commands_, queues_, defaults_};
};

TEST_F(AirDropPauseTest, PausesOnlyWhileThingsMove) {
  pause_.connecting();
  pause_.setSessions(true);
  EXPECT_THAT(after(10s), IsEmpty()) << "nothing has moved";
  move();
  EXPECT_THAT(after(0s), ElementsAre(kDown)) << "at once";
  commands_->up = true;  // something else raised it
  move();
  EXPECT_THAT(after(500ms), ElementsAre(kDown));
  EXPECT_THAT(after(2s), ElementsAre(kUp)) << "2 s without motion, on the next tick";
  move();
  EXPECT_THAT(after(0s), ElementsAre(kDown));
  pause_.setSessions(false);
  EXPECT_THAT(after(10s), ElementsAre(kUp)) << "and the guard has ended";
}

}  // namespace
}  // namespace tessaline
