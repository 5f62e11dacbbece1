// Says what an X screen shows, windows of all kinds included, the pointer not. Each line of
// standard input is a question and is answered with a line:
//   at X Y                            the colour of a pixel, RRGGBB
//   differing WxH+X+Y RRGGBB N        the smallest rectangle around what differs from that colour
//   by
//                                     more than N of 255 in a component: LEFT TOP RIGHT BOTTOM, the
//                                     last two inclusive; or "nothing"
// Ends with its input.
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

namespace {

struct Area {
  int width = 0, height = 0, x = 0, y = 0;
};

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Image = std::unique_ptr<xcb_get_image_reply_t, Free>;

Image grab(xcb_connection_t* connection, const Area& area) {
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  return Image(xcb_get_image_reply(
      connection,
      xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<std::int16_t>(area.x),
                    static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                    static_cast<std::uint16_t>(area.height), ~0U),
      nullptr));
}

/// The pixels of a screen of 24 bits, row by row.
const std::uint32_t* pixels(const Image& image) {
  return reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image.get()));
}

bool near(std::uint32_t one, std::uint32_t other, int tolerance) {
  for (const int shift : {0, 8, 16}) {
    const auto component = [shift](std::uint32_t colour) {
      return static_cast<int>((colour >> shift) & 0xFFU);
    };
    if (std::abs(component(one) - component(other)) > tolerance) return false;
  }
  return true;
}

std::string differing(const Image& image, const Area& area, std::uint32_t colour, int tolerance) {
  int left = area.width, top = area.height, right = -1, bottom = -1;
  for (int y = 0; y < area.height; ++y) {
    for (int x = 0; x < area.width; ++x) {
      if (near(pixels(image)[y * area.width + x], colour, tolerance)) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = y;
    }
  }
  if (right < 0) return "nothing";
  return std::to_string(area.x + left) + " " + std::to_string(area.y + top) + " " +
         std::to_string(area.x + right) + " " + std::to_string(area.y + bottom);
}

std::string answer(xcb_connection_t* connection, const std::string& question) {
  Area area{1, 1, 0, 0};
  unsigned colour = 0;
  int tolerance = 0;
  const bool at = std::sscanf(question.c_str(), "at %d %d", &area.x, &area.y) == 2;
  if (!at && std::sscanf(question.c_str(), "differing %dx%d+%d+%d %x %d", &area.width, &area.height,
                         &area.x, &area.y, &colour, &tolerance) != 6) {
    return "not understood: " + question;
  }
  const Image image = grab(connection, area);
  if (!image) return "not on the screen: " + question;
  if (!at) return differing(image, area, colour, tolerance);
  char text[7];
  std::snprintf(text, sizeof text, "%06x", *pixels(image) & 0xFFFFFFU);
  return text;
}

}  // namespace

int main() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(connection) != 0) {
    std::cerr << "read_screen: no X server at DISPLAY\n";
    return EXIT_FAILURE;
  }
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << answer(connection, line) << std::endl;
  }
  xcb_disconnect(connection);
}
