#pragma once

#include <functional>
#include <memory>

#include "platform/ScreenCaptureAccess.h"
#include "platform/linux/wayland/portal/PortalSession.h"

namespace tessaline::platform {

/// The user's consent to extra displays as the system's rule about capturing: asked for with a
/// session that ends as soon as it is granted and leaves a token. Main queue, owned by the desktop.
class PortalAccess final : public ScreenCaptureAccess {
 public:
  explicit PortalAccess(std::function<PortalSession::Portal()> portal)
      : portal_(std::move(portal)) {}
  ~PortalAccess() override { PortalSession::letGo(std::move(question_)); }

  [[nodiscard]] bool granted() override { return portal_().consent->granted(); }
  void request() override;
  [[nodiscard]] std::unique_ptr<Trial> tryCapture() override { return nullptr; }
  void revealApplication() override {}

 private:
  const std::function<PortalSession::Portal()> portal_;
  std::shared_ptr<PortalSession> question_;
};

}  // namespace tessaline::platform
