#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "base/Watchers.h"
#include "platform/PointerSource.h"
#include "platform/linux/x11/DisplayDirectory.h"
#include "platform/linux/x11/MotionRecorder.h"
#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// The pointer, kept up to date from events. The PointerSource side may be used from any thread;
/// the rest lives on the X11 queue and belongs to X11Server, which calls `detach` before its
/// connection goes. Events only say that something changed; one question after each run of them
/// tells what, so that a fast mouse costs as little as a slow one.
class X11Pointer final : public PointerSource, public std::enable_shared_from_this<X11Pointer> {
 public:
  X11Pointer(std::shared_ptr<Queue> queue, std::shared_ptr<const DisplayDirectory> directory)
      : queue_(std::move(queue)), directory_(std::move(directory)) {}

  /// Starts to listen on `connection`. False when the server is too old.
  bool attach(X11Connection& connection, const std::string& displayName);
  void detach();
  void handleEvent(const xcb_generic_event_t& event);
  /// Fetches what the events of the last run changed.
  void update();
  /// Moves the pointer; its new location is known on return.
  void moveTo(PointerLocation location);

  [[nodiscard]] std::optional<PointerLocation> location() const override;
  [[nodiscard]] std::shared_ptr<const PointerImage> image() const override;
  [[nodiscard]] std::optional<PixelRect> bounds(DisplayID display) const override;
  [[nodiscard]] std::shared_ptr<void> watch(std::function<void()> moved) override;

 private:
  /// Asks for the location although no event of the connection says that it changed.
  void refresh();
  void fetchLocation();
  void fetchImage();

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<const DisplayDirectory> directory_;
  X11Connection* connection_ = nullptr;  // null while detached
  std::unique_ptr<MotionRecorder> recorder_;
  std::uint8_t cursorEvent_ = 0;
  std::uint8_t inputOpcode_ = 0;
  bool moved_ = true;
  bool imageChanged_ = true;

  mutable std::mutex mutex_;
  PointerLocation location_;                   // guarded by mutex_
  std::shared_ptr<const PointerImage> image_;  // guarded by mutex_
  Watchers watchers_;
};

}  // namespace tessaline::platform
