#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/Queue.h"
#include "platform/Display.h"
#include "platform/linux/wayland/portal/PortalInput.h"
#include "platform/linux/wayland/portal/PortalSession.h"
#include "platform/linux/wayland/screencast/ScreenCast.h"

namespace tessaline::platform {

/// An extra display from the portal: one session, the pictures of its stream and the devices that
/// reach it. The size is the one asked for unless the portal chose another. Main queue.
class PortalDisplay final : public VirtualDisplay {
 public:
  /// What the desktop does for its displays.
  class Stage {
   public:
    virtual ~Stage() = default;
    [[nodiscard]] virtual Queues& queues() = 0;
    [[nodiscard]] virtual PortalSession::Portal portal() = 0;
    [[nodiscard]] virtual std::shared_ptr<WaylandPointer> castPointer() = 0;
    /// The display does not exist any more.
    virtual void forget(DisplayID display) = 0;
    /// The display is to be listed, for the first time or with another size. `position` is the
    /// portal's word, if any.
    virtual void show(DisplayID display, PixelSize size, std::optional<PixelPoint> position) = 0;
    virtual void lend(DisplayID display, std::unique_ptr<PortalInput> input) = 0;
    /// It is not to be listed any more, nor used for input.
    virtual void hide(DisplayID display) = 0;
  };

  /// `stage` outlives it.
  PortalDisplay(Stage& stage, DisplayID id, std::string name);
  ~PortalDisplay() override;

  [[nodiscard]] DisplayID displayID() const override { return id_; }
  bool apply(const VirtualDisplaySettings& settings) override;
  [[nodiscard]] State state() const override;

  /// Nothing while there are no pictures.
  [[nodiscard]] ScreenCast* cast() const { return cast_.get(); }

 private:
  void granted(PortalSession::Lease lease);
  void agreedOn(PixelSize size);
  void fail(const std::string& reason);
  void refuse();
  void end();

  Stage& stage_;
  const DisplayID id_;
  const std::string name_;
  PixelSize size_;
  State state_ = State::coming;
  bool shown_ = false;
  PortalSession::Lease lease_;
  std::shared_ptr<PortalSession> session_;
  std::unique_ptr<ScreenCast> cast_;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);  // held weakly by posted work
};

}  // namespace tessaline::platform
