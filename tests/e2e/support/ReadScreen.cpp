// Says what an X screen shows, windows of all kinds included, the pointer not. Each line of
// standard input names an area, WxH+X+Y, and is answered with a line: the colours of its pixels,
// row by row, as RRGGBB without anything between them. Ends with its input.
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

namespace {

using Image = std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)>;

std::string colours(xcb_connection_t* connection, const std::string& area) {
  std::uint16_t width = 0, height = 0;
  std::int16_t x = 0, y = 0;
  if (std::sscanf(area.c_str(), "%hux%hu+%hd+%hd", &width, &height, &x, &y) != 4) {
    return "not understood: " + area;
  }
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const auto asked =
      xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, x, y, width, height, ~0U);
  const Image image(xcb_get_image_reply(connection, asked, nullptr), &std::free);
  if (!image) return "not on the screen: " + area;
  const auto* pixels = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image.get()));
  std::string text;
  for (int i = 0; i < width * height; ++i) {
    char colour[7];
    std::snprintf(colour, sizeof colour, "%06x", pixels[i] & 0xFFFFFFU);
    text += colour;
  }
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
    std::cout << colours(connection, line) << std::endl;
  }
  xcb_disconnect(connection);
}
