#include "streaming/VirtualScreen.h"

#include "base/Hashes.h"

namespace tessaline {
namespace {

constexpr std::uint32_t kVendorID = 0xEB15;
constexpr std::uint32_t kProductID = 1;
constexpr double kRefreshRate = 60;  // Hz

}  // namespace

VirtualScreen::VirtualScreen(platform::DesktopEnvironment& desktop, Arrangement* arrangement,
                             std::uint32_t serialNumber,
                             std::unique_ptr<platform::VirtualDisplay> display)
    : desktop_(desktop),
      arrangement_(arrangement),
      serialNumber_(serialNumber),
      display_(std::move(display)) {}

std::unique_ptr<VirtualScreen> VirtualScreen::create(platform::DesktopEnvironment& desktop,
                                                     Arrangement* arrangement,
                                                     const std::string& name, PixelSize size,
                                                     SizeMM sizeMM, bool hiDPI) {
  if (size.width < 1 || size.height < 1) return nullptr;
  const auto width = static_cast<std::uint32_t>(size.width);
  const auto height = static_cast<std::uint32_t>(size.height);
  // The same device gets the same serial number, by which its place is remembered.
  const std::uint32_t serialNumber = stableHash(name);
  auto display = desktop.createVirtualDisplay({.name = name,
                                               .maxPixelsWide = width,
                                               .maxPixelsHigh = height,
                                               .sizeInMillimeters = sizeMM,
                                               .vendorID = kVendorID,
                                               .productID = kProductID,
                                               .serialNumber = serialNumber});
  if (!display || display->displayID() == 0) return nullptr;
  const int shift = hiDPI ? 1 : 0;
  std::unique_ptr<VirtualScreen> screen(
      new VirtualScreen(desktop, arrangement, serialNumber, std::move(display)));
  const int points = desktop.hasPoints() ? shift : 0;
  screen->apply({.hiDPI = hiDPI, .modes = {{width >> shift, height >> shift, kRefreshRate}}},
                {size.width >> points, size.height >> points});
  return screen;
}

void VirtualScreen::apply(platform::VirtualDisplaySettings settings, PixelSize size) {
  if (arrangement_) {
    settings.origin = arrangement_->placeFor(serialNumber_, size, surroundings().others);
  }
  // A refusal shows when the display is looked for among those that can be captured.
  display_->apply(settings);
  if (arrangement_) placed_ = offset();
}

VirtualScreen::~VirtualScreen() {
  // A place that the user did not choose is no reason to forget the one that he did.
  if (!arrangement_ || offset() == placed_) return;
  const auto [own, others] = surroundings();
  if (own) arrangement_->remember(serialNumber_, *own, others);
}

VirtualScreen::Surroundings VirtualScreen::surroundings() const {
  Surroundings found;
  auto displays = desktop_.shareableDisplays();
  if (!displays) return found;
  for (const auto& display : *displays) {
    if (display.id == displayID()) {
      found.own = display.bounds;
    } else {
      found.others.push_back(display);
    }
  }
  return found;
}

std::optional<PixelPoint> VirtualScreen::offset() const {
  const auto [own, others] = surroundings();
  return own ? Arrangement::offset(*own, others) : std::nullopt;
}

}  // namespace tessaline
