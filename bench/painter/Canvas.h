#pragma once

#include <xcb/xcb.h>

#include <QImage>
#include <cstdint>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "base/Result.h"

namespace tessaline::bench {

/// A borderless window of an X server that window managers leave alone, and what is needed to paint
/// in it. Everything is requested in order and nothing is sent before `flush`.
class Canvas {
 public:
  struct Monitor {
    std::string name;
    PixelRect bounds;
  };

  /// Connects to the server named by DISPLAY, which must have 24-bit pixels of 32 bits.
  static Result<std::unique_ptr<Canvas>> connect();
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  [[nodiscard]] std::vector<Monitor> monitors();
  [[nodiscard]] PixelRect wholeScreen() const;

  /// Shows the window; once, before anything is painted.
  void open(const PixelRect& bounds);
  void put(const QImage& image, int x, int y);

  /// A picture kept by the server.
  [[nodiscard]] xcb_pixmap_t upload(const QImage& image);
  void copy(xcb_pixmap_t from, int fromX, int fromY, const PixelRect& to);

  /// Puts the pointer to a place in the window.
  void movePointer(PixelPoint place);

  void flush() { xcb_flush(connection_); }
  /// Returns when the server has carried out everything requested so far; false once it is gone.
  bool settle();
  /// True when a part of the window was uncovered since the last call.
  bool takeExposure();
  [[nodiscard]] int descriptor() const { return xcb_get_file_descriptor(connection_); }

 private:
  explicit Canvas(xcb_connection_t* connection) : connection_(connection) {}
  void putInto(xcb_drawable_t drawable, const QImage& image, int x, int y);

  xcb_connection_t* const connection_;
  xcb_screen_t* screen_ = nullptr;
  xcb_window_t window_ = 0;
  xcb_gcontext_t gc_ = 0;
};

}  // namespace tessaline::bench
