#include <csignal>
#include <filesystem>
#include <thread>

#include "platform/x11/X11Fixture.h"
#include "support/Program.h"
#include "support/SessionBus.h"

namespace tessaline::platform {
namespace {

using Role = FocusedElement::Role;

class X11AccessibilityTest : public X11Fixture {
 protected:
  std::optional<FocusedElement> focused() {
    std::optional<FocusedElement> element;
    onMain([&] { element = desktop_->accessibility().focusedElement(); });
    return element;
  }
  /// As a session does it: it asks again and again.
  bool textFieldAt(std::optional<PixelRect> place) {
    return eventually([&] {
      const auto element = focused();
      const bool field = element && element->editable && element->role != Role::other;
      if (!field || !place) return field == place.has_value();
      const PixelRect frame = element->frame.value_or(PixelRect());
      return frame.x == place->x && frame.y >= place->y && frame.width == place->width &&
             frame.y + frame.height <= place->y + place->height;
    });
  }
};

TEST_F(X11AccessibilityTest, KnowsTheTextFieldOfARealProgramEvenOfOneThatHangs) {
  if (!test::SessionBus::available()) GTEST_SKIP() << "dbus-daemon is not installed";
  if (!std::filesystem::exists("/usr/share/dbus-1/services/org.a11y.Bus.service")) {
    GTEST_SKIP() << "at-spi2-core is not installed";
  }
  const test::SessionBus bus;
  openDesktop();
  EXPECT_EQ(focused(), std::nullopt);
  test::Program program({TEXT_FIELD_PROGRAM},
                        {"DISPLAY=" + server_->display(), "QT_QPA_PLATFORM=xcb"},
                        test::Program::Terminal::pseudo);
  ASSERT_TRUE(program.waitFor("shown")) << program.output();
  // Accessibility comes up in its own time, and until then no program tells what gets the focus.
  EXPECT_TRUE(eventually([&] {
    program.write("button\nfield\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return focused().has_value();
  }));
  EXPECT_TRUE(textFieldAt(PixelRect{200, 100, 300, 200}));
  program.write("move\n");
  EXPECT_TRUE(textFieldAt(PixelRect{700, 300, 300, 200})) << "its window moved";
  program.write("button\n");
  EXPECT_TRUE(textFieldAt(std::nullopt));
  program.write("field\n");
  EXPECT_TRUE(textFieldAt(PixelRect{700, 300, 300, 200}));

  // A program that hangs must cost a question nothing, and its field counts no more.
  program.signal(SIGSTOP);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_TRUE(textFieldAt(PixelRect{700, 300, 300, 200}));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
  EXPECT_TRUE(textFieldAt(std::nullopt));
  program.signal(SIGCONT);
  EXPECT_TRUE(textFieldAt(PixelRect{700, 300, 300, 200}));
  program.signal(SIGKILL);
  EXPECT_TRUE(textFieldAt(std::nullopt));
  onMain([&] { desktop_.reset(); });
}

}  // namespace
}  // namespace tessaline::platform
