#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessaline::platform {

/// Which keys of a keyboard make which characters, read once from its layout's XKB text.
class TypedText {
 public:
  /// Codes as in linux/input-event-codes.h.
  struct Stroke {
    std::uint32_t key = 0;
    std::vector<std::uint32_t> modifiers;  ///< to be held meanwhile
  };

  /// Nothing when the layout cannot be understood.
  [[nodiscard]] static std::optional<TypedText> read(const std::string& layout);

  /// The stroke with the fewest modifiers; `group` is the layout that is switched on of several.
  [[nodiscard]] std::optional<Stroke> strokeFor(char32_t character, std::uint32_t group) const;

 private:
  std::map<std::pair<std::uint32_t, char32_t>, Stroke> strokes_;  // by group and character
};

}  // namespace tessaline::platform
