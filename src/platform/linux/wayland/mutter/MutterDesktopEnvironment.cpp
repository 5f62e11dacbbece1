#include "platform/linux/wayland/mutter/MutterDesktopEnvironment.h"

#include <utility>

#include "base/Log.h"
#include "platform/linux/wayland/mutter/MutterVirtualDisplay.h"

namespace tessaline::platform {
namespace {

// Apart from those of other monitors, which are counted from 1 on.
constexpr DisplayID kVirtualDisplays = 0x8000'0000;
constexpr std::uint32_t kMaxSide = 16384;  // pixels

}  // namespace

MutterDesktopEnvironment::MutterDesktopEnvironment(Queues& queues)
    : queues_(queues), lastDisplay_(kVirtualDisplays) {}

MutterDesktopEnvironment::~MutterDesktopEnvironment() {
  input_.reset();  // releases what it holds
}

Result<std::unique_ptr<DesktopEnvironment>> MutterDesktopEnvironment::open(Queues& queues) {
  std::unique_ptr<MutterDesktopEnvironment> desktop(new MutterDesktopEnvironment(queues));
  auto bus = MutterBus::open(queues.main(), [self = desktop.get()] { self->compositorGone(); });
  if (!bus) return Failure{bus.error()};
  desktop->bus_ = std::move(*bus);
  desktop->monitors_ =
      std::make_unique<MutterMonitors>(queues.main(), *desktop->bus_, desktop->table_);
  if (const auto problem = desktop->monitors_->begin()) return Failure{*problem};
  desktop->devices_ =
      std::make_unique<MutterDevices>(queues, *desktop->bus_, desktop->table_, desktop->pointer_);
  desktop->input_ = std::make_unique<WaylandInput>(queues.main(), *desktop->devices_);
  return std::unique_ptr<DesktopEnvironment>(std::move(desktop));
}

void MutterDesktopEnvironment::compositorGone() {
  lost_ = true;
  table_->replace({});
  log("Mutter: the compositor has gone");
  if (onLost) onLost();
}

void MutterDesktopEnvironment::retire(std::shared_ptr<MutterSession> session) {
  retired_->push_back(std::move(session));
  queues_.main()->async([weak = std::weak_ptr(retired_)] {
    if (const auto retired = weak.lock()) retired->clear();
  });
}

std::unique_ptr<VirtualDisplay> MutterDesktopEnvironment::createVirtualDisplay(
    const VirtualDisplayDescriptor& descriptor) {
  std::string reason;
  if (lost_) {
    reason = "the compositor has gone";
  } else if (descriptor.maxPixelsWide > kMaxSide || descriptor.maxPixelsHigh > kMaxSide) {
    reason = "it is too large";
  }
  if (!reason.empty()) {
    log("Mutter: no display for " + descriptor.name + ": " + reason);
    return nullptr;
  }
  return std::make_unique<MutterVirtualDisplay>(*this, ++lastDisplay_, descriptor);
}

Result<std::vector<DisplayInfo>> MutterDesktopEnvironment::shareableDisplays() {
  if (lost_) return Failure{"the compositor has gone"};
  return table_->list();
}

std::unique_ptr<CaptureStream> MutterDesktopEnvironment::createCaptureStream(
    DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
    CaptureStream::Callbacks callbacks) {
  const auto found = displays_.find(display);
  ScreenCast* const cast = found == displays_.end() ? nullptr : found->second->cast();
  if (!cast) return nullptr;
  return cast->capture(configuration, std::move(queue), std::move(callbacks));
}

std::unique_ptr<HotKeyRegistration> MutterDesktopEnvironment::registerHotKey(
    const HotKey& hotKey, std::function<void()> action) {
  if (!shortcuts_) shortcuts_ = PortalShortcuts::open(queues_);
  return shortcuts_->add(hotKey, std::move(action));
}

}  // namespace tessaline::platform
