#include "platform/linux/x11/RandrDisplay.h"

#include <sys/uio.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "base/Bytes.h"
#include "base/Log.h"
#include "platform/linux/x11/DisplayRemoval.h"
#include "platform/linux/x11/Edid.h"
#include "platform/linux/x11/ModeTiming.h"

namespace tessaline::platform {
namespace {

constexpr std::size_t kLongestName = 40;  // characters; menus and settings show it on one line

std::string text(PixelSize size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// Right of everything, level with the display that it then touches.
PixelRect placeFor(const RandrLayout& layout, PixelSize size) {
  PixelRect place{0, 0, size.width, size.height};
  for (const PixelRect& rect : layout.occupied()) {
    if (rect.x + rect.width <= place.x) continue;
    place.x = rect.x + rect.width;
    place.y = rect.y;
  }
  return place;
}

PixelSize screenWith(const RandrLayout& layout, PixelRect place) {
  return {std::max(layout.screen.width, place.x + place.width),
          std::max(layout.screen.height, place.y + place.height)};
}

/// Where the display goes, and by how much all others move to make room left of or above them.
struct Room {
  PixelRect place;
  PixelPoint shift;
  PixelSize screen;
};

Room makeRoom(const RandrLayout& layout, const RandrDisplay::Request& request) {
  const PixelRect right = placeFor(layout, request.size);
  const Room usual{right, {}, screenWith(layout, right)};
  if (!request.origin) return usual;
  const PixelPoint shift{std::max(0, -request.origin->x), std::max(0, -request.origin->y)};
  if (shift != PixelPoint{} && !layout.movable()) return usual;
  const PixelRect place{request.origin->x + shift.x, request.origin->y + shift.y,
                        request.size.width, request.size.height};
  const PixelSize screen{std::max(layout.screen.width + shift.x, place.x + place.width),
                         std::max(layout.screen.height + shift.y, place.y + place.height)};
  const bool fits =
      screen.width <= layout.largestScreen.width && screen.height <= layout.largestScreen.height;
  return fits ? Room{place, shift, screen} : usual;
}

xcb_randr_mode_t createMode(const X11Connection& connection, const ModeTiming& timing,
                            const std::string& name) {
  xcb_randr_mode_info_t info{};
  info.width = timing.width;
  info.height = timing.height;
  info.dot_clock = timing.dotClock;
  info.hsync_start = timing.hSyncStart;
  info.hsync_end = timing.hSyncEnd;
  info.htotal = timing.hTotal;
  info.vsync_start = timing.vSyncStart;
  info.vsync_end = timing.vSyncEnd;
  info.vtotal = timing.vTotal;
  info.name_len = static_cast<std::uint16_t>(name.size());
  info.mode_flags = XCB_RANDR_MODE_FLAG_HSYNC_POSITIVE | XCB_RANDR_MODE_FLAG_VSYNC_NEGATIVE;
  const auto cookie =
      xcb_randr_create_mode(connection.get(), connection.root(), info, info.name_len, name.data());
  const Reply<xcb_randr_create_mode_reply_t> reply(
      xcb_randr_create_mode_reply(connection.get(), cookie, nullptr));
  return reply ? reply->mode : xcb_randr_mode_t{XCB_NONE};
}

void setProperties(const X11Connection& connection, xcb_randr_output_t output, const Edid& edid,
                   SizeMM size) {
  xcb_connection_t* c = connection.get();
  // A driver that refuses a property it does not know costs nothing but that property.
  xcb_randr_change_output_property(c, output, connection.atom(kEdidProperty), XCB_ATOM_INTEGER, 8,
                                   XCB_PROP_MODE_REPLACE, static_cast<std::uint32_t>(edid.size()),
                                   edid.data());
  const std::array<double, 2> sides = {size.width, size.height};
  for (std::size_t i = 0; i < sides.size(); ++i) {
    const auto atom = connection.atom(kSizeProperties[i]);
    const auto query = xcb_randr_query_output_property(c, output, atom);
    const Reply<xcb_randr_query_output_property_reply_t> known(
        xcb_randr_query_output_property_reply(c, query, nullptr));
    if (!known) continue;
    const auto value = static_cast<std::int32_t>(std::lround(sides[i]));
    xcb_randr_change_output_property(c, output, atom, XCB_ATOM_INTEGER, 32, XCB_PROP_MODE_REPLACE,
                                     1, &value);
  }
}

bool switchOn(const X11Connection& connection, const SpareOutput& spare, xcb_randr_mode_t mode,
              PixelRect place, xcb_timestamp_t configTimestamp) {
  const auto cookie = xcb_randr_set_crtc_config(connection.get(), spare.crtc, XCB_CURRENT_TIME,
                                                configTimestamp, static_cast<std::int16_t>(place.x),
                                                static_cast<std::int16_t>(place.y), mode,
                                                XCB_RANDR_ROTATION_ROTATE_0, 1, &spare.output);
  const Reply<xcb_randr_set_crtc_config_reply_t> reply(
      xcb_randr_set_crtc_config_reply(connection.get(), cookie, nullptr));
  return reply && reply->status == XCB_RANDR_SET_CONFIG_SUCCESS;
}

/// The device's name as a monitor's: valid UTF-8 on one line, and not empty.
std::string monitorName(const std::string& device) {
  std::string name = firstCharacters(repairUtf8(viewBytes(device)), kLongestName);
  for (char& c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  return name.empty() ? "Tessaline" : name;
}

}  // namespace

std::optional<std::string> RandrDisplay::obstacle(const RandrLayout& layout, PixelSize size) {
  const PixelSize largest = layout.largestScreen;
  if (size.width < 1 || size.height < 1 || size.width > largest.width ||
      size.height > largest.height) {
    return text(size) + " is not between 1x1 and the X server's largest desktop, " + text(largest);
  }
  const PixelSize screen = screenWith(layout, placeFor(layout, size));
  if (screen.width <= largest.width && screen.height <= largest.height) return std::nullopt;
  return "the desktop would be " + text(screen) + " with it and the X server's largest is " +
         text(largest);
}

Result<std::unique_ptr<RandrDisplay>> RandrDisplay::create(const X11Connection& connection,
                                                           const OwnerMark& owner,
                                                           const Request& request) {
  const ServerGrab grab(connection);
  RandrLayout layout = readRandrLayout(connection);
  if (const auto problem = obstacle(layout, request.size)) return Failure{*problem};
  const auto [place, shift, screen] = makeRoom(layout, request);
  if (screen != layout.screen && !resizeScreen(connection, screen)) {
    return Failure{"the X server has no memory for a desktop of " + text(screen) + " with it"};
  }
  if (shift != PixelPoint{}) {
    moveDisplays(connection, layout, shift);
    layout = readRandrLayout(connection);
  }
  std::unique_ptr<RandrDisplay> display(new RandrDisplay(connection, request));
  const std::string name = monitorName(request.descriptor.name);
  for (const SpareOutput& spare : spareOutputs(layout)) {
    if (!display->enableOn(spare, owner, request, place, layout)) continue;
    if (spare.physical) {
      log("X11: the display uses the free connector " + spare.name +
          "; a monitor plugged in there will take its place");
    }
    display->nameMonitor(layout, name, nullptr, place);
    return display;
  }
  if (!display->nameMonitor(layout, name, &owner, place)) {
    return Failure{"the X server has no output to spare and refuses a monitor without one"};
  }
  log("X11: no output to spare for " + name +
      ": windows can be moved there, but most X servers do not let the pointer in. The dummy, "
      "intel (VirtualHeads) or evdi driver offers outputs.");
  return display;
}

RandrDisplay::~RandrDisplay() {
  const ServerGrab grab(connection_);
  const PixelPoint corner = readRandrLayout(connection_).corner();
  remove();
  closeGap(connection_, corner);
  shrinkScreen(connection_);
}

bool RandrDisplay::enableOn(const SpareOutput& spare, const OwnerMark& owner,
                            const Request& request, PixelRect place, const RandrLayout& layout) {
  const ModeTiming timing = makeModeTiming(request.size, request.refreshRate);
  output_ = spare.output;
  // The output's name makes the mode's unique: an output has one display at a time.
  mode_ = createMode(connection_, timing, owner.mark(text(request.size) + "-" + spare.name));
  if (mode_ != XCB_NONE &&
      connection_.succeeded(xcb_randr_add_output_mode_checked(connection_.get(), output_, mode_))) {
    setProperties(connection_, output_, makeEdid(request.descriptor, timing), sizeMM_);
    if (switchOn(connection_, spare, mode_, place, layout.configTimestamp)) return true;
  }
  remove();
  return false;
}

bool RandrDisplay::nameMonitor(const RandrLayout& layout, const std::string& name,
                               const OwnerMark* owner, PixelRect bounds) {
  const auto taken = [&](const std::string& wanted) {
    return std::ranges::any_of(layout.outputs, [&](auto& o) { return o.name == wanted; }) ||
           layout.monitor(connection_.atom(wanted)) != nullptr;
  };
  const auto numbered = [&](int n) {
    const std::string text = n == 1 ? name : name + " (" + std::to_string(n) + ")";
    return owner ? owner->mark(text) : text;
  };
  // Monitors and outputs share their names' space.
  int n = 1;
  while (taken(numbered(n))) ++n;
  monitor_ = connection_.atom(numbered(n));
  return setMonitor(bounds);
}

bool RandrDisplay::setMonitor(PixelRect bounds) {
  // libxcb 1.15's own function for this request sends a part whose length it never sets, so the
  // request is put together here.
  struct {
    xcb_randr_set_monitor_request_t head;
    xcb_randr_monitor_info_t info;
    xcb_randr_output_t output;
  } request{};
  const bool shown = output_ != XCB_NONE;
  request.head.window = connection_.root();
  request.info.name = monitor_;
  request.info.nOutput = shown ? 1 : 0;
  request.info.x = static_cast<std::int16_t>(bounds.x);
  request.info.y = static_cast<std::int16_t>(bounds.y);
  request.info.width = static_cast<std::uint16_t>(bounds.width);
  request.info.height = static_cast<std::uint16_t>(bounds.height);
  request.info.width_in_millimeters = static_cast<std::uint32_t>(std::lround(sizeMM_.width));
  request.info.height_in_millimeters = static_cast<std::uint32_t>(std::lround(sizeMM_.height));
  request.output = output_;
  xcb_protocol_request_t protocol{};
  protocol.count = 1;
  protocol.ext = &xcb_randr_id;
  protocol.opcode = XCB_RANDR_SET_MONITOR;
  protocol.isvoid = 1;
  std::array<iovec, 3> parts{};  // xcb wants two to spare in front
  parts[2] = {&request, sizeof request - (shown ? 0 : sizeof request.output)};
  monitorBounds_ = bounds;
  const auto sequence =
      xcb_send_request(connection_.get(), XCB_REQUEST_CHECKED, &parts[2], &protocol);
  return connection_.succeeded({sequence});
}

void RandrDisplay::follow(const RandrLayout& layout) {
  if (output_ == XCB_NONE) return;
  const PixelRect bounds = layout.boundsOf(output_);
  if (bounds.empty() || bounds == monitorBounds_) return;
  // X servers refuse to set a monitor that exists.
  const ServerGrab grab(connection_);
  xcb_randr_delete_monitor(connection_.get(), connection_.root(), monitor_);
  setMonitor(bounds);
}

void RandrDisplay::remove() {
  removeDisplay(connection_, output_, mode_, monitor_);
  output_ = XCB_NONE;
  mode_ = XCB_NONE;
  monitor_ = XCB_NONE;
}

}  // namespace tessaline::platform
