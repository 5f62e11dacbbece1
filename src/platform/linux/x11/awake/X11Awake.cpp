#include "platform/linux/x11/awake/X11Awake.h"

#include <xcb/screensaver.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>

namespace tessaline::platform {
namespace {

constexpr std::uint8_t kMajor = 1;
constexpr std::uint8_t kMinor = 1;  // brought suspending

}  // namespace

std::unique_ptr<X11Awake> X11Awake::begin() {
  const char* display = std::getenv("DISPLAY");
  if (!display || *display == '\0') return nullptr;
  xcb_connection_t* c = xcb_connect(nullptr, nullptr);
  std::unique_ptr<X11Awake> awake(new X11Awake(c));
  if (xcb_connection_has_error(c)) return nullptr;
  const auto* extension = xcb_get_extension_data(c, &xcb_screensaver_id);
  if (!extension || !extension->present) return nullptr;
  std::free(xcb_screensaver_query_version_reply(c, xcb_screensaver_query_version(c, kMajor, kMinor),
                                                nullptr));
  xcb_generic_error_t* error = xcb_request_check(c, xcb_screensaver_suspend_checked(c, 1));
  const bool done = !error && !xcb_connection_has_error(c);
  std::free(error);
  return done ? std::move(awake) : nullptr;
}

X11Awake::~X11Awake() {
  xcb_disconnect(static_cast<xcb_connection_t*>(connection_));
}

}  // namespace tessaline::platform
