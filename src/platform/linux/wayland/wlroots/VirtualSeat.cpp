#include "platform/linux/wayland/wlroots/VirtualSeat.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>
#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>

#include <algorithm>
#include <cmath>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

// Every program that has the focus reads each keymap; so far apart they do not pile up, and X
// programs, which look up a key's character late, still find it.
constexpr std::chrono::milliseconds kBetweenKeymaps(50);
// Requests of a few events fit into the connection's buffer until it is flushed.
constexpr int kEventsBetweenFlushes = 8;
// Absolute places are whole numbers: so many to a point.
constexpr double kPlacesPerPoint = 64;

// XKB's real modifiers, the same in every keymap.
constexpr struct {
  std::uint32_t code;
  std::uint32_t mask;
} kModifiers[] = {
    {KEY_LEFTSHIFT, 1U << 0},
    {KEY_LEFTCTRL, 1U << 2},
    {KEY_LEFTALT, 1U << 3},
    {KEY_LEFTMETA, 1U << 6},
};
constexpr std::uint32_t kShift = 1U << 0;

std::size_t weightOf(const VirtualSeat::Event& event) {
  const auto* const text = std::get_if<VirtualSeat::Text>(&event);
  return text ? text->characters.size() - text->next : 1;
}

template <typename T>
T* bindFirst(const WaylandConnection& connection, const wl_interface& interface,
             std::uint32_t version) {
  const auto* const global = connection.find(interface.name);
  return global ? connection.bind<T>(*global, interface, version) : nullptr;
}

}  // namespace

VirtualSeat::VirtualSeat(WaylandConnection& connection, std::shared_ptr<Queue> queue, Extent extent)
    : connection_(&connection),
      queue_(std::move(queue)),
      extent_(std::move(extent)),
      seat_(bindFirst<wl_seat>(connection, wl_seat_interface, 1)),
      pointers_(bindFirst<zwlr_virtual_pointer_manager_v1>(
          connection, zwlr_virtual_pointer_manager_v1_interface, 1)),
      keyboards_(bindFirst<zwp_virtual_keyboard_manager_v1>(
          connection, zwp_virtual_keyboard_manager_v1_interface, 1)) {}

void VirtualSeat::post(Event event) {
  pending_ += weightOf(event);
  queue_->async([weak = weak_from_this(), event = std::move(event)]() mutable {
    const auto self = weak.lock();
    if (!self) return;
    self->events_.push_back(std::move(event));
    if (self->events_.size() == 1) self->run();
  });
}

void VirtualSeat::attach() {
  if (pointer_ || !connection_ || !seat_ || !pointers_ || !keyboards_) return;
  pointer_.reset(
      zwlr_virtual_pointer_manager_v1_create_virtual_pointer(pointers_.get(), seat_.get()));
  keyboard_.reset(
      zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(keyboards_.get(), seat_.get()));
  uploadKeymap();
  connection_->flush();
}

void VirtualSeat::detach() {
  timer_.cancel();
  for (const auto& event : std::exchange(events_, {})) pending_ -= weightOf(event);
  if (!pointer_) return;
  // A compositor does not release what is held by a device that goes away.
  while (!buttons_.empty()) play(Button{*buttons_.begin(), false});
  while (!keys_.empty()) play(Key{*keys_.begin(), false});
  pointer_.reset();
  keyboard_.reset();
  connection_->flush();
}

void VirtualSeat::close() {
  detach();
  keyboards_.reset();
  pointers_.reset();
  seat_.reset();
  connection_ = nullptr;
}

void VirtualSeat::resume() {
  if (!timer_.active()) run();
}

void VirtualSeat::run() {
  timer_.cancel();
  int unflushed = 0;
  while (!events_.empty()) {
    if (unflushed == 0 && connection_ && !connection_->flush()) return;  // `resume` goes on
    if (!play(events_.front())) return;
    pending_ -= weightOf(events_.front());
    events_.pop_front();
    unflushed = (unflushed + 1) % kEventsBetweenFlushes;
  }
  if (connection_) connection_->flush();
}

bool VirtualSeat::play(Event& event) {
  if (!pointer_) return true;
  if (auto* const text = std::get_if<Text>(&event)) return play(*text);
  std::visit(
      [this](const auto& each) {
        if constexpr (!std::is_same_v<std::decay_t<decltype(each)>, Text>) play(each);
      },
      event);
  return true;
}

void VirtualSeat::play(const Move& move) {
  const PixelRect extent = extent_();
  if (extent.empty()) return;
  const auto place = [](double value, int start, int length) {
    const double most = std::max(0.0, length * kPlacesPerPoint - 1);
    return static_cast<std::uint32_t>(
        std::lround(std::clamp((value - start) * kPlacesPerPoint, 0.0, most)));
  };
  const auto whole = [](int length) {
    return static_cast<std::uint32_t>(std::lround(length * kPlacesPerPoint));
  };
  zwlr_virtual_pointer_v1_motion_absolute(
      pointer_.get(), time(), place(move.to.x, extent.x, extent.width),
      place(move.to.y, extent.y, extent.height), whole(extent.width), whole(extent.height));
  zwlr_virtual_pointer_v1_frame(pointer_.get());
}

