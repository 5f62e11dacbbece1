#include "platform/linux/x11/DisplayRemoval.h"

#include <algorithm>
#include <cmath>

#include "platform/linux/x11/OwnerMark.h"

namespace tessaline::platform {
namespace {

/// Takes `output` off its CRTC; the CRTC goes off unless it mirrors to others.
void switchOff(const X11Connection& connection, const RandrLayout& layout,
               xcb_randr_output_t output) {
  xcb_connection_t* c = connection.get();
  const auto* info = layout.output(output);
  const auto* crtc = info ? layout.crtc(info->crtc) : nullptr;
  if (!crtc) return;
  auto others = crtc->outputs;
  std::erase(others, output);
  const bool off = others.empty();
  const auto cookie =
      xcb_randr_set_crtc_config(c, crtc->id, XCB_CURRENT_TIME, layout.configTimestamp,
                                static_cast<std::int16_t>(off ? 0 : crtc->bounds.x),
                                static_cast<std::int16_t>(off ? 0 : crtc->bounds.y),
                                off ? xcb_randr_mode_t{XCB_NONE} : crtc->mode,
                                off ? std::uint16_t{XCB_RANDR_ROTATION_ROTATE_0} : crtc->rotation,
                                static_cast<std::uint32_t>(others.size()), others.data());
  const Reply<xcb_randr_set_crtc_config_reply_t> reply(
      xcb_randr_set_crtc_config_reply(c, cookie, nullptr));
}

void removeProperties(const X11Connection& connection, xcb_randr_output_t output) {
  xcb_connection_t* c = connection.get();
  const auto cookie = xcb_randr_list_output_properties(c, output);
  const Reply<xcb_randr_list_output_properties_reply_t> list(
      xcb_randr_list_output_properties_reply(c, cookie, nullptr));
  if (!list) return;
  const auto* atoms = xcb_randr_list_output_properties_atoms(list.get());
  const auto has = [&](xcb_atom_t atom) {
    return std::find(atoms, atoms + list->num_atoms, atom) != atoms + list->num_atoms;
  };
  const auto edid = connection.atom(kEdidProperty);
  if (has(edid)) xcb_randr_delete_output_property(c, output, edid);
  constexpr std::int32_t unknown = 0;
  for (const auto name : kSizeProperties) {
    const auto atom = connection.atom(name);
    if (!has(atom)) continue;
    xcb_randr_change_output_property(c, output, atom, XCB_ATOM_INTEGER, 32, XCB_PROP_MODE_REPLACE,
                                     1, &unknown);
  }
}

}  // namespace

bool resizeScreen(const X11Connection& connection, PixelSize size) {
  const xcb_screen_t& screen = connection.screen();
  const auto millimetres = [](int pixels, int oldPixels, int oldMM) {
    return static_cast<std::uint32_t>(
        std::max(1L, std::lround(double{1} * pixels * oldMM / std::max(1, oldPixels))));
  };
  return connection.succeeded(xcb_randr_set_screen_size_checked(
      connection.get(), connection.root(), static_cast<std::uint16_t>(size.width),
      static_cast<std::uint16_t>(size.height),
      millimetres(size.width, screen.width_in_pixels, screen.width_in_millimeters),
      millimetres(size.height, screen.height_in_pixels, screen.height_in_millimeters)));
}

void moveDisplays(const X11Connection& connection, const RandrLayout& layout, PixelPoint by) {
  for (const auto& crtc : layout.crtcs) {
    if (crtc.bounds.empty()) continue;
    const auto cookie = xcb_randr_set_crtc_config(
        connection.get(), crtc.id, XCB_CURRENT_TIME, layout.configTimestamp,
        static_cast<std::int16_t>(crtc.bounds.x + by.x),
        static_cast<std::int16_t>(crtc.bounds.y + by.y), crtc.mode, crtc.rotation,
        static_cast<std::uint32_t>(crtc.outputs.size()), crtc.outputs.data());
    const Reply<xcb_randr_set_crtc_config_reply_t> reply(
        xcb_randr_set_crtc_config_reply(connection.get(), cookie, nullptr));
  }
}

void closeGap(const X11Connection& connection, PixelPoint corner) {
  const RandrLayout layout = readRandrLayout(connection);
  const PixelPoint left = layout.corner();
  if (layout.movable() && left != corner) {
    moveDisplays(connection, layout, {corner.x - left.x, corner.y - left.y});
  }
}

void shrinkScreen(const X11Connection& connection) {
  const RandrLayout layout = readRandrLayout(connection);
  PixelSize needed;
  for (const PixelRect& rect : layout.occupied()) {
    needed.width = std::max(needed.width, rect.x + rect.width);
    needed.height = std::max(needed.height, rect.y + rect.height);
  }
  // A screen without any display keeps its size, for there is nothing to fit it to.
  if (needed.width == 0 || needed == layout.screen) return;
  if (needed.width > layout.screen.width || needed.height > layout.screen.height) return;
  resizeScreen(connection, needed);
}

void removeDisplay(const X11Connection& connection, xcb_randr_output_t output,
                   xcb_randr_mode_t mode, xcb_atom_t monitor) {
  xcb_connection_t* c = connection.get();
  if (monitor != XCB_NONE) xcb_randr_delete_monitor(c, connection.root(), monitor);
  if (output != XCB_NONE) {
    switchOff(connection, readRandrLayout(connection), output);
    removeProperties(connection, output);
    if (mode != XCB_NONE) xcb_randr_delete_output_mode(c, output, mode);
  }
  if (mode != XCB_NONE) xcb_randr_destroy_mode(c, mode);
}

int removeLeftOvers(const X11Connection& connection) {
  const ServerGrab grab(connection);
  const RandrLayout layout = readRandrLayout(connection);
  const auto leftOver = [&](const std::string& name) {
    const auto token = OwnerMark::tokenOf(name);
    return token && !OwnerMark::alive(connection, *token);
  };
  const auto monitorOf = [&](xcb_randr_output_t output) -> xcb_atom_t {
    for (const auto& monitor : layout.monitors) {
      if (!monitor.automatic && std::ranges::count(monitor.outputs, output) > 0) {
        return monitor.name;
      }
    }
    return XCB_NONE;
  };
  const PixelPoint corner = layout.corner();
  int removed = 0;
  for (const auto& mode : layout.modes) {
    if (!leftOver(mode.name)) continue;
    const auto output = std::ranges::find_if(layout.outputs, [&](const auto& candidate) {
      return std::ranges::count(candidate.modes, mode.id) > 0;
    });
    const auto id = output == layout.outputs.end() ? xcb_randr_output_t{XCB_NONE} : output->id;
    removeDisplay(connection, id, mode.id, id == XCB_NONE ? xcb_atom_t{XCB_NONE} : monitorOf(id));
    ++removed;
  }
  for (const auto& monitor : layout.monitors) {
    if (!monitor.outputs.empty() || !leftOver(connection.atomName(monitor.name))) continue;
    removeDisplay(connection, XCB_NONE, XCB_NONE, monitor.name);
    ++removed;
  }
  if (removed > 0) {
    closeGap(connection, corner);
    shrinkScreen(connection);
  }
  return removed;
}

}  // namespace tessaline::platform
