#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "base/Watchers.h"
#include "platform/PointerSource.h"
#include "platform/linux/wayland/DisplayTable.h"

namespace tessaline::platform {

/// The pointer as the captures of extra displays report it: each tells of it while it is on its
/// display, and nobody while it is elsewhere. Shared by the desktop and its captures.
class WaylandPointer final : public PointerSource {
 public:
  explicit WaylandPointer(std::shared_ptr<const DisplayTable> displays);

  /// The pointer is on `display`, at pixels of its picture. From any thread, as the others.
  void place(DisplayID display, double x, double y);
  /// The pointer is not on `display` (any more), or not shown there.
  void leave(DisplayID display);
  /// What it looks like from now on; the serial is given here. One without pixels hides it: it is
  /// nowhere then, until another image comes.
  void show(PointerImage image);

  [[nodiscard]] std::optional<PointerLocation> location() const override;
  [[nodiscard]] std::shared_ptr<const PointerImage> image() const override;
  [[nodiscard]] std::optional<PixelRect> bounds(DisplayID display) const override;
  [[nodiscard]] std::shared_ptr<void> watch(std::function<void()> moved) override;

 private:
  struct Place {
    DisplayID display = 0;
    double x = 0;
    double y = 0;
    bool operator==(const Place&) const = default;
  };
  const std::shared_ptr<const DisplayTable> displays_;
  mutable std::mutex mutex_;
  std::optional<Place> place_;                 // guarded by mutex_
  bool hidden_ = false;                        // guarded by mutex_
  std::shared_ptr<const PointerImage> image_;  // guarded by mutex_
  std::uint64_t lastSerial_ = 0;               // guarded by mutex_
  Watchers watchers_;
};

}  // namespace tessaline::platform
