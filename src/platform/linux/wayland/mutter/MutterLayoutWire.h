#pragma once

#include <chrono>
#include <functional>

#include "base/Result.h"
#include "platform/linux/wayland/mutter/MonitorLayout.h"
#include "platform/linux/wayland/mutter/MutterBus.h"

namespace tessaline::platform {

// How MonitorLayout travels: org.gnome.Mutter.DisplayConfig, which `proxy` stands for.

/// Waits for it, at most `patience`.
[[nodiscard]] Result<MonitorLayout> readLayoutNow(sdbus::IProxy* proxy,
                                                  std::chrono::milliseconds patience);

void readLayout(MutterBus& bus, sdbus::IProxy* proxy, MutterBus::Owner owner,
                std::function<void(Result<MonitorLayout>)> done);

/// Until the monitors change, and without a question to the user.
void applyLayout(MutterBus& bus, sdbus::IProxy* proxy, MutterBus::Owner owner,
                 const MonitorLayout& layout, std::function<void(const BusFailure&)> done);

}  // namespace tessaline::platform
