#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/linux/wayland/portal/PortalBus.h"
#include "platform/linux/wayland/portal/PortalConsent.h"
#include "platform/linux/wayland/portal/PortalOffer.h"

namespace tessaline::platform {

/// One session with the portal: a virtual display to be, and the devices to reach it with, from the
/// question to the end. Destroying it takes everything back, a dialog that stands open included,
/// and an answer that comes too late is undone. Main queue; its owner's callbacks may destroy it.
class PortalSession : public std::enable_shared_from_this<PortalSession> {
 public:
  /// What the user's consent gives.
  struct Lease {
    std::string session;     ///< its object path
    std::uint32_t node = 0;  ///< of PipeWire
    int remote = -1;         ///< a connection to PipeWire; the callback's to close
    int eis = -1;            ///< a connection to the compositor's input, if any; the same
    std::uint32_t devices = 0;
    std::string mappingID;               ///< which region of input devices is this display
    std::optional<PixelSize> size;       ///< in the compositor's units
    std::optional<PixelPoint> position;  ///< the same
  };
  struct Callbacks {
    std::function<void(Lease)> onGranted;
    std::function<void()> onRefused;
    /// It came to nothing, or is over after it was granted; for the log.
    std::function<void(std::string reason)> onFailed;
  };

  /// What a session needs of the desktop, which ends it by ending.
  struct Portal {
    std::shared_ptr<Queue> main;
    std::shared_ptr<PortalBus> bus;
    std::shared_ptr<PortalConsent> consent;
    PortalOffer offer;
  };

  [[nodiscard]] static std::shared_ptr<PortalSession> start(Portal portal, Callbacks callbacks);
  ~PortalSession();
  PortalSession(const PortalSession&) = delete;
  PortalSession& operator=(const PortalSession&) = delete;

  /// Whether it is the user, or another question to the user, that is waited for.
  [[nodiscard]] bool asking() const { return asking_; }
  /// The owner has lost interest. Ends the session as destroying it does, but a token that the
  /// portal is just taking back gets a moment to be answered by its successor.
  static void letGo(std::shared_ptr<PortalSession> session);

 private:
  PortalSession(Portal portal, Callbacks callbacks);
  void begin();
  void createSession();
  void selectDevices();
  void selectSource();
  void startSession();
  void started(PortalAnswer answer);
  void openPictures();
  void openInput();
  void grant();
  void endSession();
  void fail(const std::string& reason);
  void refuse();
  void request(PortalBus::Method method, PortalBus::WriteRequest write,
               void (PortalSession::*next)());
  void open(PortalBus::Method method,
            std::function<void(PortalSession&, int descriptor, std::optional<std::string>)> done);

  const std::shared_ptr<Queue> main_;
  const std::weak_ptr<PortalBus> bus_;
  const std::weak_ptr<PortalConsent> consent_;
  const PortalOffer offer_;
  Callbacks callbacks_;
  bool asking_ = true;
  std::unique_ptr<PortalConsent::Turn> turn_;
  std::unique_ptr<PortalBus::Request> request_;
  Subscription closed_;
  Lease lease_;
  std::optional<Clock::time_point> startedAt_;
};

}  // namespace tessaline::platform
