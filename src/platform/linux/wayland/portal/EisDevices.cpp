#include "platform/linux/wayland/portal/EisDevices.h"

#include <libei.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "base/Log.h"
#include "base/Utf8.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kComing = 2s;  // for devices that the compositor makes, or makes anew
constexpr std::size_t kLargestKeymap = 1'000'000;

}  // namespace

EisDevices::EisDevices(int descriptor, Target target)
    : target_(std::move(target)),
      connection_(ei_new_sender(nullptr)),
      waitsUntil_(std::chrono::steady_clock::now() + kComing) {
  if (!connection_) {
    ::close(descriptor);
    return;
  }
  ei_log_set_priority(connection_, EI_LOG_PRIORITY_ERROR);
  ei_configure_name(connection_, "Tessaline");
  if (ei_setup_backend_fd(connection_, descriptor) < 0) {
    log("portal: the compositor's input connection cannot be used");
    lose();
  }
}

EisDevices::~EisDevices() {
  lose();
}

void EisDevices::close() {
  lose();
}

void EisDevices::lose() {
  for (const auto& [slot, touch] : std::exchange(touches_, {})) ei_touch_unref(touch);
  for (Device* device : {&pointer_, &touch_, &keyboard_}) drop(*device);
  if (connection_) ei_unref(std::exchange(connection_, nullptr));
}

int EisDevices::descriptor() const {
  return connection_ ? ei_get_fd(connection_) : -1;
}

void EisDevices::dispatch() {
  if (!connection_) return;
  ei_dispatch(connection_);
  while (connection_) {
    ei_event* const event = ei_get_event(connection_);
    if (!event) return;
    const bool over = ei_event_get_type(event) == EI_EVENT_DISCONNECT;
    if (!over) handle(event);
    ei_event_unref(event);
    if (over) lose();
  }
}

void EisDevices::handle(ei_event* event) {
  switch (ei_event_get_type(event)) {
    case EI_EVENT_SEAT_ADDED:
      ei_seat_bind_capabilities(ei_event_get_seat(event), EI_DEVICE_CAP_POINTER_ABSOLUTE,
                                EI_DEVICE_CAP_BUTTON, EI_DEVICE_CAP_SCROLL, EI_DEVICE_CAP_KEYBOARD,
                                EI_DEVICE_CAP_TOUCH, nullptr);
      break;
    case EI_EVENT_DEVICE_ADDED:
      added(ei_event_get_device(event));
      break;
    case EI_EVENT_DEVICE_REMOVED:
      removed(ei_event_get_device(event));
      break;
    case EI_EVENT_DEVICE_RESUMED:
      resumed(ei_event_get_device(event), true);
      break;
    case EI_EVENT_DEVICE_PAUSED:
      resumed(ei_event_get_device(event), false);
      break;
    case EI_EVENT_KEYBOARD_MODIFIERS:
      group_ = ei_event_keyboard_get_xkb_group(event);
      break;
    default:
      break;
  }
}

bool EisDevices::findRegion(ei_device* device, Device& found) const {
  for (std::size_t i = 0;; ++i) {
    ei_region* const region = ei_device_get_region(device, i);
    if (!region) return false;
    const char* const mapping = ei_region_get_mapping_id(region);
    const Device candidate{.device = device,
                           .resumed = false,
                           .x = static_cast<double>(ei_region_get_x(region)),
                           .y = static_cast<double>(ei_region_get_y(region)),
                           .width = static_cast<double>(ei_region_get_width(region)),
                           .height = static_cast<double>(ei_region_get_height(region))};
    const bool fits = target_.mappingID.empty() ? candidate.width == target_.picture.width &&
                                                      candidate.height == target_.picture.height
                                                : mapping && target_.mappingID == mapping;
    if (!fits || candidate.width <= 0 || candidate.height <= 0) continue;
    found = candidate;
    return true;
  }
}

void EisDevices::added(ei_device* device) {
  Device found;
  const bool reaches = findRegion(device, found);
  if (reaches && ei_device_has_capability(device, EI_DEVICE_CAP_POINTER_ABSOLUTE) &&
      ei_device_has_capability(device, EI_DEVICE_CAP_BUTTON)) {
    take(pointer_, found);
  }
  if (reaches && ei_device_has_capability(device, EI_DEVICE_CAP_TOUCH)) take(touch_, found);
  if (!keyboard_.device && ei_device_has_capability(device, EI_DEVICE_CAP_KEYBOARD)) {
    take(keyboard_, {.device = device});
    readKeymap();
  }
}

