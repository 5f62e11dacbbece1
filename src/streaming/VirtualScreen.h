#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/Geometry.h"
#include "platform/DesktopEnvironment.h"
#include "streaming/Arrangement.h"

namespace tessaline {

/// One extra display of the desktop, as a device asked for it. The display exists exactly as long
/// as this object. It begins where the user last put it, and where it was moved is remembered at
/// its end. Lives on the main queue; owned by its session; desktop and arrangement outlive it.
class VirtualScreen {
 public:
  /// Nothing when a side of `size` (pixels) is below 1 or the desktop refuses; the caller retries
  /// and reports. A HiDPI display has one point for every two pixels. Without an arrangement
  /// nothing is remembered.
  [[nodiscard]] static std::unique_ptr<VirtualScreen> create(platform::DesktopEnvironment& desktop,
                                                             Arrangement* arrangement,
                                                             const std::string& name,
                                                             PixelSize size, SizeMM sizeMM,
                                                             bool hiDPI);
  ~VirtualScreen();
  VirtualScreen(const VirtualScreen&) = delete;
  VirtualScreen& operator=(const VirtualScreen&) = delete;

  [[nodiscard]] platform::VirtualDisplay::State state() const { return display_->state(); }
  [[nodiscard]] platform::DisplayID displayID() const { return display_->displayID(); }

 private:
  /// This display as the desktop lists it, and the others.
  struct Surroundings {
    std::optional<PixelRect> own;
    Arrangement::Displays others;
  };
  VirtualScreen(platform::DesktopEnvironment& desktop, Arrangement* arrangement,
                std::uint32_t serialNumber, std::unique_ptr<platform::VirtualDisplay> display);
  void apply(platform::VirtualDisplaySettings settings, PixelSize size);
  [[nodiscard]] Surroundings surroundings() const;
  [[nodiscard]] std::optional<PixelPoint> offset() const;

  platform::DesktopEnvironment& desktop_;
  Arrangement* const arrangement_;
  const std::uint32_t serialNumber_;
  const std::unique_ptr<platform::VirtualDisplay> display_;
  std::optional<PixelPoint> placed_;  // from the primary display, as it was at first
};

}  // namespace tessaline
