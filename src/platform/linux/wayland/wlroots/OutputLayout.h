#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "platform/linux/wayland/wlroots/WaylandConnection.h"

namespace tessaline::platform {

/// The outputs that are switched on and where they lie, kept up to date from events. Lives on the
/// connection's queue; the connection outlives it, and tells it alone of outputs that come and go.
class OutputLayout {
 public:
  struct Output {
    std::uint32_t global = 0;  ///< its name on this connection
    std::string name;          ///< as the compositor's commands have it: "HEADLESS-1"
    PixelRect bounds;          ///< points of the layout
    PixelSize pixels;
  };

  /// `onChange` runs whenever `outputs` has a new answer, never from in here.
  OutputLayout(WaylandConnection& connection, std::function<void()> onChange);
  ~OutputLayout();

  /// Those of which everything is known.
  [[nodiscard]] std::vector<Output> outputs() const;

 private:
  struct Entry;
  void add(const WaylandConnection::Global& global);
  void remove(std::uint32_t global);

  WaylandConnection& connection_;
  const std::function<void()> onChange_;
  Proxy<zxdg_output_manager_v1> manager_;
  std::vector<std::unique_ptr<Entry>> entries_;
};

}  // namespace tessaline::platform
