#pragma once

#include <memory>
#include <string>

#include "platform/Display.h"
#include "platform/linux/wayland/mutter/MutterSession.h"

namespace tessaline::platform {

class MutterDesktopEnvironment;

/// A virtual monitor of Mutter's. Lives on the main queue, owned by whoever asked for it; the
/// desktop outlives it.
class MutterVirtualDisplay final : public VirtualDisplay {
 public:
  MutterVirtualDisplay(MutterDesktopEnvironment& desktop, DisplayID id,
                       VirtualDisplayDescriptor descriptor);
  ~MutterVirtualDisplay() override;

  [[nodiscard]] DisplayID displayID() const override { return id_; }
  bool apply(const VirtualDisplaySettings& settings) override;
  [[nodiscard]] State state() const override { return state_; }

  /// Null while there are no pictures of it.
  [[nodiscard]] ScreenCast* cast() const { return session_ ? session_->cast() : nullptr; }

 private:
  void listed();
  void ended(const std::string& reason);
  void end();

  MutterDesktopEnvironment& desktop_;
  const DisplayID id_;
  const VirtualDisplayDescriptor descriptor_;
  State state_ = State::coming;
  bool listed_ = false;
  std::shared_ptr<MutterSession> session_;
};

}  // namespace tessaline::platform
