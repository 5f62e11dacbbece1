#include <X11/keysym.h>
#include <gmock/gmock.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/linux/x11/KeyboardMap.h"
#include "platform/x11/X11Fixture.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {
namespace {

using Events = std::vector<std::string>;

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
  /// The server has carried out everything: a move is answered last.
  bool done() {
    const PixelRect bounds = boundsOf(display_->displayID());
    onMain([&] { input().postMove({bounds.x + 30.0, bounds.y + 40.0}); });
    return eventually([&] { return input().pending() == 0; });
  }
  /// As the user's own hands do it, before anything that follows.
  void key(xcb_keysym_t symbol, bool down) {
    xcb_connection_t* c = client_->get();
    xcb_test_fake_input(c, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, codeOf(symbol), 0, XCB_NONE, 0,
                        0, 0);
    const Reply<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  }
  void tap(xcb_keysym_t symbol) {
    key(symbol, true);
    key(symbol, false);
  }
  xcb_keycode_t codeOf(xcb_keysym_t symbol) {
    const auto codes = KeyboardMap::read(*client_).keysFor(symbol);
    return codes.empty() ? xcb_keycode_t{0} : codes.front();
  }
  /// "down" of a key while the modifiers of `state` are held.
  std::string pressOf(xcb_keysym_t symbol, int state) {
    return "key " + std::to_string(codeOf(symbol)) + " state " + std::to_string(state);
  }

  /// What every key means.
  std::vector<xcb_keysym_t> keyboard() {
    const Reply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        client_->get(), xcb_get_keyboard_mapping(client_->get(), 8, 248), nullptr));
    const auto* symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    return {symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply.get())};
  }

  std::unique_ptr<VirtualDisplay> display_;
};

