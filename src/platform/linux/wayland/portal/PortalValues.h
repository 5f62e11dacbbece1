#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/linux/desktop/SdBus.h"

namespace tessaline::platform {

/// The portal's way to say anything: names with values of any type.
using PortalValues = std::map<std::string, sdbus::Variant>;

/// The value of that name, if it is there and is of that type.
template <typename T>
[[nodiscard]] std::optional<T> portalValue(const PortalValues& values, const std::string& name) {
  const auto found = values.find(name);
  if (found == values.end() || !found->second.template containsValueOfType<T>())
    return std::nullopt;
  return found->second.template get<T>();
}

}  // namespace tessaline::platform
