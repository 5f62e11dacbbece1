#pragma once

#include <optional>
#include <string_view>

#include "base/UserDefaults.h"

namespace tessaline {

/// The role of this computer, kept in the user defaults as the text "main" or "screen". It decides
/// the whole life of the process: the two roles never run in one. Callable from any thread.
class AppMode {
 public:
  enum Value { main, screen };

  constexpr AppMode(Value value) : value_(value) {}    // NOLINT(google-explicit-constructor)
  constexpr operator Value() const { return value_; }  // NOLINT(google-explicit-constructor)

  [[nodiscard]] constexpr std::string_view text() const {
    return value_ == main ? "main" : "screen";
  }

  /// The stored role; nothing when none is stored or the stored text names none.
  [[nodiscard]] static std::optional<AppMode> current(const UserDefaults& defaults);
  /// Stores the role, or removes it.
  static void setCurrent(UserDefaults& defaults, std::optional<AppMode> mode);

 private:
  Value value_;
};

}  // namespace tessaline