/// A window over the whole extra display that tells what it gets.
class RecordingWindow {
 public:
  RecordingWindow(const X11Connection& client, PixelRect place)
      : client_(client), window_(xcb_generate_id(client.get())) {
    const std::uint32_t values[] = {
        1, XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(client.get(), 0, window_, client.root(), static_cast<std::int16_t>(place.x),
                      static_cast<std::int16_t>(place.y), static_cast<std::uint16_t>(place.width),
                      static_cast<std::uint16_t>(place.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(client.get(), window_);
    xcb_set_input_focus(client.get(), XCB_NONE, window_, XCB_CURRENT_TIME);
    take();
  }
  /// What has come until now: what the server had done before the question comes before its answer.
  Events take() {
    std::free(
        xcb_get_input_focus_reply(client_.get(), xcb_get_input_focus(client_.get()), nullptr));
    Events events;
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(client_.get())}) {
      const auto& button = reinterpret_cast<const xcb_button_press_event_t&>(*event);
      const auto type = event->response_type & 0x7F;
      if (type == XCB_BUTTON_PRESS || type == XCB_BUTTON_RELEASE) {
        events.push_back((type == XCB_BUTTON_PRESS ? "press " : "release ") +
                         std::to_string(button.detail) + " @" + std::to_string(button.event_x) +
                         "," + std::to_string(button.event_y));
      } else if (type == XCB_KEY_PRESS) {
        events.push_back("key " + std::to_string(button.detail) + " state " +
                         std::to_string(button.state & 0xFF));
      }
    }
    return events;
  }

 private:
  const X11Connection& client_;
  const xcb_window_t window_;
};

TEST_F(X11InputTest, ScrollsByWholeStepsAndClicksForTheLeftHandedToo) {
  const PixelRect bounds = boundsOf(display_->displayID());
  RecordingWindow window(*client_, bounds);
  const PointerLocation at{bounds.x + 30.0, bounds.y + 40.0};
  const auto after = [&](const std::function<void()>& work) {
    onMain(work);
    EXPECT_TRUE(done());
    return window.take();
  };
  const auto scrolled = [&](std::int32_t dx, std::int32_t dy) {
    return after([&] { input().postScroll(dx, dy); });
  };
  EXPECT_EQ(scrolled(0, 30), Events());
  EXPECT_EQ(scrolled(0, 30), (Events{"press 4 @30,40", "release 4 @30,40"}));
  EXPECT_EQ(scrolled(0, -60), (Events{"press 5 @30,40", "release 5 @30,40"})) << "10 were left";
  EXPECT_EQ(scrolled(100, 0),
            (Events{"press 6 @30,40", "release 6 @30,40", "press 6 @30,40", "release 6 @30,40"}));
  EXPECT_EQ(scrolled(-50, 0), (Events{"press 7 @30,40", "release 7 @30,40"}));
  EXPECT_LT(scrolled(0, 2'000'000'000).size(), 1000U);

  // A left-handed user.
  const std::uint8_t swapped[] = {3, 2, 1, 4, 5, 6, 7, 8, 9, 10};
  const Reply<xcb_set_pointer_mapping_reply_t> reply(xcb_set_pointer_mapping_reply(
      client_->get(), xcb_set_pointer_mapping(client_->get(), 10, swapped), nullptr));
  ASSERT_TRUE(reply && reply->status == XCB_MAPPING_STATUS_SUCCESS);
  ASSERT_TRUE(done()) << "and the change is known by then";
  EXPECT_EQ(after([&] {
              input().postButton(MouseButton::right, true, at, 1);
              input().postButton(MouseButton::right, false, at, 1);
            }),
            (Events{"press 3 @30,40", "release 3 @30,40"}));
}

TEST_F(X11InputTest, PressesKeysAndLeavesNothingHeld) {
  RecordingWindow window(*client_, boundsOf(display_->displayID()));
  key(XK_Control_L, true);  // the user's own hand, which must not make a shortcut of a key
  onMain([&] {
    input().postKey(VirtualKey::kReturn, true);
    input().postKey(VirtualKey::kReturn, false);
    input().postShortcut(Shortcut::zoomOut);
    input().postKey(VirtualKey::kLeft, true);
  });
  ASSERT_TRUE(done());
  EXPECT_EQ(window.take(),
            (Events{pressOf(XK_Control_L, 0), pressOf(XK_Return, 0), pressOf(XK_Control_L, 0),
                    pressOf(XK_minus, 4), pressOf(XK_Left, 0)}));
  destroy(display_);
  onMain([&] { desktop_.reset(); });
  EXPECT_TRUE(eventually([&] {
    const Reply<xcb_query_keymap_reply_t> keys(
        xcb_query_keymap_reply(client_->get(), xcb_query_keymap(client_->get()), nullptr));
    return std::ranges::count(keys->keys, 0) == std::ssize(keys->keys);
  }));
}

TEST_F(X11InputTest, TypesAnyTextIntoARealProgram) {
  if (test::Program({"xterm", "-version"}).wait() != 0) GTEST_SKIP() << "xterm is not installed";
  ::setenv("LC_ALL", "C.UTF-8", 1);
  const test::TemporaryFolder folder;
  const std::string file = folder.path() / "typed";
  const std::string title = "typing target";
  test::Program xterm({"xterm", "-display", server_->display(), "-u8", "-geometry", "100x20+0+0",
                       "-T", title, "-e", "sh", "-c", "echo > " + file + "; cat >> " + file});
  const auto content = [&] {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  };
  ASSERT_TRUE(eventually([&] { return !content().empty(); })) << xterm.output();
  onMain([&] { input().postMove({100, 100}); });
  ASSERT_TRUE(eventually([&] {  // without a window manager, keys go where the pointer is
    const Reply<xcb_query_pointer_reply_t> over(xcb_query_pointer_reply(
        client_->get(), xcb_query_pointer(client_->get(), client_->root()), nullptr));
    return over && over->child != XCB_NONE;
  }));
  const auto before = keyboard();

  tap(XK_Caps_Lock);
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
  tap(XK_Caps_Lock);
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
  const auto registerIt = [&] {
    onMain([&] { registration = desktop_->registerHotKey(hotKey, [&] { ++presses; }); });
  };
  const xcb_keysym_t modifiers[] = {XK_Control_L, XK_Alt_L, XK_Super_L};
  const auto press = [&] {
    for (const auto symbol : modifiers) key(symbol, true);
    tap(XK_s);
    for (const auto symbol : modifiers) key(symbol, false);
  };
  const auto works = [&] {
    const int before = presses;
    return eventually([&] {
      press();
      return presses > before;
    });
  };
  registerIt();
  tap(XK_Num_Lock);
  EXPECT_TRUE(works());
  tap(XK_Caps_Lock);
  EXPECT_TRUE(works());
  test::Program xmodmap({"xmodmap", "-display", server_->display(), "-e", "keysym s = NoSymbol",
                         "-e", "keysym F12 = s S"});
  ASSERT_EQ(xmodmap.wait(), 0);
  EXPECT_TRUE(works());

  // Let go, another program may have it; then it is that program's, and the log says so.
  onMain([&] { registration.reset(); });
  const auto grab = [&] {
    return client_->succeeded(xcb_grab_key_checked(client_->get(), 0, client_->root(),
                                                   XCB_MOD_MASK_ANY, codeOf(XK_s),
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
  };
  EXPECT_TRUE(eventually(grab));
  testing::internal::CaptureStderr();
  registerIt();
  EXPECT_TRUE(done());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("Ctrl+Alt+Super+S does nothing: another program holds it"));
}

}  // namespace
}  // namespace tessaline::platform
