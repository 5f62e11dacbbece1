#pragma once

#include <optional>

#include "base/Geometry.h"

namespace tessaline::platform {

/// The element of any program that has the keyboard's focus.
struct FocusedElement {
  enum class Role { textField, textArea, searchField, comboBox, other };
  Role role = Role::other;
  bool editable = false;
  /// Global desktop coordinates; nothing where programs are not told where their windows are.
  std::optional<PixelRect> frame;
  bool operator==(const FocusedElement&) const = default;
};

/// What the desktop's accessibility service tells about other programs, kept up to date from its
/// events: asking costs nothing, and a program that hangs delays nobody. Main queue.
class Accessibility {
 public:
  virtual ~Accessibility() = default;
  /// Nothing when nothing has the focus, or when the service cannot be asked.
  [[nodiscard]] virtual std::optional<FocusedElement> focusedElement() const = 0;
};

}  // namespace tessaline::platform
