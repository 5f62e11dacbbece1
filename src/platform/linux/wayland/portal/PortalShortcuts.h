#pragma once

#include <functional>
#include <memory>

#include "base/Queue.h"
#include "platform/HotKey.h"

namespace tessaline::platform {

class PortalBus;

/// Hot keys from the desktop portal (GlobalShortcuts), for every desktop that leaves them to it.
/// The user may be asked for a key once, some seconds after the start, and may choose another one.
/// Where there are none, the log says so in one line and the action does not run. Comes back by
/// itself when the portal does. Main queue; the registrations may outlive this object.
class PortalShortcuts {
 public:
  virtual ~PortalShortcuts() = default;
  [[nodiscard]] static std::unique_ptr<PortalShortcuts> open(Queues& queues);
  [[nodiscard]] static std::unique_ptr<PortalShortcuts> open(Queues& queues,
                                                             std::shared_ptr<PortalBus> bus);
  /// As `DesktopEnvironment::registerHotKey`.
  [[nodiscard]] virtual std::unique_ptr<HotKeyRegistration> add(const HotKey& hotKey,
                                                                std::function<void()> action) = 0;
};

}  // namespace tessaline::platform
