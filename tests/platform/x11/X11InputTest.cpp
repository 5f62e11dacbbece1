#include <algorithm>

#include "platform/x11/X11Fixture.h"

namespace tessaline::platform {
namespace {

class X11InputTest : public X11Fixture {
 protected:
  void SetUp() override {
    X11Fixture::SetUp();
    if (!server_) return;
    openDesktop();
    display_ = makeDisplay("Tablet", {640, 480});
    ASSERT_TRUE(display_);
    ASSERT_TRUE(input().trusted(true));
  }
  void TearDown() override {
    if (display_) destroy(display_);
    X11Fixture::TearDown();
  }
  InputEvents& input() { return desktop_->inputEvents(); }
  /// What every key means.
  std::string keyboard() { return run({"xmodmap", "-pke"}); }

  std::unique_ptr<VirtualDisplay> display_;
};

TEST_F(X11InputTest, LeavesNothingHeldAndTheKeyboardAsItWas) {
  const auto before = keyboard();
  onMain([&] {
    input().postText("ж日");  // with keys that are lent
    input().postKey(VirtualKey::kLeft, true);
    input().postButton(MouseButton::left, true, {1300, 100}, 1);
  });
  const auto held = [&] {
    const Reply<xcb_query_keymap_reply_t> keys(
        xcb_query_keymap_reply(client_->get(), xcb_query_keymap(client_->get()), nullptr));
    const Reply<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(
        client_->get(), xcb_query_pointer(client_->get(), client_->root()), nullptr));
    return std::ssize(keys->keys) - std::ranges::count(keys->keys, 0) +
           ((pointer->mask & XCB_BUTTON_MASK_1) != 0 ? 1 : 0);
  };
  EXPECT_TRUE(eventually([&] { return held() == 2; }));
  destroy(display_);
  onMain([&] { desktop_.reset(); });
  EXPECT_TRUE(eventually([&] { return held() == 0 && keyboard() == before; }));
}

}  // namespace
}  // namespace tessaline::platform
