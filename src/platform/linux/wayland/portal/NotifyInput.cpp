#include "platform/linux/wayland/portal/NotifyInput.h"

#include <xkbcommon/xkbcommon.h>

#include "base/Utf8.h"
#include "platform/linux/wayland/portal/PortalNames.h"
#include "platform/linux/wayland/portal/TypedText.h"

namespace tessaline::platform {
namespace {

constexpr std::uint32_t kTouchScreen = 4;  // of the devices

double ratio(int units, int pixels) {
  return units > 0 && pixels > 0 ? static_cast<double>(units) / pixels : 1;
}

}  // namespace

NotifyInput::NotifyInput(std::shared_ptr<PortalBus> bus, const PortalSession::Lease& lease,
                         PixelSize picture)
    : bus_(std::move(bus)),
      session_(lease.session),
      node_(lease.node),
      devices_(lease.devices),
      unitsPerPixelX_(lease.size ? ratio(lease.size->width, picture.width) : 1),
      unitsPerPixelY_(lease.size ? ratio(lease.size->height, picture.height) : 1) {}

bool NotifyInput::hasTouch() const {
  return (devices_ & kTouchScreen) != 0;
}

template <typename... Arguments>
void NotifyInput::notify(const char* method, Arguments... arguments) {
  bus_->send({PortalNames::kRemoteDesktop, method},
             [session = sdbus::ObjectPath(session_), arguments...](sdbus::MethodCall& call) {
               call << session << PortalValues();
               (void)(call << ... << arguments);
             });
}

void NotifyInput::move(double x, double y) {
  notify("NotifyPointerMotionAbsolute", node_, x * unitsPerPixelX_, y * unitsPerPixelY_);
}

void NotifyInput::button(std::uint32_t code, bool down) {
  notify("NotifyPointerButton", static_cast<std::int32_t>(code), std::uint32_t{down});
}

void NotifyInput::scroll(double dx, double dy) {
  notify("NotifyPointerAxis", dx * unitsPerPixelX_, dy * unitsPerPixelY_);
}

void NotifyInput::touchDown(std::uint32_t slot, double x, double y) {
  notify("NotifyTouchDown", node_, slot, x * unitsPerPixelX_, y * unitsPerPixelY_);
}

void NotifyInput::touchUp(std::uint32_t slot) {
  notify("NotifyTouchUp", slot);
}

void NotifyInput::key(std::uint32_t code, bool down) {
  notify("NotifyKeyboardKeycode", static_cast<std::int32_t>(code), std::uint32_t{down});
}

void NotifyInput::type(const std::string& text) {
  for (const char32_t character : decodeUtf8(text)) {
    const auto symbol = static_cast<std::int32_t>(xkb_utf32_to_keysym(character));
    if (symbol == XKB_KEY_NoSymbol) continue;
    notify("NotifyKeyboardKeysym", symbol, std::uint32_t{1});
    notify("NotifyKeyboardKeysym", symbol, std::uint32_t{0});
  }
}

}  // namespace tessaline::platform
