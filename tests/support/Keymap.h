#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdlib>
#include <string>

namespace tessaline::test {

/// The text of a keyboard's layouts, as a compositor hands it out; empty where there are none here
/// (package xkb-data).
inline std::string keymapText(const char* layouts) {
  xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  const xkb_rule_names names{"evdev", "pc105", layouts, nullptr, nullptr};
  xkb_keymap* const map = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  char* const text = map ? xkb_keymap_get_as_string(map, XKB_KEYMAP_FORMAT_TEXT_V1) : nullptr;
  std::string result = text ? text : "";
  std::free(text);
  xkb_keymap_unref(map);
  xkb_context_unref(context);
  return result;
}

}  // namespace tessaline::test
