#include "shell/DeviceIdentity.h"

#include "base/RandomText.h"

namespace tessaline {
namespace {

constexpr std::string_view kDeviceIDKey = "deviceID";

}  // namespace

std::string DeviceIdentity::id(UserDefaults& defaults) {
  if (auto stored = defaults.string(kDeviceIDKey)) return *stored;
  std::string id = randomUuid();
  defaults.set(kDeviceIDKey, id);
  return id;
}

}  // namespace tessaline
