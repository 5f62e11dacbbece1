#include "web/TouchInput.h"

#include <algorithm>
#include <boost/json.hpp>
#include <cmath>
#include <limits>
#include <string_view>

#include "base/Bytes.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using platform::MouseButton;
using platform::PointerLocation;
using platform::Shortcut;
using platform::VirtualKey;

constexpr auto kReturnAfterAction = 50ms;
constexpr auto kReturnAfterScroll = 600ms;  // further scrolling of the same finger comes sooner
constexpr std::size_t kMaxPending = 8192;   // events and characters; seconds of typing
constexpr std::size_t kMaxEventsPerTouch = 8;
constexpr std::size_t kLongestUtf8Character = 4;  // bytes
constexpr std::string_view kTouchControlKey = "touchControl";

constexpr struct {
  std::string_view name;
  std::uint16_t code;
} kKeys[] = {
    {"Enter", VirtualKey::kReturn},   {"Backspace", VirtualKey::kBackspace},
    {"Tab", VirtualKey::kTab},        {"Escape", VirtualKey::kEscape},
    {"ArrowLeft", VirtualKey::kLeft}, {"ArrowRight", VirtualKey::kRight},
    {"ArrowDown", VirtualKey::kDown}, {"ArrowUp", VirtualKey::kUp},
};

std::optional<double> numberAt(const ScreenLink::Input& message, std::string_view key) {
  const auto* value = message.if_contains(key);
  if (!value || !value->is_number()) return std::nullopt;
  return value->to_number<double>();
}

std::string_view textAt(const ScreenLink::Input& message, std::string_view key) {
  const auto* value = message.if_contains(key);
  return value && value->is_string() ? std::string_view(value->get_string()) : std::string_view();
}

/// A side of the point that a message names, always on the display: a device touches its own screen
/// and no other.
double position(std::optional<double> fraction, int start, int length) {
  double share = fraction.value_or(0.5);
  if (!std::isfinite(share)) share = 0.5;
  return std::clamp(start + share * length, double(start), double(start) + length - 1);
}

/// Whole pixels; nothing for values that no wheel can turn by.
std::optional<std::int32_t> pixels(std::optional<double> value) {
  const double rounded = std::round(value.value_or(0));
  if (!std::isfinite(rounded) || rounded < std::numeric_limits<std::int32_t>::min() ||
      rounded > std::numeric_limits<std::int32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(rounded);
}

bool isTextField(const platform::FocusedElement& element) {
  return element.editable || element.role != platform::FocusedElement::Role::other;
}

}  // namespace

TouchInput::TouchInput(std::shared_ptr<Queue> main, UserDefaults& defaults,
                       platform::DesktopEnvironment& desktop)
    : main_(std::move(main)),
      defaults_(defaults),
      desktop_(desktop),
      events_(desktop.inputEvents()) {}

TouchInput::~TouchInput() {
  returnPointer();
}

bool TouchInput::enabled() const {
  return defaults_.boolean(kTouchControlKey).value_or(true);
}

void TouchInput::setEnabled(bool enabled) {
  defaults_.set(kTouchControlKey, enabled);
}

bool TouchInput::allowed() {
  return events_.trusted(!std::exchange(asked_, true));
}

bool TouchInput::hasRoom() {
  if (events_.pending() + kMaxEventsPerTouch <= kMaxPending) return true;
  noteFlood();
  return false;
}

void TouchInput::noteFlood() {
  flood_.write("a device sends more input than this desktop takes in; some of it is dropped");
}

void TouchInput::handle(const ScreenLink::Input& message, platform::DisplayID display) {
  main_->assertCurrent();
  if (!enabled() || !allowed() || !hasRoom()) return;
  const std::string_view type = textAt(message, "t");
  touched_ = display;
  if (type == "text") return this->type(message);
  if (type == "key") return press(message);

  const auto bounds = desktop_.pointer()->bounds(display);
  if (!bounds || bounds->empty()) return;
  const PointerLocation at{position(numberAt(message, "x"), bounds->x, bounds->width),
                           position(numberAt(message, "y"), bounds->y, bounds->height)};
  if (type == "tap") {
    click(MouseButton::left, 1, at);
  } else if (type == "double") {
    click(MouseButton::left, 2, at);
  } else if (type == "right") {
    click(MouseButton::right, 1, at);
  } else if (type == "scroll") {
    scroll(message, at);
  } else if (type == "zoom") {
    borrowPointer(at);  // programs zoom around the pointer
    events_.postShortcut(textAt(message, "dir") == "in" ? Shortcut::zoomIn : Shortcut::zoomOut);
    returnPointerAfter(kReturnAfterAction);
  }
}

