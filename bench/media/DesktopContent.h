#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/PixelBuffer.h"

namespace tessaline::bench {

using Picture = std::shared_ptr<const platform::PixelBuffer>;

/// A sequence of pictures as a desktop makes them.
struct DesktopContent {
  std::string name;
  std::vector<Picture> pictures;
  std::vector<double> seconds;  ///< when each appears
};

/// Text that scrolls, a moving picture in a window and on the whole screen, pages that change at
/// once, a still page with a caret and a clock, and a page on which nothing changes. The same
/// `frames` pictures of each for every run.
[[nodiscard]] std::vector<DesktopContent> makeDesktopContents(PixelSize size, int frames);

}  // namespace tessaline::bench
