#include "platform/x11/X11Fixture.h"

namespace tessaline::platform {
namespace {

using X11PointerTest = X11Fixture;

TEST_F(X11PointerTest, ImageIsStraightRgbaWithItsHotSpot) {
  openDesktop();
  std::shared_ptr<PointerSource> pointer;
  onMain([&] { pointer = desktop_->pointer(); });
  xcb_connection_t* c = client_->get();
  // A core cursor, 8 × 4: the left half orange, the right half transparent.
  const auto bitmap = xcb_generate_id(c);
  xcb_create_pixmap(c, 1, bitmap, client_->root(), 8, 4);
  const auto context = xcb_generate_id(c);
  xcb_create_gc(c, context, bitmap, 0, nullptr);
  const std::uint32_t rows[] = {0x0F, 0x0F, 0x0F, 0x0F};
  xcb_put_image(c, XCB_IMAGE_FORMAT_XY_PIXMAP, bitmap, context, 8, 4, 0, 0, 0, 1, sizeof rows,
                reinterpret_cast<const std::uint8_t*>(rows));
  const auto cursor = xcb_generate_id(c);
  xcb_create_cursor(c, cursor, bitmap, bitmap, 0xFFFF, 0x8080, 0x0000, 0, 0, 0, 3, 2);
  xcb_change_window_attributes(c, client_->root(), XCB_CW_CURSOR, &cursor);
  client_->flush();
  ASSERT_TRUE(eventually([&] { return pointer->image() && pointer->image()->hotSpotX == 3; }));
  const auto image = pointer->image();
  EXPECT_EQ(image->hotSpotY, 2);
  ASSERT_EQ(image->rgba.size(), static_cast<std::size_t>(image->width * image->height * 4));
  EXPECT_EQ(Bytes(&image->rgba[4], &image->rgba[8]), (Bytes{0xFF, 0x80, 0x00, 0xFF}));
  EXPECT_EQ(image->rgba[27], 0);
}

}  // namespace
}  // namespace tessaline::platform