void TouchInput::click(MouseButton button, int clicks, PointerLocation at) {
  if (button == MouseButton::left && events_.postTap(at, 1)) {
    for (int state = 2; state <= clicks; ++state) (void)events_.postTap(at, state);
    return;
  }
  borrowPointer(at);
  for (int state = 1; state <= clicks; ++state) {
    events_.postButton(button, true, at, state);
    events_.postButton(button, false, at, state);
  }
  returnPointerAfter(kReturnAfterAction);
}

void TouchInput::scroll(const ScreenLink::Input& message, PointerLocation at) {
  const auto dx = pixels(numberAt(message, "dx"));
  const auto dy = pixels(numberAt(message, "dy"));
  if (!dx || !dy) return;
  borrowPointer(at);
  events_.postScroll(*dx, *dy);
  returnPointerAfter(kReturnAfterScroll);
}

void TouchInput::type(const ScreenLink::Input& message) {
  const std::string_view text = textAt(message, "s");
  const std::size_t room = kMaxPending - std::min(events_.pending(), kMaxPending);
  // Repairing costs as much as there is text, so the text is cut before that.
  const std::string_view fits = text.substr(0, room * kLongestUtf8Character);
  std::string typed = firstCharacters(repairUtf8(viewBytes(fits)), room);
  if (typed.size() < text.size()) noteFlood();
  if (!typed.empty()) events_.postText(std::move(typed));
}

void TouchInput::press(const ScreenLink::Input& message) {
  const auto key = std::ranges::find(kKeys, textAt(message, "k"), [](auto& k) { return k.name; });
  if (key == std::end(kKeys)) return;
  events_.postKey(key->code, true);
  events_.postKey(key->code, false);
}

void TouchInput::borrowPointer(PointerLocation at) {
  if (!std::exchange(borrowed_, true)) {
    // Until the desktop has moved it back, what it reports is the place of the last touch.
    const bool onItsWay = returning_ && events_.pending() > 0;
    saved_ = onItsWay ? returning_ : desktop_.pointer()->location();
  }
  events_.postMove(at);
}

void TouchInput::returnPointerAfter(Duration delay) {
  restore_ = main_->after(delay, [this] { returnPointer(); });  // the timer ends with this object
}

void TouchInput::returnPointer() {
  restore_.cancel();
  if (!std::exchange(borrowed_, false)) return;
  returning_ = std::exchange(saved_, std::nullopt);
  if (returning_) events_.postMove(*returning_);
}

std::optional<UnitRect> TouchInput::focusedTextField(platform::DisplayID display) {
  if (!events_.trusted(false)) return std::nullopt;
  const auto element = desktop_.accessibility().focusedElement();
  const auto bounds = desktop_.pointer()->bounds(display);
  if (!element || !isTextField(*element) || !bounds || bounds->empty()) return std::nullopt;
  if (!element->frame) {
    // Windows keep their place to themselves here. What gets the focus after a touch is, as a rule,
    // what was touched.
    return display == touched_ ? std::optional(UnitRect{0, 0, 1, 1}) : std::nullopt;
  }
  const PixelRect& frame = *element->frame;
  const double middleX = frame.x + frame.width / 2.0;
  const double middleY = frame.y + frame.height / 2.0;
  if (middleX < bounds->x || middleX >= double(bounds->x) + bounds->width || middleY < bounds->y ||
      middleY >= double(bounds->y) + bounds->height) {
    return std::nullopt;
  }
  const double width = bounds->width;
  const double height = bounds->height;
  return UnitRect{(double(frame.x) - bounds->x) / width, (double(frame.y) - bounds->y) / height,
                  frame.width / width, frame.height / height};
}

}  // namespace tessaline
