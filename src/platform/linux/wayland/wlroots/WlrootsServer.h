#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "base/Queue.h"
#include "platform/linux/wayland/SeatDevices.h"
#include "platform/linux/wayland/wlroots/WlrootsSession.h"

namespace tessaline::platform {

/// The main queue's side of a WlrootsSession. It waits for the compositor in one case only, at its
/// end, for displays to be removed, and then not for long. Shared by the desktop and what that
/// made.
class WlrootsServer final : public SeatDevices {
 public:
  /// `onLost` runs at most once, on the session's queue, with the reason.
  WlrootsServer(Queues& queues, SessionProbe probe, std::function<void(std::string reason)> onLost);
  ~WlrootsServer() override;

  [[nodiscard]] const std::shared_ptr<DisplayTable>& displays() const { return displays_; }
  [[nodiscard]] std::string outputName(DisplayID display) const {
    return session_->outputName(display);
  }

  /// The display is listed once it is as it should be; if it will never be, its state says so.
  void addDisplay(const WlrootsSession::Display& display);
  void removeDisplay(DisplayID display);

  [[nodiscard]] bool usable() const override { return !*lost_ && extraDisplays_ > 0; }
  [[nodiscard]] bool hasTouch() const override { return false; }
  void move(PointerLocation to) override;
  void button(std::uint32_t code, bool down) override;
  void scroll(double dx, double dy) override;
  void touchDown(std::uint32_t /*slot*/, PointerLocation /*at*/) override {}
  void touchUp(std::uint32_t /*slot*/) override {}
  void key(std::uint32_t code, bool down) override;
  void type(const std::string& text) override;
  [[nodiscard]] std::size_t pending() const override { return session_->seat().pending(); }

 private:
  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<DisplayTable> displays_ = std::make_shared<DisplayTable>();
  const std::shared_ptr<std::atomic<bool>> lost_ = std::make_shared<std::atomic<bool>>(false);
  std::shared_ptr<WlrootsSession> session_;
  int extraDisplays_ = 0;  // asked for and not given back
};

}  // namespace tessaline::platform
