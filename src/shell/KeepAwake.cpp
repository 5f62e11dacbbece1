#include "shell/KeepAwake.h"

namespace tessaline {
namespace {

constexpr std::string_view kKeepAwakeKey = "keepAwake";

}  // namespace

KeepAwake::KeepAwake(platform::Workspace& workspace, UserDefaults& defaults)
    : workspace_(workspace), defaults_(defaults) {}

bool KeepAwake::preferred() const {
  return defaults_.boolean(kKeepAwakeKey).value_or(true);
}

void KeepAwake::setPreferred(bool preferred) {
  defaults_.set(kKeepAwakeKey, preferred);
  apply();
}

void KeepAwake::apply() {
  if (!preferred()) {
    activity_.reset();
  } else if (!activity_) {
    activity_ = workspace_.beginActivity(
        {.idleDisplaySleepDisabled = true, .idleSystemSleepDisabled = true},
        "Tessaline keeps this screen ready");
  }
}

}  // namespace tessaline
