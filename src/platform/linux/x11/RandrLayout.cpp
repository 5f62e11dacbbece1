#include "platform/linux/x11/RandrLayout.h"

#include <algorithm>

namespace tessaline::platform {
namespace {

template <typename Items, typename Id>
auto findById(const Items& items, Id id) -> decltype(items.data()) {
  const auto found = std::find_if(items.begin(), items.end(), [&](auto& i) { return i.id == id; });
  return found == items.end() ? nullptr : &*found;
}

void readModes(xcb_randr_get_screen_resources_current_reply_t* resources, RandrLayout& layout) {
  const char* names =
      reinterpret_cast<const char*>(xcb_randr_get_screen_resources_current_names(resources));
  const auto* modes = xcb_randr_get_screen_resources_current_modes(resources);
  const int count = xcb_randr_get_screen_resources_current_modes_length(resources);
  for (int i = 0; i < count; ++i) {
    layout.modes.push_back({modes[i].id, std::string(names, modes[i].name_len)});
    names += modes[i].name_len;
  }
}

void readOutputs(xcb_connection_t* c, xcb_randr_get_screen_resources_current_reply_t* resources,
                 RandrLayout& layout) {
  const auto* ids = xcb_randr_get_screen_resources_current_outputs(resources);
  const int count = xcb_randr_get_screen_resources_current_outputs_length(resources);
  std::vector<xcb_randr_get_output_info_cookie_t> cookies;
  cookies.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    cookies.push_back(xcb_randr_get_output_info(c, ids[i], layout.configTimestamp));
  }
  for (int i = 0; i < count; ++i) {
    const Reply<xcb_randr_get_output_info_reply_t> info(
        xcb_randr_get_output_info_reply(c, cookies[static_cast<std::size_t>(i)], nullptr));
    if (!info) continue;
    const auto* name = reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get()));
    const auto* crtcs = xcb_randr_get_output_info_crtcs(info.get());
    const auto* modes = xcb_randr_get_output_info_modes(info.get());
    layout.outputs.push_back({.id = ids[i],
                              .name = std::string(name, info->name_len),
                              .connected = info->connection == XCB_RANDR_CONNECTION_CONNECTED,
                              .crtc = info->crtc,
                              .possibleCrtcs = {crtcs, crtcs + info->num_crtcs},
                              .modes = {modes, modes + info->num_modes}});
  }
}

void readCrtcs(xcb_connection_t* c, xcb_randr_get_screen_resources_current_reply_t* resources,
               RandrLayout& layout) {
  const auto* ids = xcb_randr_get_screen_resources_current_crtcs(resources);
  const int count = xcb_randr_get_screen_resources_current_crtcs_length(resources);
  std::vector<xcb_randr_get_crtc_info_cookie_t> cookies;
  cookies.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    cookies.push_back(xcb_randr_get_crtc_info(c, ids[i], layout.configTimestamp));
  }
  for (int i = 0; i < count; ++i) {
    const Reply<xcb_randr_get_crtc_info_reply_t> info(
        xcb_randr_get_crtc_info_reply(c, cookies[static_cast<std::size_t>(i)], nullptr));
    if (!info) continue;
    RandrLayout::Crtc crtc;
    crtc.id = ids[i];
    crtc.mode = info->mode;
    crtc.rotation = info->rotation;
    if (info->mode != XCB_NONE) crtc.bounds = {info->x, info->y, info->width, info->height};
    const auto* outputs = xcb_randr_get_crtc_info_outputs(info.get());
    crtc.outputs.assign(outputs, outputs + info->num_outputs);
    layout.crtcs.push_back(std::move(crtc));
  }
}

