#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tessaline::platform {

/// The keyboard that this process types on: the keys that every layout has, Latin letters, digits
/// and signs at their usual places, and some places that take any other character while it is
/// needed. A plain value without a queue.
class TypingKeymap {
 public:
  struct Stroke {
    std::uint32_t code = 0;  ///< of linux/input-event-codes.h
    bool shift = false;
  };

  TypingKeymap();

  /// How many characters outside of the fixed places can be on the keyboard at once.
  [[nodiscard]] static std::size_t spareKeys();

  /// Whether it has a place that it never loses.
  [[nodiscard]] bool isFixed(char32_t character) const { return fixed_.contains(character); }
  /// Whether any keyboard could have it.
  [[nodiscard]] static bool typable(char32_t character);
  /// Nothing while the character is not on the keyboard.
  [[nodiscard]] std::optional<Stroke> find(char32_t character) const;
  /// Puts the characters, at most `spareKeys`, on the keyboard in place of those that were asked
  /// for longest ago; `text` is then a new one.
  void place(const std::vector<char32_t>& characters);
  [[nodiscard]] bool hasKey(std::uint32_t code) const;

  /// As the XKB text format has it.
  [[nodiscard]] std::string text() const;

 private:
  struct Spare {
    std::uint32_t code = 0;
    char32_t character = 0;
    std::uint64_t used = 0;  // the round in which it was asked for last
  };
  std::map<char32_t, Stroke> fixed_;
  std::vector<Spare> spares_;
  std::uint64_t round_ = 0;
};

}  // namespace tessaline::platform
