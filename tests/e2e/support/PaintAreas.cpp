// Fills rectangles of an X screen with plain colours, for tests that compare what is shown
// elsewhere. Each line of standard input is an order and is answered with "done" once the server
// has painted it:
//   WxH+X+Y RRGGBB   a rectangle above everything else; the pointer over it is a crosshair, whose
//                    hot spot is its middle
//   clear            removes all rectangles
// Ends with its input.
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr std::uint16_t kCrosshair = 34;  // its place in the cursor font; the mask follows it
constexpr char kCursorFont[] = "cursor";

struct Area {
  std::int16_t x, y;
  std::uint16_t width, height;
  std::uint32_t colour;
};

xcb_cursor_t createCrosshair(xcb_connection_t* connection) {
  const xcb_font_t font = xcb_generate_id(connection);
  xcb_open_font(connection, font, sizeof kCursorFont - 1, kCursorFont);
  const xcb_cursor_t cursor = xcb_generate_id(connection);
  xcb_create_glyph_cursor(connection, cursor, font, font, kCrosshair, kCrosshair + 1, 0, 0, 0,
                          0xFFFF, 0xFFFF, 0xFFFF);
  return cursor;
}

bool parse(const std::string& line, Area& area) {
  return std::sscanf(line.c_str(), "%hux%hu+%hd+%hd %x", &area.width, &area.height, &area.x,
                     &area.y, &area.colour) == 5;
}

// The server paints a window's background by itself whenever it becomes visible.
xcb_window_t show(xcb_connection_t* connection, const xcb_screen_t& screen, xcb_cursor_t cursor,
                  const Area& area) {
  const xcb_window_t window = xcb_generate_id(connection);
  const std::uint32_t values[] = {area.colour, 1, cursor};
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen.root, area.x, area.y,
                    area.width, area.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_CURSOR, values);
  xcb_map_window(connection, window);
  return window;
}

}  // namespace

int main() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(connection) != 0) {
    std::cerr << "paint_areas: no X server at DISPLAY\n";
    return EXIT_FAILURE;
  }
  const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const xcb_cursor_t cursor = createCrosshair(connection);
  std::vector<xcb_window_t> windows;
  for (std::string line; std::getline(std::cin, line);) {
    if (Area area{}; line == "clear") {
      for (const auto window : windows) xcb_destroy_window(connection, window);
      windows.clear();
    } else if (parse(line, area)) {
      windows.push_back(show(connection, screen, cursor, area));
    } else {
      std::cerr << "paint_areas: not understood: " << line << '\n';
      return EXIT_FAILURE;
    }
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    std::cout << "done" << std::endl;
  }
  xcb_disconnect(connection);
}
