#include "platform/linux/x11/DisplayGrabber.h"

#include <xcb/randr.h>
#include <xcb/shm.h>

namespace tessaline::platform {
namespace {

constexpr int kBytesPerPixel = 4;
constexpr std::uint32_t kAllPlanes = ~0U;

/// Blue first in memory, 32 bits for each pixel: what nearly every X server of today has.
bool hasUsualPixels(const X11Connection& connection) {
  const xcb_setup_t* setup = xcb_get_setup(connection.get());
  const xcb_screen_t& screen = connection.screen();
  bool rightSize = false;
  for (auto i = xcb_setup_pixmap_formats_iterator(setup); i.rem > 0; xcb_format_next(&i)) {
    if (i.data->depth == screen.root_depth) rightSize = i.data->bits_per_pixel == 32;
  }
  bool rightOrder = false;
  for (auto d = xcb_screen_allowed_depths_iterator(&screen); d.rem > 0; xcb_depth_next(&d)) {
    for (auto v = xcb_depth_visuals_iterator(d.data); v.rem > 0; xcb_visualtype_next(&v)) {
      if (v.data->visual_id == screen.root_visual) {
        rightOrder = v.data->red_mask == 0xFF0000 && v.data->blue_mask == 0xFF;
      }
    }
  }
  return rightSize && rightOrder && setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
}

std::string text(PixelSize size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

}  // namespace

Result<std::unique_ptr<DisplayGrabber>> DisplayGrabber::open(const std::string& displayName,
                                                             DisplayTarget target, PixelSize size) {
  auto connection = X11Connection::open(displayName);
  if (!connection) return Failure{connection.error()};
  std::unique_ptr<DisplayGrabber> grabber(new DisplayGrabber(std::move(*connection), target, size));
  if (auto error = grabber->prepare()) return Failure{std::move(*error)};
  return grabber;
}

std::optional<std::string> DisplayGrabber::prepare() {
  xcb_connection_t* c = connection_->get();
  const auto damage = connection_->extension(xcb_damage_id);
  const auto randr = connection_->extension(xcb_randr_id);
  if (!damage || !randr || !connection_->extension(xcb_xfixes_id)) {
    return "the X server lacks the DAMAGE, RandR or XFixes extension";
  }
  if (!hasUsualPixels(*connection_)) return "the X server's colour depth is not 24";
  damageEvent_ = *damage;
  randrEvent_ = *randr;
  // Each of these extensions wants to be asked before it is used.
  const auto damageCookie = xcb_damage_query_version(c, 1, 1);
  const auto fixesCookie = xcb_xfixes_query_version(c, 4, 0);
  const auto randrCookie = xcb_randr_query_version(c, 1, 5);
  const Reply<void> versions[] = {
      Reply<void>(xcb_damage_query_version_reply(c, damageCookie, nullptr)),
      Reply<void>(xcb_xfixes_query_version_reply(c, fixesCookie, nullptr)),
      Reply<void>(xcb_randr_query_version_reply(c, randrCookie, nullptr))};
  for (const auto& version : versions) {
    if (!version) return "the X server refuses an extension";
  }
  xcb_randr_select_input(c, connection_->root(),
                         XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                             XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE |
                             XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
  bounds_ = currentBounds();
  if (bounds_.empty()) return "there is no such display";
  const PixelSize found{bounds_.width, bounds_.height};
  if (found != size_) return "the display has " + text(found) + " pixels, not " + text(size_);
  damage_ = xcb_generate_id(c);
  region_ = xcb_generate_id(c);
  // One event when the first change comes; the server gathers the others until they are taken.
  xcb_damage_create(c, damage_, connection_->root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
  // Servers count what is there at the start as damage; the caller takes the whole picture anyway.
  xcb_damage_subtract(c, damage_, XCB_NONE, XCB_NONE);
  xcb_xfixes_create_region(c, region_, 0, nullptr);
  // Its answers bring along the event of that damage, so that it wakes nobody later.
  memory_ =
      ShmSegment::create(*connection_, static_cast<std::size_t>(bounds_.area()) * kBytesPerPixel);
  if (!memory_) return "the X server shares no memory with this process";
  return std::nullopt;
}

DisplayGrabber::Event DisplayGrabber::classify(const xcb_generic_event_t& event) const {
  const auto type = event.response_type & 0x7F;
  if (type == damageEvent_ + XCB_DAMAGE_NOTIFY) return Event::damaged;
  const bool layout = type == randrEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                      type == randrEvent_ + XCB_RANDR_NOTIFY;
  return layout ? Event::layout : Event::other;
}

std::vector<PixelRect> DisplayGrabber::takeDamage() {
  xcb_connection_t* c = connection_->get();
  xcb_damage_subtract(c, damage_, XCB_NONE, region_);
  const Reply<xcb_xfixes_fetch_region_reply_t> reply(
      xcb_xfixes_fetch_region_reply(c, xcb_xfixes_fetch_region(c, region_), nullptr));
  std::vector<PixelRect> rects;
  if (!reply) return rects;
  const auto* found = xcb_xfixes_fetch_region_rectangles(reply.get());
  const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
  for (int i = 0; i < count; ++i) {
    rects.push_back(
        {found[i].x - bounds_.x, found[i].y - bounds_.y, found[i].width, found[i].height});
  }
  return rects;
}

std::optional<std::vector<PixelPatch>> DisplayGrabber::grab(const std::vector<PixelRect>& rects) {
  xcb_connection_t* c = connection_->get();
  std::vector<PixelPatch> patches;
  std::vector<xcb_shm_get_image_cookie_t> cookies;
  std::uint32_t offset = 0;
  for (const PixelRect& rect : rects) {
    cookies.push_back(xcb_shm_get_image(
        c, connection_->root(), static_cast<std::int16_t>(bounds_.x + rect.x),
        static_cast<std::int16_t>(bounds_.y + rect.y), static_cast<std::uint16_t>(rect.width),
        static_cast<std::uint16_t>(rect.height), kAllPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
        memory_->id(), offset));
    patches.push_back({rect, memory_->data() + offset, rect.width * kBytesPerPixel});
    offset += static_cast<std::uint32_t>(rect.area() * kBytesPerPixel);
  }
  bool complete = true;
  for (const auto& cookie : cookies) {
    const Reply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(c, cookie, nullptr));
    complete = complete && reply;
  }
  return complete ? std::optional(std::move(patches)) : std::nullopt;
}

PixelRect DisplayGrabber::currentBounds() const {
  // Only what concerns this display: the whole layout takes many more answers.
  xcb_connection_t* c = connection_->get();
  if (target_.output == XCB_NONE) {
    const Reply<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(
        c, xcb_randr_get_monitors(c, connection_->root(), 0), nullptr));
    if (!reply) return {};
    for (auto i = xcb_randr_get_monitors_monitors_iterator(reply.get()); i.rem > 0;
         xcb_randr_monitor_info_next(&i)) {
      if (i.data->name == target_.monitor) {
        return {i.data->x, i.data->y, i.data->width, i.data->height};
      }
    }
    return {};
  }
  const Reply<xcb_randr_get_output_info_reply_t> output(xcb_randr_get_output_info_reply(
      c, xcb_randr_get_output_info(c, target_.output, XCB_CURRENT_TIME), nullptr));
  if (!output || output->crtc == XCB_NONE) return {};
  const Reply<xcb_randr_get_crtc_info_reply_t> crtc(xcb_randr_get_crtc_info_reply(
      c, xcb_randr_get_crtc_info(c, output->crtc, XCB_CURRENT_TIME), nullptr));
  if (!crtc || crtc->mode == XCB_NONE) return {};
  return {crtc->x, crtc->y, crtc->width, crtc->height};
}

DisplayGrabber::Place DisplayGrabber::locate() {
  const PixelRect now = currentBounds();
  if (now == bounds_) return Place::same;
  if (now.empty()) return Place::gone;
  if (PixelSize{now.width, now.height} != size_) return Place::resized;
  bounds_ = now;
  return Place::moved;
}

}  // namespace tessaline::platform
