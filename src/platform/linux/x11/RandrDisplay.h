#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/Result.h"
#include "platform/Display.h"
#include "platform/linux/x11/OwnerMark.h"
#include "platform/linux/x11/RandrLayout.h"
#include "platform/linux/x11/SpareOutputs.h"

namespace tessaline::platform {

/// A virtual display as it stands on the X server: a mode of its own on a spare output, the part of
/// the screen that it shows, and a RandR monitor that tells toolkits its name and size. Where no
/// output is spare it is a monitor alone. Lives on the X11 queue, owned by X11Server, which
/// outlives it.
class RandrDisplay {
 public:
  struct Request {
    const VirtualDisplayDescriptor& descriptor;
    PixelSize size;
    double refreshRate = 60;           ///< Hz
    std::optional<PixelPoint> origin;  ///< where it is to be, if that is possible
  };

  /// Makes the display where it is wanted, else right of everything that exists. On failure nothing
  /// is left behind.
  static Result<std::unique_ptr<RandrDisplay>> create(const X11Connection& connection,
                                                      const OwnerMark& owner,
                                                      const Request& request);
  /// Removes it with everything that was made for it and shrinks the screen.
  ~RandrDisplay();
  RandrDisplay(const RandrDisplay&) = delete;
  RandrDisplay& operator=(const RandrDisplay&) = delete;

  /// 0 for a monitor alone.
  [[nodiscard]] xcb_randr_output_t output() const { return output_; }
  [[nodiscard]] xcb_atom_t monitor() const { return monitor_; }

  /// Moves the monitor to where the user has moved the output.
  void follow(const RandrLayout& layout);

  /// Nothing when a display of `size` can be placed; else why not.
  static std::optional<std::string> obstacle(const RandrLayout& layout, PixelSize size);

 private:
  RandrDisplay(const X11Connection& connection, const Request& request)
      : connection_(connection), sizeMM_(request.descriptor.sizeInMillimeters) {}
  bool enableOn(const SpareOutput& spare, const OwnerMark& owner, const Request& request,
                PixelRect bounds, const RandrLayout& layout);
  /// The name carries the mark of `owner` where there is no mode that does.
  bool nameMonitor(const RandrLayout& layout, const std::string& name, const OwnerMark* owner,
                   PixelRect bounds);
  bool setMonitor(PixelRect bounds);
  void remove();

  const X11Connection& connection_;
  const SizeMM sizeMM_;
  xcb_randr_output_t output_ = 0;
  xcb_randr_mode_t mode_ = 0;
  xcb_atom_t monitor_ = 0;
  PixelRect monitorBounds_;
};

}  // namespace tessaline::platform