void readMonitors(const X11Connection& connection, RandrLayout& layout) {
  const auto cookie = xcb_randr_get_monitors(connection.get(), connection.root(), 0);
  const Reply<xcb_randr_get_monitors_reply_t> reply(
      xcb_randr_get_monitors_reply(connection.get(), cookie, nullptr));
  if (!reply) return;
  for (auto i = xcb_randr_get_monitors_monitors_iterator(reply.get()); i.rem > 0;
       xcb_randr_monitor_info_next(&i)) {
    const auto* outputs = xcb_randr_monitor_info_outputs(i.data);
    const int count = xcb_randr_monitor_info_outputs_length(i.data);
    layout.monitors.push_back({.name = i.data->name,
                               .bounds = {i.data->x, i.data->y, i.data->width, i.data->height},
                               .automatic = i.data->automatic != 0,
                               .outputs = {outputs, outputs + count}});
  }
}

}  // namespace

const RandrLayout::Output* RandrLayout::output(xcb_randr_output_t id) const {
  return findById(outputs, id);
}

const RandrLayout::Crtc* RandrLayout::crtc(xcb_randr_crtc_t id) const {
  return findById(crtcs, id);
}

const RandrLayout::Monitor* RandrLayout::monitor(xcb_atom_t name) const {
  const auto found = std::find_if(monitors.begin(), monitors.end(),
                                  [&](const Monitor& m) { return m.name == name; });
  return found == monitors.end() ? nullptr : &*found;
}

PixelRect RandrLayout::boundsOf(xcb_randr_output_t id) const {
  const Output* found = output(id);
  const Crtc* shown = found ? crtc(found->crtc) : nullptr;
  return shown ? shown->bounds : PixelRect{};
}

std::vector<PixelRect> RandrLayout::occupied() const {
  std::vector<PixelRect> rects;
  for (const Crtc& crtc : crtcs) {
    if (!crtc.bounds.empty()) rects.push_back(crtc.bounds);
  }
  for (const Monitor& monitor : monitors) {
    if (monitor.outputs.empty() && !monitor.bounds.empty()) rects.push_back(monitor.bounds);
  }
  return rects;
}

bool RandrLayout::movable() const {
  return std::ranges::none_of(monitors, [](const Monitor& m) { return m.outputs.empty(); });
}

PixelPoint RandrLayout::corner() const {
  const auto rects = occupied();
  if (rects.empty()) return {};
  PixelPoint corner{rects[0].x, rects[0].y};
  for (const PixelRect& rect : rects) {
    corner = {std::min(corner.x, rect.x), std::min(corner.y, rect.y)};
  }
  return corner;
}

RandrLayout readRandrLayout(const X11Connection& connection) {
  xcb_connection_t* c = connection.get();
  RandrLayout layout;
  const auto resourcesCookie = xcb_randr_get_screen_resources_current(c, connection.root());
  const auto rangeCookie = xcb_randr_get_screen_size_range(c, connection.root());
  const auto geometryCookie = xcb_get_geometry(c, connection.root());
  const auto primaryCookie = xcb_randr_get_output_primary(c, connection.root());
  const Reply<xcb_randr_get_screen_resources_current_reply_t> resources(
      xcb_randr_get_screen_resources_current_reply(c, resourcesCookie, nullptr));
  const Reply<xcb_randr_get_screen_size_range_reply_t> range(
      xcb_randr_get_screen_size_range_reply(c, rangeCookie, nullptr));
  const Reply<xcb_get_geometry_reply_t> geometry(
      xcb_get_geometry_reply(c, geometryCookie, nullptr));
  const Reply<xcb_randr_get_output_primary_reply_t> primary(
      xcb_randr_get_output_primary_reply(c, primaryCookie, nullptr));
  if (!resources || !range || !geometry) return layout;
  if (primary) layout.primary = primary->output;
  layout.configTimestamp = resources->config_timestamp;
  layout.screen = {geometry->width, geometry->height};
  layout.largestScreen = {range->max_width, range->max_height};
  readModes(resources.get(), layout);
  readOutputs(c, resources.get(), layout);
  readCrtcs(c, resources.get(), layout);
  readMonitors(connection, layout);
  return layout;
}

}  // namespace tessaline::platform
