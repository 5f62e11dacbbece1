#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "platform/x11/X11Fixture.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

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
  /// As the user's own hands do it.
  void press(const std::string& keys) { run({"xdotool", "key", keys}); }
  /// What every key means.
  std::string keyboard() { return run({"xmodmap", "-pke"}); }

  std::unique_ptr<VirtualDisplay> display_;
};

TEST_F(X11InputTest, LeavesNothingHeld) {
  onMain([&] {
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
  EXPECT_TRUE(eventually([&] { return held() == 0; }));
}

TEST_F(X11InputTest, TypesAnyTextIntoARealProgram) {
  if (test::Program({"xterm", "-version"}).wait() != 0) GTEST_SKIP() << "xterm is not installed";
  ::setenv("LC_ALL", "C.UTF-8", 1);
  const test::TemporaryFolder folder;
  const std::string file = folder.path() / "typed";
  test::Program xterm({"xterm", "-display", server_->display(), "-u8", "-geometry", "100x20+0+0",
                       "-e", "sh", "-c", "echo > " + file + "; cat >> " + file});
  const auto content = [&] { return test::readFile(file); };
  ASSERT_TRUE(eventually([&] { return !content().empty(); })) << xterm.output();
  onMain([&] { input().postMove({100, 100}); });
  ASSERT_TRUE(eventually([&] {  // without a window manager, keys go where the pointer is
    const Reply<xcb_query_pointer_reply_t> over(xcb_query_pointer_reply(
        client_->get(), xcb_query_pointer(client_->get(), client_->root()), nullptr));
    return over && over->child != XCB_NONE;
  }));
  const auto before = keyboard();

  press("Caps_Lock");
  // More than the keyboard has keys to spare, so that keys are lent again.
  std::string many;
  for (int i = 0; i < 80; ++i) {
    many += {'\xE4', static_cast<char>(0xB8 + i / 64), static_cast<char>(0x80 + i % 64)};
  }
  const std::vector<std::string> lines = {
      "Brown fox: {[@~|\\]} 0189 <>?! äöü ÇÑ €ñ žluť Ελλάδα ЩЁ",
      "👩‍👩‍👧 🇨🇭 é e\u0301 שלום مرحبا हिन्दी 日本語",
      many,
  };
  std::string expected = "\n";
  for (const auto& line : lines) {
    onMain([&] { input().postText(line + "\r\n"); });
    expected += line + "\n";
  }
  EXPECT_TRUE(eventually([&] { return content() == expected; })) << content();
  press("Caps_Lock");
  onMain([&] { input().postText("weiß\n"); });
  EXPECT_TRUE(eventually([&] { return content() == expected + "weiß\n"; })) << content();
  destroy(display_);
  onMain([&] { desktop_.reset(); });
  EXPECT_TRUE(eventually([&] { return keyboard() == before; })) << "the keyboard is as it was";
}

TEST_F(X11InputTest, HotKeyWorksWhateverIsLockedAndFollowsTheLayout) {
  const HotKey hotKey{.key = 'S', .control = true, .option = true, .command = true};
  std::atomic<int> presses = 0;
  std::unique_ptr<HotKeyRegistration> registration;
  const auto works = [&] {
    const int before = presses;
    return eventually([&] {
      press("ctrl+alt+super+s");
      return presses > before;
    });
  };
  onMain([&] { registration = desktop_->registerHotKey(hotKey, [&] { ++presses; }); });
  press("Num_Lock");
  EXPECT_TRUE(works());
  press("Caps_Lock");
  EXPECT_TRUE(works());
  run({"xmodmap", "-e", "keysym s = NoSymbol", "-e", "keysym F12 = s S"});
  EXPECT_TRUE(works());
}

}  // namespace
}  // namespace tessaline::platform
