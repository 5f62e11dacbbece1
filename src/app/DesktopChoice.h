#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Result.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline {

/// Which of a system's ways to have extra displays this session offers. A way is tried only when
/// all before it do not serve. Main queue.
class DesktopChoice {
 public:
  using Opened = Result<std::unique_ptr<platform::DesktopEnvironment>>;

  struct Way {
    std::string name;  ///< as the setting "desktop" names it
    std::string what;  ///< for the log: "the virtual monitors of GNOME's compositor"
    /// Opens it, or says what is missing, as the end of a sentence.
    std::function<Opened()> open;
  };

  /// The first of `ways` that opens; with `wanted` only the one of that name. Where none does, a
  /// desktop whose limitation says so. One log line says which it is and why.
  [[nodiscard]] static std::unique_ptr<platform::DesktopEnvironment> open(
      const std::vector<Way>& ways, const std::optional<std::string>& wanted = std::nullopt);
};

}  // namespace tessaline
