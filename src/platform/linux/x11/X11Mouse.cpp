#include "platform/linux/x11/X11Mouse.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <cmath>

namespace tessaline::platform {
namespace {

constexpr std::uint8_t kLeft = 1;
constexpr std::uint8_t kRight = 3;
constexpr std::uint8_t kWheelUp = 4;
constexpr std::uint8_t kWheelDown = 5;
constexpr std::uint8_t kWheelLeft = 6;
constexpr std::uint8_t kWheelRight = 7;
constexpr double kStep = 50;       // pixels: about what programs scroll by for one step
constexpr double kMaxSteps = 100;  // of one event: more than any display is high

std::int16_t coordinate(double value) {
  return static_cast<std::int16_t>(std::lround(std::clamp(value, 0.0, 32767.0)));
}

}  // namespace

X11Mouse::~X11Mouse() {
  for (const std::uint8_t number : {kLeft, kRight}) {
    if (down_[number]) fake(number, false);
  }
}

void X11Mouse::button(MouseButton button, bool down, PointerLocation at, int clickState,
                      Clock::time_point now) {
  const std::uint8_t number = button == MouseButton::left ? kLeft : kRight;
  if (down) skipped_[number] = clicks_.countedAlready(number, at, clickState, now);
  if (skipped_[number]) return;
  xcb_test_fake_input(connection_.get(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, connection_.root(),
                      coordinate(at.x), coordinate(at.y), 0);
  down_[number] = down;
  fake(number, down);
}

void X11Mouse::scroll(std::int32_t dx, std::int32_t dy) {
  turn(dy, remainderY_, kWheelUp, kWheelDown);
  turn(dx, remainderX_, kWheelLeft, kWheelRight);
}

void X11Mouse::turn(double pixels, double& remainder, std::uint8_t forward, std::uint8_t back) {
  remainder += pixels;
  const double steps = std::trunc(remainder / kStep);
  remainder -= steps * kStep;
  for (double i = std::min(std::abs(steps), kMaxSteps); i > 0; --i) {
    fake(steps > 0 ? forward : back, true);
    fake(steps > 0 ? forward : back, false);
  }
}

void X11Mouse::fake(std::uint8_t number, bool down) {
  xcb_connection_t* c = connection_.get();
  if (std::exchange(stale_, false)) {
    const Reply<xcb_get_pointer_mapping_reply_t> reply(
        xcb_get_pointer_mapping_reply(c, xcb_get_pointer_mapping(c), nullptr));
    const std::uint8_t* map = reply ? xcb_get_pointer_mapping_map(reply.get()) : nullptr;
    const int count = reply ? xcb_get_pointer_mapping_map_length(reply.get()) : 0;
    physical_.assign(map, map + count);
  }
  // A left-handed user has the buttons swapped, and XTEST presses the device's.
  const auto found = std::ranges::find(physical_, number);
  const auto device =
      found == physical_.end() ? number : static_cast<std::uint8_t>(found - physical_.begin() + 1);
  xcb_test_fake_input(c, down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, device, XCB_CURRENT_TIME,
                      XCB_NONE, 0, 0, 0);
}

}  // namespace tessaline::platform
