#include "platform/linux/x11/X11Pointer.h"

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <cmath>

namespace tessaline::platform {
namespace {

/// A colour of a cursor, premultiplied ARGB, as straight RGBA.
void appendStraight(std::uint32_t argb, Bytes& rgba) {
  const std::uint32_t alpha = argb >> 24;
  const auto straight = [&](int shift) {
    const std::uint32_t value = (argb >> shift) & 0xFF;
    if (alpha == 0) return std::uint8_t{0};
    return static_cast<std::uint8_t>(
        std::min<std::uint32_t>(255, (value * 255 + alpha / 2) / alpha));
  };
  rgba.insert(rgba.end(),
              {straight(16), straight(8), straight(0), static_cast<std::uint8_t>(alpha)});
}

/// What a desktop that shows no pointer shows: one transparent pixel.
std::shared_ptr<const PointerImage> emptyImage() {
  auto image = std::make_shared<PointerImage>();
  image->serial = std::uint64_t{1} << 32;  // X serials have 32 bits
  image->width = 1;
  image->height = 1;
  image->rgba.assign(4, 0);
  return image;
}

std::shared_ptr<const PointerImage> convert(xcb_xfixes_get_cursor_image_reply_t* reply) {
  if (!reply || reply->width == 0 || reply->height == 0) return emptyImage();
  auto image = std::make_shared<PointerImage>();
  image->serial = reply->cursor_serial;
  image->width = reply->width;
  image->height = reply->height;
  image->hotSpotX = reply->xhot;
  image->hotSpotY = reply->yhot;
  const auto* pixels = xcb_xfixes_get_cursor_image_cursor_image(reply);
  const int count = xcb_xfixes_get_cursor_image_cursor_image_length(reply);
  image->rgba.reserve(static_cast<std::size_t>(count) * 4);
  for (int i = 0; i < count; ++i) appendStraight(pixels[i], image->rgba);
  return image;
}

}  // namespace

bool X11Pointer::attach(X11Connection& connection, const std::string& displayName) {
  xcb_connection_t* c = connection.get();
  const auto fixes = connection.extension(xcb_xfixes_id);
  const auto* input = xcb_get_extension_data(c, &xcb_input_id);
  if (!fixes || !input || !input->present) return false;
  const Reply<xcb_xfixes_query_version_reply_t> fixesVersion(
      xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr));
  // From 2.1 on, raw events also come while another program grabs the pointer.
  const Reply<xcb_input_xi_query_version_reply_t> inputVersion(
      xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 1), nullptr));
  if (!fixesVersion || !inputVersion) return false;

  connection_ = &connection;
  cursorEvent_ = static_cast<std::uint8_t>(*fixes + XCB_XFIXES_CURSOR_NOTIFY);
  inputOpcode_ = input->major_opcode;
  xcb_xfixes_select_cursor_input(c, connection.root(),
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
  // Raw events tell of devices. The others come where no window listens for motion itself; there
  // they also make the server send what it has recorded, which it does along with other output.
  struct {
    xcb_input_event_mask_t head;
    std::uint32_t mask;
  } const events = {{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                    XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_MOTION};
  xcb_input_xi_select_events(c, connection.root(), 1, &events.head);
  recorder_ = MotionRecorder::start(displayName, *queue_, [this] { refresh(); });
  moved_ = true;  // it may have, while all of this began
  return true;
}

void X11Pointer::detach() {
  recorder_.reset();
  connection_ = nullptr;
}

void X11Pointer::handleEvent(const xcb_generic_event_t& event) {
  const auto type = event.response_type & 0x7F;
  if (type == cursorEvent_) {
    imageChanged_ = true;
  } else if (type == XCB_GE_GENERIC &&
             reinterpret_cast<const xcb_ge_generic_event_t&>(event).extension == inputOpcode_) {
    moved_ = true;
  }
}

void X11Pointer::refresh() {
  if (!connection_) return;
  moved_ = true;
  connection_->dispatch();
}

void X11Pointer::update() {
  const bool moved = std::exchange(moved_, false);
  const bool imageChanged = std::exchange(imageChanged_, false);
  if (moved) fetchLocation();
  if (imageChanged) fetchImage();
  if (moved || imageChanged) watchers_.tell();
}

std::shared_ptr<void> X11Pointer::watch(std::function<void()> moved) {
  return watchers_.add(std::move(moved));
}

void X11Pointer::fetchLocation() {
  if (!connection_) return;
  xcb_connection_t* c = connection_->get();
  const Reply<xcb_query_pointer_reply_t> reply(
      xcb_query_pointer_reply(c, xcb_query_pointer(c, connection_->root()), nullptr));
  if (!reply || !reply->same_screen) return;
  const std::lock_guard lock(mutex_);
  location_ = {double(reply->root_x), double(reply->root_y)};
}

void X11Pointer::fetchImage() {
  if (!connection_) return;
  xcb_connection_t* c = connection_->get();
  const Reply<xcb_xfixes_get_cursor_image_reply_t> reply(
      xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
  if (connection_->lost()) return;
  auto image = convert(reply.get());
  const std::lock_guard lock(mutex_);
  image_ = std::move(image);
}

std::optional<PointerLocation> X11Pointer::location() const {
  const std::lock_guard lock(mutex_);
  return location_;
}

std::shared_ptr<const PointerImage> X11Pointer::image() const {
  const std::lock_guard lock(mutex_);
  return image_;
}

std::optional<PixelRect> X11Pointer::bounds(DisplayID display) const {
  const auto entry = directory_->find(display);
  return entry ? std::optional(entry->bounds) : std::nullopt;
}

void X11Pointer::moveTo(PointerLocation location) {
  if (!connection_) return;
  const auto coordinate = [](double value) {
    return static_cast<std::int16_t>(std::lround(std::clamp(value, 0.0, 32767.0)));
  };
  xcb_warp_pointer(connection_->get(), XCB_NONE, connection_->root(), 0, 0, 0, 0,
                   coordinate(location.x), coordinate(location.y));
  refresh();
}

}  // namespace tessaline::platform
