#include "platform/linux/wayland/mutter/KeyboardLayout.h"

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;                  // for the compositor
constexpr std::uint32_t kMaxKeymap = 1U << 22;  // bytes; those of real keyboards have 60 kB
constexpr xkb_level_index_t kLevels = 3;        // what Mutter presses modifiers for

template <auto destroy>
struct Destroy {
  template <typename T>
  void operator()(T* object) const {
    destroy(object);
  }
};
template <typename T, auto destroy>
using Owned = std::unique_ptr<T, Destroy<destroy>>;

struct Visit {
  Owned<wl_seat, wl_seat_destroy> seat;
  Owned<wl_keyboard, wl_keyboard_destroy> keyboard;
  std::string keymap;
};

void keymapCame(void* data, wl_keyboard*, std::uint32_t format, std::int32_t file,
                std::uint32_t size) {
  auto& visit = *static_cast<Visit*>(data);
  if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0 && size <= kMaxKeymap) {
    void* const text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (text != MAP_FAILED) {
      const auto* const begin = static_cast<const char*>(text);
      visit.keymap.assign(begin, std::find(begin, begin + size, '\0'));
      munmap(text, size);
    }
  }
  ::close(file);
}

const wl_keyboard_listener kKeyboardListener = {
    .keymap = keymapCame,
    .enter = [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {},
    .leave = [](void*, wl_keyboard*, std::uint32_t, wl_surface*) {},
    .key = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    .modifiers = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                    std::uint32_t) {},
    .repeat_info = [](void*, wl_keyboard*, std::int32_t, std::int32_t) {}};

const wl_seat_listener kSeatListener = {
    .capabilities =
        [](void* data, wl_seat* seat, std::uint32_t capabilities) {
          auto& visit = *static_cast<Visit*>(data);
          if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) == 0 || visit.keyboard) return;
          visit.keyboard.reset(wl_seat_get_keyboard(seat));
          wl_keyboard_add_listener(visit.keyboard.get(), &kKeyboardListener, data);
        },
    .name = [](void*, wl_seat*, const char*) {}};

const wl_registry_listener kRegistryListener = {
    .global =
        [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
           std::uint32_t /*version*/) {
          auto& visit = *static_cast<Visit*>(data);
          if (interface != std::string_view(wl_seat_interface.name) || visit.seat) return;
          visit.seat.reset(
              static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1)));
          wl_seat_add_listener(visit.seat.get(), &kSeatListener, data);
        },
    .global_remove = [](void*, wl_registry*, std::uint32_t) {}};

/// Everything that the compositor had to say to what was asked so far; false when it does not come.
bool roundTrip(wl_display* display, std::chrono::steady_clock::time_point deadline) {
  bool done = false;
  const wl_callback_listener listener = {
      .done = [](void* data, wl_callback*, std::uint32_t) { *static_cast<bool*>(data) = true; }};
  const Owned<wl_callback, wl_callback_destroy> callback(wl_display_sync(display));
  wl_callback_add_listener(callback.get(), &listener, &done);
  while (!done) {
    while (wl_display_prepare_read(display) != 0) {
      if (wl_display_dispatch_pending(display) < 0) return false;
    }
    if (done) {
      wl_display_cancel_read(display);
      break;
    }
    wl_display_flush(display);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd file{wl_display_get_fd(display), POLLIN, 0};
    if (left.count() <= 0 || ::poll(&file, 1, static_cast<int>(left.count())) <= 0) {
      wl_display_cancel_read(display);
      return false;
    }
    if (wl_display_read_events(display) < 0 || wl_display_dispatch_pending(display) < 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<KeyboardLayout> KeyboardLayout::read() {
  const Owned<wl_display, wl_display_disconnect> display(wl_display_connect(nullptr));
  if (!display) return std::nullopt;
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  Visit visit;
  const Owned<wl_registry, wl_registry_destroy> registry(wl_display_get_registry(display.get()));
  wl_registry_add_listener(registry.get(), &kRegistryListener, &visit);
  // The globals, the seat's devices, the keyboard's keymap.
  for (int i = 0; i < 3; ++i) {
    if (!roundTrip(display.get(), deadline)) return std::nullopt;
  }
  return visit.keymap.empty() ? std::nullopt : parse(visit.keymap.c_str());
}

std::optional<KeyboardLayout> KeyboardLayout::parse(const char* text) {
  const Owned<xkb_context, xkb_context_unref> context(
      xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES));
  if (!context) return std::nullopt;
  xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
  const Owned<xkb_keymap, xkb_keymap_unref> keymap(xkb_keymap_new_from_string(
      context.get(), text, XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS));
  if (!keymap) return std::nullopt;
  KeyboardLayout common;
  const xkb_layout_index_t layouts = xkb_keymap_num_layouts(keymap.get());
  for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
    // Mutter takes the first key that has the symbol, at whatever level.
    std::map<xkb_keysym_t, xkb_level_index_t> found;
    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap.get());
         key <= xkb_keymap_max_keycode(keymap.get()); ++key) {
      const xkb_layout_index_t own = xkb_keymap_num_layouts_for_key(keymap.get(), key);
      if (own == 0) continue;
      const xkb_layout_index_t used = layout < own ? layout : layout % own;
      for (xkb_level_index_t level = 0;
           level < xkb_keymap_num_levels_for_key(keymap.get(), key, used); ++level) {
        const xkb_keysym_t* symbols = nullptr;
        const int count =
            xkb_keymap_key_get_syms_by_level(keymap.get(), key, used, level, &symbols);
        if (count == 1) found.emplace(symbols[0], level);
      }
    }
    KeyboardLayout these;
    for (const auto& [symbol, level] : found) {
      const std::uint32_t character = xkb_keysym_to_utf32(symbol);
      if (character >= 0x20 && level < kLevels) these.keysyms_.emplace(character, symbol);
    }
    if (layout == 0) {
      common = std::move(these);
    } else {
      std::erase_if(common.keysyms_, [&](const auto& entry) {
        const auto other = these.keysyms_.find(entry.first);
        return other == these.keysyms_.end() || other->second != entry.second;
      });
    }
  }
  return common;
}

std::optional<std::uint32_t> KeyboardLayout::keysym(char32_t character, bool capsLock) const {
  const auto found = keysyms_.find(character);
  if (found == keysyms_.end()) return std::nullopt;
  if (!capsLock) return found->second;
  const xkb_keysym_t upper = xkb_keysym_to_upper(found->second);
  return upper == found->second ? xkb_keysym_to_lower(found->second) : upper;
}

}  // namespace tessaline::platform
