#pragma once

#include <string>

#include "base/UserDefaults.h"

namespace tessaline {

/// By what other devices remember this computer: a UUID, made on first use and kept in the user
/// defaults for good. It survives role switches. Main queue: two first uses at once would make two.
struct DeviceIdentity {
  [[nodiscard]] static std::string id(UserDefaults& defaults);
};

}  // namespace tessaline