void VirtualSeat::play(const Button& button) {
  const bool changes =
      button.down ? buttons_.insert(button.code).second : buttons_.erase(button.code) > 0;
  if (!changes) return;
  zwlr_virtual_pointer_v1_button(
      pointer_.get(), time(), button.code,
      button.down ? WL_POINTER_BUTTON_STATE_PRESSED : WL_POINTER_BUTTON_STATE_RELEASED);
  zwlr_virtual_pointer_v1_frame(pointer_.get());
}

void VirtualSeat::play(const Scroll& scroll) {
  const auto turn = [this](std::uint32_t axis, double value) {
    if (value == 0) return;
    zwlr_virtual_pointer_v1_axis(pointer_.get(), time(), axis, wl_fixed_from_double(value));
    // The source is that of the axis before it, and of one axis only.
    zwlr_virtual_pointer_v1_axis_source(pointer_.get(), WL_POINTER_AXIS_SOURCE_CONTINUOUS);
    zwlr_virtual_pointer_v1_frame(pointer_.get());
  };
  // As far as the protocol's numbers go.
  constexpr double kMost = 1 << 22;
  turn(WL_POINTER_AXIS_VERTICAL_SCROLL, std::clamp(scroll.dy, -kMost, kMost));
  turn(WL_POINTER_AXIS_HORIZONTAL_SCROLL, std::clamp(scroll.dx, -kMost, kMost));
}

void VirtualSeat::play(const Key& key) {
  if (!keymap_.hasKey(key.code)) return;
  const auto before = heldModifiers();
  const bool changes = key.down ? keys_.insert(key.code).second : keys_.erase(key.code) > 0;
  if (!changes) return;
  zwp_virtual_keyboard_v1_key(
      keyboard_.get(), time(), key.code,
      key.down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
  if (heldModifiers() != before) sendModifiers(heldModifiers());
}

bool VirtualSeat::play(Text& text) {
  for (int unflushed = 0; text.next < text.characters.size(); ++unflushed) {
    if (unflushed % kEventsBetweenFlushes == 0 && !connection_->flush()) return false;
    const char32_t character = text.characters[text.next];
    if (TypingKeymap::typable(character)) {
      if (!keymap_.find(character) && !prepareKeys(text)) return false;
      type(*keymap_.find(character));
    }
    ++text.next;
    --pending_;
  }
  return true;
}

void VirtualSeat::type(TypingKeymap::Stroke stroke) {
  if (stroke.shift) sendModifiers(heldModifiers() | kShift);
  const auto key = [&](std::uint32_t state) {
    zwp_virtual_keyboard_v1_key(keyboard_.get(), time(), stroke.code, state);
  };
  key(WL_KEYBOARD_KEY_STATE_PRESSED);
  key(WL_KEYBOARD_KEY_STATE_RELEASED);
  if (stroke.shift) sendModifiers(heldModifiers());
}

bool VirtualSeat::prepareKeys(const Text& text) {
  const auto now = queue_->now();
  if (now < nextKeymap_) {
    timer_ = queue_->after(nextKeymap_ - now, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->run();
    });
    return false;
  }
  std::vector<char32_t> coming;
  for (auto i = text.next; i < text.characters.size(); ++i) {
    const char32_t character = text.characters[i];
    if (coming.size() == TypingKeymap::spareKeys()) break;
    if (!TypingKeymap::typable(character) || keymap_.isFixed(character)) continue;
    if (std::ranges::find(coming, character) == coming.end()) coming.push_back(character);
  }
  keymap_.place(coming);
  uploadKeymap();
  nextKeymap_ = now + kBetweenKeymaps;
  return true;
}

void VirtualSeat::uploadKeymap() {
  const std::string text = keymap_.text();
  const std::size_t size = text.size() + 1;  // its end is a zero
  const int file = memfd_create("tessaline-keymap", MFD_CLOEXEC);
  if (file < 0 || ::write(file, text.c_str(), size) != static_cast<ssize_t>(size)) {
    log("wlroots: the keymap cannot be handed over");
  } else {
    zwp_virtual_keyboard_v1_keymap(keyboard_.get(), WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file,
                                   static_cast<std::uint32_t>(size));
    sendModifiers(heldModifiers());
  }
  if (file >= 0) ::close(file);  // the library has sent or kept a copy of its own
}

void VirtualSeat::sendModifiers(std::uint32_t mask) {
  zwp_virtual_keyboard_v1_modifiers(keyboard_.get(), mask, 0, 0, 0);
}

std::uint32_t VirtualSeat::heldModifiers() const {
  std::uint32_t mask = 0;
  for (const auto& modifier : kModifiers) {
    if (keys_.contains(modifier.code)) mask |= modifier.mask;
  }
  return mask;
}

std::uint32_t VirtualSeat::time() const {
  using std::chrono::milliseconds;
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<milliseconds>(queue_->now().time_since_epoch()).count());
}

}  // namespace tessaline::platform
