#include <xcb/screensaver.h>

#include <cstdlib>

#include "platform/linux/x11/awake/X11Awake.h"
#include "platform/x11/X11Fixture.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

class X11AwakeTest : public X11Fixture {
 protected:
  bool blanked() {
    const Reply<xcb_screensaver_query_info_reply_t> info(xcb_screensaver_query_info_reply(
        client_->get(), xcb_screensaver_query_info(client_->get(), client_->root()), nullptr));
    return info && info->state == XCB_SCREENSAVER_STATE_ON;
  }
};

TEST_F(X11AwakeTest, KeepsABareServerFromBlanking) {
  ::setenv("DISPLAY", server_->display().c_str(), 1);
  auto awake = X11Awake::begin();
  ASSERT_TRUE(awake);
  xcb_set_screen_saver(client_->get(), 1, 1, XCB_BLANKING_PREFERRED, XCB_EXPOSURES_ALLOWED);
  client_->flush();
  std::this_thread::sleep_for(1500ms);
  EXPECT_FALSE(blanked());
  awake.reset();
  EXPECT_TRUE(eventually([&] { return blanked(); })) << "and no longer than it lasts";
  ::unsetenv("DISPLAY");
}

}  // namespace
}  // namespace tessaline::platform
