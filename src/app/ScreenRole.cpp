#include "app/ScreenRole.h"

namespace tessaline {

ScreenRole::ScreenRole(Queues& queues, UserDefaults& defaults, platform::Workspace& workspace,
                       System system, bool mainModeSupported)
    : system_(std::move(system)),
      controller_({.receiver = {queues, *system_.network, *system_.discovery, *system_.decoding},
                   .workspace = workspace,
                   .windows = *system_.windows,
                   .mainModeSupported = mainModeSupported},
                  defaults) {
  controller_.onSwitchMode = [this] {
    if (onSwitchMode) onSwitchMode();
  };
}

}  // namespace tessaline
