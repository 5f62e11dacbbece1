#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"

namespace tessaline::platform {

/// Mutter's layout of monitors, as plain data.
struct MonitorLayout {
  /// What Mutter tells monitors apart by.
  struct Key {
    std::string connector, vendor, product, serial;
    auto operator<=>(const Key&) const = default;
  };
  struct Mode {
    std::string id;
    PixelSize size;
    std::vector<double> scales;
    bool operator==(const Mode&) const = default;
  };
  /// A monitor that is switched on, with its current mode; of monitors that show the same, the
  /// place is the same.
  struct Monitor {
    Key key;
    Mode mode;
    int x = 0;
    int y = 0;
    double scale = 1;
    std::uint32_t transform = 0;
    bool primary = false;
    bool operator==(const Monitor&) const = default;
  };

  std::uint32_t serial = 0;  ///< of the state; a change refers to it
  bool points = false;       ///< places are points, else pixels
  std::vector<Monitor> monitors;

  [[nodiscard]] const Monitor* find(const Key& key) const;
  [[nodiscard]] PixelRect bounds(const Monitor& monitor) const;
};

/// What an extra display wants of the layout.
struct MonitorWish {
  MonitorLayout::Key key;
  bool hiDPI = false;                ///< two pixels for each point, as far as the mode has that
  std::optional<PixelPoint> origin;  ///< nothing: right of all others
  bool placed = false;               ///< it has its place; the wish was for the first time
};

/// The layout that Mutter is to have instead of `current`: monitors that `kept` knows are where it
/// has them (its scale and all), wishes are met as far as the rules allow: no two overlap, each
/// extra display touches another one, and the corner of all is 0, 0.
[[nodiscard]] MonitorLayout arrangedLayout(const MonitorLayout& current, const MonitorLayout* kept,
                                           const std::vector<MonitorWish>& wishes);

}  // namespace tessaline::platform
