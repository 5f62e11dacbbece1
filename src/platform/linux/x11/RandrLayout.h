#pragma once

#include <xcb/randr.h>

#include <string>
#include <vector>

#include "base/Geometry.h"
#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// What RandR says of the screen, read at one time.
struct RandrLayout {
  struct Output {
    xcb_randr_output_t id = 0;
    std::string name;
    bool connected = false;
    xcb_randr_crtc_t crtc = 0;  ///< that shows it now, 0 while it is off
    std::vector<xcb_randr_crtc_t> possibleCrtcs;
    std::vector<xcb_randr_mode_t> modes;
  };
  struct Crtc {
    xcb_randr_crtc_t id = 0;
    PixelRect bounds;  ///< empty while it is off
    xcb_randr_mode_t mode = 0;
    std::uint16_t rotation = 0;
    std::vector<xcb_randr_output_t> outputs;
  };
  struct Mode {
    xcb_randr_mode_t id = 0;
    std::string name;
  };
  struct Monitor {
    xcb_atom_t name = 0;
    PixelRect bounds;
    bool automatic = false;  ///< made by the server for an output
    std::vector<xcb_randr_output_t> outputs;
  };

  xcb_timestamp_t configTimestamp = 0;
  PixelSize screen;
  PixelSize largestScreen;
  xcb_randr_output_t primary = 0;  ///< 0 when the user has chosen none
  std::vector<Output> outputs;
  std::vector<Crtc> crtcs;
  std::vector<Mode> modes;
  std::vector<Monitor> monitors;

  [[nodiscard]] const Output* output(xcb_randr_output_t id) const;
  [[nodiscard]] const Crtc* crtc(xcb_randr_crtc_t id) const;
  [[nodiscard]] const Monitor* monitor(xcb_atom_t name) const;
  /// Where the output shows its part of the screen, empty while it is off.
  [[nodiscard]] PixelRect boundsOf(xcb_randr_output_t id) const;
  /// The active displays and the monitors that no output shows.
  [[nodiscard]] std::vector<PixelRect> occupied() const;
  /// Whether all displays can be moved: a monitor that no output shows cannot.
  [[nodiscard]] bool movable() const;
  /// Where the part of the screen that is occupied begins.
  [[nodiscard]] PixelPoint corner() const;
};

/// The layout as the server knows it, without probing connectors (which takes long and makes
/// screens flicker). Empty when the connection is lost.
[[nodiscard]] RandrLayout readRandrLayout(const X11Connection& connection);

}  // namespace tessaline::platform
