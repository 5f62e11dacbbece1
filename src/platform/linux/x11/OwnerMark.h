#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// Tells whose displays are whose after a crash. Each run owns an X selection named for a random
/// token, and everything it makes carries the token in its name. The server drops the selection
/// with the connection, however that ends; what carries the token of a selection without an owner
/// is left over.
class OwnerMark {
 public:
  /// Takes the selection; `connection` must live as long as what gets marked.
  explicit OwnerMark(const X11Connection& connection);

  /// `text` with the token behind it, without spaces.
  [[nodiscard]] std::string mark(std::string_view text) const;

  /// The token in a marked text.
  [[nodiscard]] static std::optional<std::string> tokenOf(std::string_view text);
  /// False when the run that made the token has gone.
  [[nodiscard]] static bool alive(const X11Connection& connection, const std::string& token);

 private:
  std::string token_;
};

}  // namespace tessaline::platform
