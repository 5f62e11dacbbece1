#pragma once

#include <memory>

#include "platform/Display.h"
#include "platform/linux/x11/X11Server.h"

namespace tessaline::platform {

/// The main queue's side of a virtual display; what stands on the X server is a RandrDisplay.
/// Owned by whoever asked for it.
class X11VirtualDisplay final : public VirtualDisplay {
 public:
  X11VirtualDisplay(std::shared_ptr<X11Server> server, DisplayID id,
                    VirtualDisplayDescriptor descriptor)
      : server_(std::move(server)), id_(id), descriptor_(std::move(descriptor)) {}
  ~X11VirtualDisplay() override;

  [[nodiscard]] DisplayID displayID() const override { return id_; }
  /// X11 knows no points: a HiDPI display gets its full pixel size, and the toolkits scale by the
  /// physical size if at all.
  bool apply(const VirtualDisplaySettings& settings) override;

 private:
  const std::shared_ptr<X11Server> server_;
  const DisplayID id_;
  const VirtualDisplayDescriptor descriptor_;
};

}  // namespace tessaline::platform
