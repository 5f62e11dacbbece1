#include "platform/x11/X11Fixture.h"
#include "streaming/VirtualScreen.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {
namespace {

class X11ArrangementTest : public X11Fixture {
 protected:
  void create() {
    onMain([&] {
      screen_ =
          VirtualScreen::create(*desktop_, &arrangement_, "Tablet", {640, 480}, {160, 120}, false);
      ASSERT_TRUE(screen_);
    });
  }
  void end() {
    onMain([&] { screen_.reset(); });
  }
  void move(const std::string& primary, const std::string& extra) {
    const auto now = layout();
    const auto* own = outputAt(now, boundsOf(screen_->displayID()));
    ASSERT_TRUE(own);
    run({"xrandr", "--output", "DUMMY0", "--pos", primary, "--output", own->name, "--pos", extra});
  }
  bool shows(PixelRect primary, PixelRect extra) {
    return eventually([&] {
      const auto now = layout();
      return boundsOf(screen_->displayID()) == extra && now.occupied().size() == 2 &&
             outputAt(now, primary) && outputAt(now, extra);
    });
  }

  test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  Arrangement arrangement_{defaults_};
  std::unique_ptr<VirtualScreen> screen_;
};

TEST_F(X11ArrangementTest, AnExtraDisplayComesBackToWhereTheUserPutIt) {
  openDesktop();
  create();
  EXPECT_TRUE(shows({0, 0, 1280, 800}, {1280, 0, 640, 480}));
  end();
  EXPECT_FALSE(defaults_.dictionary("arrangement")) << "nothing was chosen";

  create();
  move("640x0", "0x100");  // to the left
  EXPECT_TRUE(shows({640, 0, 1280, 800}, {0, 100, 640, 480}));
  end();
  EXPECT_EQ(layout().occupied(), (std::vector<PixelRect>{{0, 0, 1280, 800}}));
  for (int round = 0; round < 2; ++round) {  // not moved this time, it is still remembered
    create();
    EXPECT_TRUE(shows({640, 0, 1280, 800}, {0, 100, 640, 480}));
    end();
  }
}

}  // namespace
}  // namespace tessaline::platform
