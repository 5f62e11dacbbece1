#include "streaming/VirtualScreen.h"

#include "base/Hashes.h"

namespace tessaline {
namespace {

constexpr std::uint32_t kVendorID = 0xEB15;
constexpr std::uint32_t kProductID = 1;
constexpr double kRefreshRate = 60;  // Hz

}  // namespace

VirtualScreen::VirtualScreen(std::unique_ptr<platform::VirtualDisplay> display)
    : display_(std::move(display)) {}

std::unique_ptr<VirtualScreen> VirtualScreen::create(platform::DesktopEnvironment& desktop,
                                                     const std::string& name, PixelSize size,
                                                     SizeMM sizeMM, bool hiDPI) {
  if (size.width < 1 || size.height < 1) return nullptr;
  const auto width = static_cast<std::uint32_t>(size.width);
  const auto height = static_cast<std::uint32_t>(size.height);
  // The same device gets the same serial number, so that the desktop remembers where it stood.
  auto display = desktop.createVirtualDisplay({.name = name,
                                               .maxPixelsWide = width,
                                               .maxPixelsHigh = height,
                                               .sizeInMillimeters = sizeMM,
                                               .vendorID = kVendorID,
                                               .productID = kProductID,
                                               .serialNumber = stableHash(name)});
  if (!display || display->displayID() == 0) return nullptr;
  const int shift = hiDPI ? 1 : 0;
  // A refusal shows when the display is looked for among those that can be captured.
  display->apply({.hiDPI = hiDPI, .modes = {{width >> shift, height >> shift, kRefreshRate}}});
  return std::unique_ptr<VirtualScreen>(new VirtualScreen(std::move(display)));
}

}  // namespace tessaline
