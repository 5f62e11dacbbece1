#pragma once

#include <memory>
#include <optional>

#include "platform/Accessibility.h"

namespace tessaline::platform {

/// Accessibility over AT-SPI, the accessibility bus of Linux desktops. It begins with the first
/// question: programs have work with accessibility, which is switched on for them then. Answers
/// come from memory; each question has the thread "accessibility" look again at the element that
/// has the focus, one look at a time, so that a program that hangs costs nobody anything. Main
/// queue.
class AtspiAccessibility final : public Accessibility {
 public:
  /// Whether programs can tell where on the desktop something is.
  enum class Frames { global, none };

  explicit AtspiAccessibility(Frames frames = Frames::global);
  ~AtspiAccessibility() override;
  [[nodiscard]] std::optional<FocusedElement> focusedElement() const override;

 private:
  class Listener;
  const Frames frames_;
  mutable std::unique_ptr<Listener> listener_;
};

}  // namespace tessaline::platform