void EisDevices::take(Device& slot, const Device& device) {
  drop(slot);
  slot = device;
  ei_device_ref(slot.device);
}

void EisDevices::drop(Device& slot) {
  if (slot.device) ei_device_unref(slot.device);
  slot = {};
}

void EisDevices::removed(ei_device* device) {
  if (touch_.device == device) {
    for (const auto& [slot, touch] : std::exchange(touches_, {})) ei_touch_unref(touch);
  }
  for (Device* own : {&pointer_, &touch_, &keyboard_}) {
    if (own->device != device) continue;
    drop(*own);
    waitsUntil_ = std::chrono::steady_clock::now() + kComing;  // it comes back elsewhere
  }
}

void EisDevices::resumed(ei_device* device, bool on) {
  bool ours = false;
  for (Device* own : {&pointer_, &touch_, &keyboard_}) {
    if (own->device != device) continue;
    own->resumed = on;
    ours = true;
  }
  if (ours && on) ei_device_start_emulating(device, ++sequence_);
}

void EisDevices::readKeymap() {
  layout_.reset();
  ei_keymap* const keymap = ei_device_keyboard_get_keymap(keyboard_.device);
  if (!keymap) return;
  const std::size_t size = ei_keymap_get_size(keymap);
  if (size == 0 || size > kLargestKeymap) return;
  void* const memory = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, ei_keymap_get_fd(keymap), 0);
  if (memory == MAP_FAILED) return;
  std::string text(static_cast<const char*>(memory), size);
  ::munmap(memory, size);
  if (const auto end = text.find('\0'); end != std::string::npos) text.resize(end);
  layout_ = TypedText::read(text);
}

void EisDevices::frame(const Device& device) {
  ei_device_frame(device.device, ei_now(connection_));
}

void EisDevices::move(double x, double y) {
  if (!ready()) return;
  ei_device_pointer_motion_absolute(pointer_.device,
                                    pointer_.x + x * pointer_.width / target_.picture.width,
                                    pointer_.y + y * pointer_.height / target_.picture.height);
  frame(pointer_);
}

void EisDevices::button(std::uint32_t code, bool down) {
  if (!ready()) return;
  ei_device_button_button(pointer_.device, code, down);
  frame(pointer_);
}

void EisDevices::scroll(double dx, double dy) {
  if (!ready() || !ei_device_has_capability(pointer_.device, EI_DEVICE_CAP_SCROLL)) return;
  ei_device_scroll_delta(pointer_.device, dx, dy);
  frame(pointer_);
}

void EisDevices::touchDown(std::uint32_t slot, double x, double y) {
  if (!hasTouch() || touches_.contains(slot)) return;
  ei_touch* const touch = ei_device_touch_new(touch_.device);
  touches_[slot] = touch;
  ei_touch_down(touch, touch_.x + x * touch_.width / target_.picture.width,
                touch_.y + y * touch_.height / target_.picture.height);
  frame(touch_);
}

void EisDevices::touchUp(std::uint32_t slot) {
  auto found = touches_.extract(slot);
  if (found.empty()) return;
  ei_touch_up(found.mapped());
  frame(touch_);
  ei_touch_unref(found.mapped());
}

void EisDevices::key(std::uint32_t code, bool down) {
  if (!keyboard_.device || !keyboard_.resumed) return;
  ei_device_keyboard_key(keyboard_.device, code, down);
  frame(keyboard_);
}

void EisDevices::type(const std::string& text) {
  for (const char32_t character : decodeUtf8(text)) {
    const auto stroke = layout_ ? layout_->strokeFor(character, group_) : std::nullopt;
    if (!stroke) {
      if (!std::exchange(saidUntypable_, true)) {
        log("portal: the keyboard's layout lacks characters that were typed; they are left out");
      }
      continue;
    }
    for (const auto modifier : stroke->modifiers) key(modifier, true);
    key(stroke->key, true);
    key(stroke->key, false);
    for (const auto modifier : stroke->modifiers) key(modifier, false);
  }
}

}  // namespace tessaline::platform
