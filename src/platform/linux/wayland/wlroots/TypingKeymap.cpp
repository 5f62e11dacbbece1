#include "platform/linux/wayland/wlroots/TypingKeymap.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <array>
#include <cassert>

namespace tessaline::platform {
namespace {

// XKB counts keys from 8 on, for reasons of X11.
constexpr std::uint32_t kFirstKey = 8;

constexpr struct {
  std::uint32_t code;
  const char* symbol;
} kKeys[] = {
    {KEY_ESC, "Escape"},
    {KEY_BACKSPACE, "BackSpace"},
    {KEY_TAB, "Tab"},
    {KEY_ENTER, "Return"},
    {KEY_HOME, "Home"},
    {KEY_END, "End"},
    {KEY_UP, "Up"},
    {KEY_DOWN, "Down"},
    {KEY_LEFT, "Left"},
    {KEY_RIGHT, "Right"},
    {KEY_PAGEUP, "Prior"},
    {KEY_PAGEDOWN, "Next"},
    {KEY_DELETE, "Delete"},
    {KEY_KPPLUS, "KP_Add"},
    {KEY_KPMINUS, "KP_Subtract"},
    {KEY_LEFTSHIFT, "Shift_L"},
    {KEY_LEFTCTRL, "Control_L"},
    {KEY_LEFTALT, "Alt_L"},
    {KEY_LEFTMETA, "Super_L"},
};

constexpr struct {
  std::uint32_t first;
  const char* plain;    // at this key and those that follow
  const char* shifted;  // the same keys with Shift
} kRows[] = {
    {KEY_1, "1234567890-=", "!@#$%^&*()_+"},
    {KEY_Q, "qwertyuiop[]", "QWERTYUIOP{}"},
    {KEY_A, "asdfghjkl;'`", "ASDFGHJKL:\"~"},
    {KEY_BACKSLASH, "\\zxcvbnm,./", "|ZXCVBNM<>?"},
    {KEY_SPACE, " ", " "},
};

// Keys that programs know, so that none passes their events over, and that mean nothing to them.
constexpr std::array<std::uint32_t, 24> kSpareCodes = {
    KEY_F13, KEY_F14, KEY_F15, KEY_F16, KEY_F17, KEY_F18,   KEY_F19, KEY_F20,
    KEY_F21, KEY_F22, KEY_F23, KEY_F24, KEY_RO,  KEY_102ND, KEY_KP7, KEY_KP8,
    KEY_KP9, KEY_KP4, KEY_KP5, KEY_KP6, KEY_KP1, KEY_KP2,   KEY_KP3, KEY_KP0,
};

std::string keyName(std::uint32_t code) {
  return "<K" + std::to_string(code) + ">";
}

std::string symbolOf(char32_t character) {
  std::array<char, 64> name{};
  xkb_keysym_get_name(xkb_utf32_to_keysym(character), name.data(), name.size());
  return name.data();
}

/// The parts of a keymap as they grow key by key.
struct Parts {
  std::string codes;
  std::string symbols;

  void add(std::uint32_t code, const std::string& type, const std::string& levels) {
    codes += keyName(code) + " = " + std::to_string(code + kFirstKey) + ";\n";
    symbols += "key " + keyName(code) + " { type = \"" + type + "\", [ " + levels + " ] };\n";
  }
};

}  // namespace

TypingKeymap::TypingKeymap() {
  for (const auto& row : kRows) {
    for (std::uint32_t i = 0; row.plain[i]; ++i) {
      fixed_.insert({static_cast<char32_t>(row.shifted[i]), {row.first + i, true}});
      fixed_.insert_or_assign(static_cast<char32_t>(row.plain[i]), Stroke{row.first + i, false});
    }
  }
  for (const std::uint32_t code : kSpareCodes) spares_.push_back({code, 0, 0});
}

std::size_t TypingKeymap::spareKeys() {
  return kSpareCodes.size();
}

bool TypingKeymap::typable(char32_t character) {
  return xkb_utf32_to_keysym(character) != XKB_KEY_NoSymbol;
}

std::optional<TypingKeymap::Stroke> TypingKeymap::find(char32_t character) const {
  if (const auto found = fixed_.find(character); found != fixed_.end()) return found->second;
  const auto spare = std::ranges::find(spares_, character, &Spare::character);
  if (spare == spares_.end()) return std::nullopt;
  return Stroke{spare->code, false};
}

void TypingKeymap::place(const std::vector<char32_t>& characters) {
  assert(characters.size() <= spares_.size() && "more characters than keys");
  ++round_;
  // Those that are there already must not make way for the others.
  for (Spare& spare : spares_) {
    if (std::ranges::find(characters, spare.character) != characters.end()) spare.used = round_;
  }
  for (const char32_t character : characters) {
    if (find(character)) continue;
    Spare& oldest = *std::ranges::min_element(spares_, {}, &Spare::used);
    oldest.character = character;
    oldest.used = round_;
  }
}

bool TypingKeymap::hasKey(std::uint32_t code) const {
  return std::ranges::any_of(kKeys, [&](const auto& key) { return key.code == code; });
}

std::string TypingKeymap::text() const {
  Parts parts;
  for (const auto& key : kKeys) parts.add(key.code, "ONE_LEVEL", key.symbol);
  for (const auto& row : kRows) {
    for (std::uint32_t i = 0; row.plain[i]; ++i) {
      parts.add(row.first + i, "TWO_LEVEL",
                symbolOf(static_cast<char32_t>(row.plain[i])) + ", " +
                    symbolOf(static_cast<char32_t>(row.shifted[i])));
    }
  }
  for (const Spare& spare : spares_) {
    if (spare.character) parts.add(spare.code, "ONE_LEVEL", symbolOf(spare.character));
  }
  return "xkb_keymap {\nxkb_keycodes \"tessaline\" {\nminimum = 8;\nmaximum = 255;\n" +
         parts.codes +
         "};\nxkb_types \"tessaline\" { include \"complete\" };\n"
         "xkb_compatibility \"tessaline\" { include \"complete\" };\n"
         "xkb_symbols \"tessaline\" {\n" +
         parts.symbols + "modifier_map Shift { " + keyName(KEY_LEFTSHIFT) +
         " };\nmodifier_map Control { " + keyName(KEY_LEFTCTRL) + " };\nmodifier_map Mod1 { " +
         keyName(KEY_LEFTALT) + " };\nmodifier_map Mod4 { " + keyName(KEY_LEFTMETA) +
         " };\n};\n};\n";
}

}  // namespace tessaline::platform
