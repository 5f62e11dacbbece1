#include "platform/linux/wayland/mutter/MutterVirtualDisplay.h"

#include <cmath>
#include <utility>

#include "base/Log.h"
#include "platform/linux/wayland/mutter/MutterDesktopEnvironment.h"

namespace tessaline::platform {
namespace {

constexpr int kUsualRate = 60;  // frames per second
constexpr int kHighestRate = 240;

}  // namespace

MutterVirtualDisplay::MutterVirtualDisplay(MutterDesktopEnvironment& desktop, DisplayID id,
                                           VirtualDisplayDescriptor descriptor)
    : desktop_(desktop), id_(id), descriptor_(std::move(descriptor)) {
  desktop_.displays_[id_] = this;
}

MutterVirtualDisplay::~MutterVirtualDisplay() {
  end();
  desktop_.displays_.erase(id_);
}

bool MutterVirtualDisplay::apply(const VirtualDisplaySettings& settings) {
  if (settings.modes.empty()) return false;
  const VirtualDisplayMode& mode = settings.modes.front();
  const auto pixels = [](std::uint32_t value) { return static_cast<int>(value); };
  const PixelSize size = settings.hiDPI ? PixelSize{pixels(descriptor_.maxPixelsWide),
                                                    pixels(descriptor_.maxPixelsHigh)}
                                        : PixelSize{pixels(mode.width), pixels(mode.height)};
  const double wanted = mode.refreshRate > 0 ? mode.refreshRate : kUsualRate;
  const int rate = static_cast<int>(std::lround(std::min<double>(wanted, kHighestRate)));
  end();
  state_ = State::coming;
  session_ = std::make_shared<MutterSession>(
      desktop_.queues_, *desktop_.bus_, id_, size, rate, desktop_.pointer_,
      MutterSession::Callbacks{
          .onSize = [this](PixelSize agreed) { desktop_.monitors_->agreed(id_, agreed); },
          .onEnded = [this](const std::string& reason) { ended(reason); }});
  desktop_.monitors_->add(id_, {.hiDPI = settings.hiDPI,
                                .origin = settings.origin,
                                .start = [session = session_] { session->start(); },
                                .onListed = [this] { listed(); },
                                .onFailed = [this](const std::string& reason) { ended(reason); }});
  return true;
}

void MutterVirtualDisplay::listed() {
  listed_ = true;
  desktop_.devices_->add(*session_);
}

void MutterVirtualDisplay::ended(const std::string& reason) {
  if (!session_) return;
  log(listed_ ? "Mutter: the display for " + descriptor_.name + " has gone: " + reason
              : "Mutter: no display for " + descriptor_.name + ": " + reason);
  state_ = State::failed;
  end();
}

void MutterVirtualDisplay::end() {
  if (!session_) return;
  listed_ = false;
  desktop_.devices_->remove(*session_);
  desktop_.monitors_->remove(id_);
  desktop_.pointer_->leave(id_);
  desktop_.retire(std::exchange(session_, nullptr));
}

}  // namespace tessaline::platform
