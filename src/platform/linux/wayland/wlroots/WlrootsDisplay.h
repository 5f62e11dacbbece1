#pragma once

#include <memory>

#include "platform/Display.h"
#include "platform/linux/wayland/wlroots/WlrootsServer.h"

namespace tessaline::platform {

/// The main queue's side of an extra display; what the compositor has is a headless output. Owned
/// by whoever asked for it.
class WlrootsDisplay final : public VirtualDisplay {
 public:
  WlrootsDisplay(std::shared_ptr<WlrootsServer> server, DisplayID id,
                 VirtualDisplayDescriptor descriptor)
      : server_(std::move(server)), id_(id), descriptor_(std::move(descriptor)) {}
  ~WlrootsDisplay() override;

  [[nodiscard]] DisplayID displayID() const override { return id_; }
  /// True without the compositor's answer: `state` has that. May be called once.
  bool apply(const VirtualDisplaySettings& settings) override;
  [[nodiscard]] State state() const override { return *state_; }

 private:
  const std::shared_ptr<WlrootsServer> server_;
  const DisplayID id_;
  const VirtualDisplayDescriptor descriptor_;
  const std::shared_ptr<std::atomic<State>> state_ =
      std::make_shared<std::atomic<State>>(State::coming);
  bool applied_ = false;
};

}  // namespace tessaline::platform
