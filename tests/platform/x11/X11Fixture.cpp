#include "platform/x11/X11Fixture.h"

#include <algorithm>

#include "support/Program.h"

namespace tessaline::platform {

void X11Fixture::SetUp() {
  std::string problem;
  server_ = test::PrivateXServer::start(problem);
  if (!server_) GTEST_SKIP() << problem;
  auto client = X11Connection::open(server_->display());
  ASSERT_TRUE(client) << client.error();
  client_ = std::move(*client);
}

void X11Fixture::TearDown() {
  if (desktop_) onMain([&] { desktop_.reset(); });
}

void X11Fixture::openDesktop() {
  onMain([&] {
    auto opened = openX11Desktop(queues_, server_->display());
    ASSERT_TRUE(opened) << opened.error();
    desktop_ = std::move(*opened);
  });
}

std::unique_ptr<VirtualDisplay> X11Fixture::makeDisplay(const std::string& name, PixelSize size,
                                                        SizeMM millimetres) {
  std::unique_ptr<VirtualDisplay> display;
  onMain([&] {
    VirtualDisplayDescriptor descriptor;
    descriptor.name = name;
    descriptor.maxPixelsWide = static_cast<std::uint32_t>(size.width);
    descriptor.maxPixelsHigh = static_cast<std::uint32_t>(size.height);
    descriptor.sizeInMillimeters = millimetres;
    descriptor.vendorID = 0xEB15;
    descriptor.productID = 1;
    descriptor.serialNumber = 0x01020304;
    display = desktop_->createVirtualDisplay(descriptor);
    if (!display) return;
    const VirtualDisplaySettings settings{
        true, {{descriptor.maxPixelsWide / 2, descriptor.maxPixelsHigh / 2, 60}}};
    if (!display->apply(settings)) display.reset();
  });
  return display;
}

std::vector<DisplayInfo> X11Fixture::listed() {
  std::vector<DisplayInfo> displays;
  onMain([&] {
    auto found = desktop_->shareableDisplays();
    if (found) displays = *found;
  });
  return displays;
}

PixelRect X11Fixture::boundsOf(DisplayID id) {
  for (const auto& display : listed()) {
    if (display.id == id) return display.bounds;
  }
  return {};
}

std::string X11Fixture::run(const std::vector<std::string>& command) {
  test::Program program(command, {"DISPLAY=" + server_->display()});
  EXPECT_EQ(program.wait(), 0) << command.front() << ": " << program.output();
  return program.output();
}

void X11Fixture::paint(PixelRect rect, std::uint32_t rgb) {
  xcb_connection_t* c = client_->get();
  const xcb_gcontext_t context = xcb_generate_id(c);
  const std::uint32_t values[] = {rgb, XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
  xcb_create_gc(c, context, client_->root(), XCB_GC_FOREGROUND | XCB_GC_SUBWINDOW_MODE, values);
  const xcb_rectangle_t area{static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                             static_cast<std::uint16_t>(rect.width),
                             static_cast<std::uint16_t>(rect.height)};
  ASSERT_TRUE(
      client_->succeeded(xcb_poly_fill_rectangle_checked(c, client_->root(), context, 1, &area)));
  xcb_free_gc(c, context);
}

}  // namespace tessaline::platform
