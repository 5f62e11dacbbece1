#include "platform/linux/wayland/portal/PortalDesktopEnvironment.h"

#include <algorithm>

#include "base/Log.h"
#include "platform/linux/wayland/portal/PortalDesktop.h"

namespace tessaline::platform {
namespace {

constexpr const char* kTokenFile = "portal-tokens";

/// A capture of a display that is not there.
class NoCapture final : public CaptureStream {
 public:
  explicit NoCapture(std::shared_ptr<Queue> main) : main_(std::move(main)) {}
  void start(std::function<void(std::optional<std::string> error)> done) override {
    main_->async([done = std::move(done)] { done("there is no such display"); });
  }
  void stop() override {}
  void wake() override {}

 private:
  const std::shared_ptr<Queue> main_;
};

}  // namespace

Result<std::unique_ptr<DesktopEnvironment>> openPortalDesktop(
    Queues& queues, const std::filesystem::path& support) {
  auto offer = PortalOffer::ask(std::chrono::seconds(5));
  if (!offer) return Failure{offer.error()};
  return std::unique_ptr<DesktopEnvironment>(
      std::make_unique<PortalDesktopEnvironment>(queues, *offer, support / kTokenFile));
}

PortalDesktopEnvironment::PortalDesktopEnvironment(Queues& queues, PortalOffer offer,
                                                   const std::filesystem::path& tokenFile)
    : queues_(queues),
      offer_(offer),
      bus_(PortalBus::open(queues)),
      consent_(std::make_shared<PortalConsent>(tokenFile)),
      table_(std::make_shared<DisplayTable>()),
      pointer_(std::make_shared<WaylandPointer>(table_)),
      shortcuts_(PortalShortcuts::open(queues, bus_)),
      seat_(table_),
      input_(queues.main(), seat_),
      access_([this] { return portal(); }) {}

PortalDesktopEnvironment::~PortalDesktopEnvironment() = default;

PortalSession::Portal PortalDesktopEnvironment::portal() {
  return {queues_.main(), bus_, consent_, offer_};
}

std::unique_ptr<VirtualDisplay> PortalDesktopEnvironment::createVirtualDisplay(
    const VirtualDisplayDescriptor& descriptor) {
  Stage& stage = *this;
  auto display = std::make_unique<PortalDisplay>(stage, ++lastDisplay_, descriptor.name);
  displays_[display->displayID()] = display.get();
  return display;
}

Result<std::vector<DisplayInfo>> PortalDesktopEnvironment::shareableDisplays() {
  return table_->list();
}

std::unique_ptr<CaptureStream> PortalDesktopEnvironment::createCaptureStream(
    DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
    CaptureStream::Callbacks callbacks) {
  const auto found = displays_.find(display);
  ScreenCast* const cast = found == displays_.end() ? nullptr : found->second->cast();
  if (!cast) return std::make_unique<NoCapture>(queues_.main());
  return cast->capture(configuration, std::move(queue), std::move(callbacks));
}

std::unique_ptr<HotKeyRegistration> PortalDesktopEnvironment::registerHotKey(
    const HotKey& hotKey, std::function<void()> action) {
  return shortcuts_->add(hotKey, std::move(action));
}

void PortalDesktopEnvironment::show(DisplayID display, PixelSize size,
                                    std::optional<PixelPoint> position) {
  auto displays = table_->list();
  const auto known = std::ranges::find(displays, display, &DisplayInfo::id);
  if (known != displays.end()) {
    known->bounds.width = size.width;
    known->bounds.height = size.height;
    known->pixels = size;
  } else {
    PixelPoint place = position.value_or(PixelPoint{});
    for (const auto& other : displays) {
      if (!position) place.x = std::max(place.x, other.bounds.x + other.bounds.width);
    }
    displays.push_back(
        {.id = display, .bounds = {place.x, place.y, size.width, size.height}, .pixels = size});
  }
  table_->replace(std::move(displays));
}

void PortalDesktopEnvironment::lend(DisplayID display, std::unique_ptr<PortalInput> input) {
  seat_.add(display, std::move(input));
}

void PortalDesktopEnvironment::hide(DisplayID display) {
  seat_.remove(display);
  auto displays = table_->list();
  std::erase_if(displays, [&](const DisplayInfo& info) { return info.id == display; });
  table_->replace(std::move(displays));
}

}  // namespace tessaline::platform
