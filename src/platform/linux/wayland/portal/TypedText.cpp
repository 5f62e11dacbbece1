#include "platform/linux/wayland/portal/TypedText.h"

#include <xkbcommon/xkbcommon.h>

#include <array>
#include <bit>
#include <memory>

namespace tessaline::platform {
namespace {

constexpr std::uint32_t kOffset = 8;  // from the kernel's key codes to XKB's
constexpr std::size_t kMostMasks = 16;

template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    Release(object);
  }
};
using Context = std::unique_ptr<xkb_context, Releaser<xkb_context_unref>>;
using Keymap = std::unique_ptr<xkb_keymap, Releaser<xkb_keymap_unref>>;
using State = std::unique_ptr<xkb_state, Releaser<xkb_state_unref>>;

/// The key that switches each modifier on for as long as it is held.
std::map<xkb_mod_mask_t, std::uint32_t> modifierKeys(xkb_keymap* keymap) {
  std::map<xkb_mod_mask_t, std::uint32_t> keys;
  for (auto code = xkb_keymap_min_keycode(keymap); code <= xkb_keymap_max_keycode(keymap); ++code) {
    const State state(xkb_state_new(keymap));
    if (!state) break;
    xkb_state_update_key(state.get(), code, XKB_KEY_DOWN);
    const auto held = xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED);
    const auto kept = xkb_state_serialize_mods(
        state.get(),
        static_cast<xkb_state_component>(XKB_STATE_MODS_LATCHED | XKB_STATE_MODS_LOCKED));
    if (std::popcount(held) >= 1 && kept == 0 && code >= kOffset) {
      keys.emplace(held, code - kOffset);
    }
  }
  return keys;
}

/// The keys to hold for exactly these modifiers; nothing when there are none for one of them.
std::optional<std::vector<std::uint32_t>> keysFor(
    xkb_mod_mask_t mask, const std::map<xkb_mod_mask_t, std::uint32_t>& keys) {
  std::vector<std::uint32_t> held;
  if (const auto whole = keys.find(mask); whole != keys.end()) return std::vector{whole->second};
  for (const auto& [modifiers, key] : keys) {
    if ((modifiers & mask) != modifiers) continue;
    held.push_back(key);
    mask &= ~modifiers;
  }
  if (mask != 0) return std::nullopt;
  return held;
}

}  // namespace

std::optional<TypedText> TypedText::read(const std::string& layout) {
  const Context context(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES));
  if (!context) return std::nullopt;
  xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
  const Keymap keymap(xkb_keymap_new_from_string(
      context.get(), layout.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS));
  if (!keymap) return std::nullopt;
  const auto modifiers = modifierKeys(keymap.get());
  TypedText text;
  const auto add = [&](xkb_keycode_t code, xkb_layout_index_t group, xkb_level_index_t level) {
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap.get(), code, group, level, &symbols) != 1) return;
    const char32_t character = xkb_keysym_to_utf32(symbols[0]);
    if (character == 0) return;
    std::array<xkb_mod_mask_t, kMostMasks> masks{};
    const std::size_t count = xkb_keymap_key_get_mods_for_level(keymap.get(), code, group, level,
                                                                masks.data(), masks.size());
    for (std::size_t i = 0; i < count; ++i) {
      auto held = keysFor(masks[i], modifiers);
      if (!held) continue;
      const auto [found, isNew] = text.strokes_.try_emplace({group, character});
      if (isNew || held->size() < found->second.modifiers.size()) {
        found->second = {code - kOffset, std::move(*held)};
      }
    }
  };
  for (auto code = std::max(kOffset, xkb_keymap_min_keycode(keymap.get()));
       code <= xkb_keymap_max_keycode(keymap.get()); ++code) {
    const auto groups = xkb_keymap_num_layouts_for_key(keymap.get(), code);
    for (xkb_layout_index_t group = 0; group < groups; ++group) {
      const auto levels = xkb_keymap_num_levels_for_key(keymap.get(), code, group);
      for (xkb_level_index_t level = 0; level < levels; ++level) add(code, group, level);
    }
  }
  return text;
}

std::optional<TypedText::Stroke> TypedText::strokeFor(char32_t character,
                                                      std::uint32_t group) const {
  const auto found = strokes_.find({group, character});
  return found == strokes_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace tessaline::platform
