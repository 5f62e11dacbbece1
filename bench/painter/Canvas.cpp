#include "painter/Canvas.h"

#include <xcb/randr.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace tessaline::bench {

namespace {

constexpr int kPutBytes = 200'000;  // one PutImage stays below every server's request limit

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> owned(T* reply) {
  return Reply<T>(reply, &std::free);
}

std::uint16_t u16(int value) {
  return static_cast<std::uint16_t>(value);
}
std::int16_t i16(int value) {
  return static_cast<std::int16_t>(value);
}

}  // namespace

Result<std::unique_ptr<Canvas>> Canvas::connect() {
  int screenNumber = 0;
  xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
  std::unique_ptr<Canvas> canvas(new Canvas(connection));
  if (xcb_connection_has_error(connection)) {
    const char* display = std::getenv("DISPLAY");
    return Failure{"no X server at DISPLAY=" + std::string(display ? display : "")};
  }
  auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (; screenNumber > 0 && screens.rem > 1; --screenNumber) xcb_screen_next(&screens);
  canvas->screen_ = screens.data;
  if (canvas->screen_->root_depth != 24) return Failure{"the screen does not have 24-bit pixels"};
  canvas->gc_ = xcb_generate_id(connection);
  const std::uint32_t noExposures = 0;
  xcb_create_gc(connection, canvas->gc_, canvas->screen_->root, XCB_GC_GRAPHICS_EXPOSURES,
                &noExposures);
  return canvas;
}

Canvas::~Canvas() {
  xcb_disconnect(connection_);
}

std::vector<Canvas::Monitor> Canvas::monitors() {
  std::vector<Monitor> found;
  const auto reply = owned(xcb_randr_get_monitors_reply(
      connection_, xcb_randr_get_monitors(connection_, screen_->root, 1), nullptr));
  if (!reply) return found;
  for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
       xcb_randr_monitor_info_next(&it)) {
    const auto name = owned(xcb_get_atom_name_reply(
        connection_, xcb_get_atom_name(connection_, it.data->name), nullptr));
    const std::string text =
        name ? std::string(xcb_get_atom_name_name(name.get()),
                           static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())))
             : "?";
    found.push_back({text, {it.data->x, it.data->y, it.data->width, it.data->height}});
  }
  return found;
}

PixelRect Canvas::wholeScreen() const {
  return {0, 0, screen_->width_in_pixels, screen_->height_in_pixels};
}

void Canvas::open(const PixelRect& bounds) {
  window_ = xcb_generate_id(connection_);
  const std::uint32_t values[] = {1, XCB_EVENT_MASK_EXPOSURE};
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen_->root, i16(bounds.x),
                    i16(bounds.y), u16(bounds.width), u16(bounds.height), 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual,
                    XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
  xcb_map_window(connection_, window_);
  const std::uint32_t above = XCB_STACK_MODE_ABOVE;
  xcb_configure_window(connection_, window_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
}

void Canvas::put(const QImage& image, int x, int y) {
  putInto(window_, image, x, y);
}

void Canvas::putInto(xcb_drawable_t drawable, const QImage& image, int x, int y) {
  const QImage pixels = image.convertToFormat(QImage::Format_RGB32);
  const auto stride = static_cast<int>(pixels.bytesPerLine());
  const int rows = std::max(1, kPutBytes / stride);
  for (int top = 0; top < pixels.height(); top += rows) {
    const int count = std::min(rows, pixels.height() - top);
    xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, gc_, u16(pixels.width()),
                  u16(count), i16(x), i16(y + top), 0, 24,
                  static_cast<std::uint32_t>(stride * count), pixels.constScanLine(top));
  }
}

xcb_pixmap_t Canvas::upload(const QImage& image) {
  const xcb_pixmap_t pixmap = xcb_generate_id(connection_);
  xcb_create_pixmap(connection_, 24, pixmap, screen_->root, u16(image.width()),
                    u16(image.height()));
  putInto(pixmap, image, 0, 0);
  return pixmap;
}

void Canvas::copy(xcb_pixmap_t from, int fromX, int fromY, const PixelRect& to) {
  if (to.empty()) return;
  xcb_copy_area(connection_, from, window_, gc_, i16(fromX), i16(fromY), i16(to.x), i16(to.y),
                u16(to.width), u16(to.height));
}

void Canvas::movePointer(PixelPoint place) {
  xcb_warp_pointer(connection_, XCB_NONE, window_, 0, 0, 0, 0, static_cast<std::int16_t>(place.x),
                   static_cast<std::int16_t>(place.y));
}

bool Canvas::settle() {
  return owned(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr)) !=
         nullptr;
}

bool Canvas::takeExposure() {
  bool exposed = false;
  while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
    exposed |= (event->response_type & 0x7F) == XCB_EXPOSE;
    std::free(event);
  }
  return exposed;
}

}  // namespace tessaline::bench
