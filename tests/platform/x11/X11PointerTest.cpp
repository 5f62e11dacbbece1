#include "platform/x11/X11Fixture.h"

#include <vector>

namespace tessaline::platform {
namespace {

class X11PointerTest : public X11Fixture {
 protected:
  void SetUp() override {
    X11Fixture::SetUp();
    if (!server_) return;
    openDesktop();
    onMain([&] { pointer_ = desktop_->pointer(); });
  }
  void TearDown() override {
    pointer_.reset();
    X11Fixture::TearDown();
  }
  bool arrives(double x, double y) {
    return eventually([&] {
      const auto now = pointer_->location();
      return now.x == x && now.y == y;
    });
  }
  void warpAsAProgramDoes(int x, int y) {
    xcb_warp_pointer(client_->get(), XCB_NONE, client_->root(), 0, 0, 0, 0,
                     static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    client_->flush();
  }

  std::shared_ptr<PointerSource> pointer_;
};

TEST_F(X11PointerTest, SeesWarpsOfAnyoneEvenOverWindowsThatListenForMotion) {
  const auto window = xcb_generate_id(client_->get());
  const std::uint32_t values[] = {1, XCB_EVENT_MASK_POINTER_MOTION};
  xcb_create_window(client_->get(), 0, window, client_->root(), 100, 100, 400, 400, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
  xcb_map_window(client_->get(), window);
  warpAsAProgramDoes(900, 700);
  EXPECT_TRUE(arrives(900, 700));
  warpAsAProgramDoes(200, 210);
  EXPECT_TRUE(arrives(200, 210));
  onMain([&] { desktop_->inputEvents().postMove({300, 310}); });
  EXPECT_TRUE(arrives(300, 310));
}

TEST_F(X11PointerTest, IsPushedBackWhenItsDisplayGoes) {
  auto display = makeDisplay("iPad", {640, 480});
  ASSERT_TRUE(display);
  onMain([&] { desktop_->inputEvents().postMove({1500, 100}); });
  EXPECT_TRUE(arrives(1500, 100));
  EXPECT_TRUE(pointer_->bounds(display->displayID())->contains(1500, 100));
  const DisplayID id = display->displayID();
  destroy(display);
  EXPECT_TRUE(eventually([&] { return pointer_->location().x < 1280; }));
  EXPECT_FALSE(pointer_->bounds(id));
}

TEST_F(X11PointerTest, ImageIsStraightRgbaWithItsHotSpot) {
  xcb_connection_t* c = client_->get();
  // A core cursor, 8 × 4: the left half orange, the right half transparent.
  const auto bitmap = [&](std::uint8_t row) {
    const auto pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, 1, pixmap, client_->root(), 8, 4);
    const auto context = xcb_generate_id(c);
    xcb_create_gc(c, context, pixmap, 0, nullptr);
    const std::vector<std::uint8_t> data = {row, 0, 0, 0, row, 0, 0, 0, row, 0, 0, 0, row, 0, 0, 0};
    xcb_put_image(c, XCB_IMAGE_FORMAT_XY_PIXMAP, pixmap, context, 8, 4, 0, 0, 0, 1,
                  static_cast<std::uint32_t>(data.size()), data.data());
    return pixmap;
  };
  const auto cursor = xcb_generate_id(c);
  xcb_create_cursor(c, cursor, bitmap(0x0F), bitmap(0x0F), 0xFFFF, 0x8080, 0x0000, 0, 0, 0, 3, 2);
  const auto before = pointer_->image();
  xcb_change_window_attributes(c, client_->root(), XCB_CW_CURSOR, &cursor);
  client_->flush();
  ASSERT_TRUE(eventually([&] {
    const auto now = pointer_->image();
    return now && now->hotSpotX == 3;
  }));
  const auto image = pointer_->image();
  EXPECT_TRUE(!before || before->serial != image->serial);
  EXPECT_EQ(image->hotSpotY, 2);
  ASSERT_EQ(image->rgba.size(), static_cast<std::size_t>(image->width * image->height * 4));
  const auto pixel = [&](std::size_t x) {
    return Bytes(&image->rgba[x * 4], &image->rgba[x * 4] + 4);
  };
  EXPECT_EQ(pixel(1), (Bytes{0xFF, 0x80, 0x00, 0xFF}));
  EXPECT_EQ(pixel(6)[3], 0);
}

}  // namespace
}  // namespace tessaline::platform
