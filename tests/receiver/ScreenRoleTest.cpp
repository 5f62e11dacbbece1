#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "base/AsioQueue.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/media/FrameCoder.h"
#include "platform/media/PictureMaker.h"
#include "protocol/Cursor.h"
#include "protocol/Proto.h"
#include "receiver/FakeMain.h"
#include "support/Eventually.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"
#include "support/x11/PrivateXServer.h"

namespace tessaline {
namespace {

constexpr PixelSize kScreen{1280, 800};
constexpr std::array<std::uint32_t, 4> kQuarters = {0xC02020, 0x20A040, 0x3050E0, 0xE0D020};
constexpr std::uint32_t kPointerColour = 0xFF00FF;
constexpr int kTolerance = 8;  // of a colour component: twice a conversion and a codec

/// Looks at a display as a person does.
class Onlooker {
 public:
  explicit Onlooker(const std::string& display)
      : connection_(xcb_connect(display.c_str(), nullptr)),
        root_(xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root) {}
  ~Onlooker() { xcb_disconnect(connection_); }
  Onlooker(const Onlooker&) = delete;
  Onlooker& operator=(const Onlooker&) = delete;

  std::uint32_t pixel(int x, int y) {
    auto* image = xcb_get_image_reply(
        connection_,
        xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), 1, 1, ~0U),
        nullptr);
    std::uint32_t value = 0;
    if (image != nullptr) std::memcpy(&value, xcb_get_image_data(image), sizeof value);
    std::free(image);
    return value & 0xFFFFFF;
  }

  static bool alike(std::uint32_t a, std::uint32_t b) {
    for (int shift = 0; shift < 24; shift += 8) {
      const int difference =
          static_cast<int>((a >> shift) & 0xFF) - static_cast<int>((b >> shift) & 0xFF);
      if (std::abs(difference) > kTolerance) return false;
    }
    return true;
  }

  /// The pixel gets that colour; what it is when it does not within a while.
  testing::AssertionResult shows(int x, int y, std::uint32_t colour) {
    if (test::eventually([&] { return alike(pixel(x, y), colour); })) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << std::hex << pixel(x, y) << " instead of " << colour
                                       << std::dec << " at " << x << ", " << y;
  }

 private:
  xcb_connection_t* const connection_;
  const xcb_window_t root_;
};

class ScreenRole : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    std::string problem;
    server_ = test::PrivateXServer::start(problem, kScreen);
    if (!server_) GTEST_SKIP() << problem;
    onlooker_ = std::make_unique<Onlooker>(server_->display());
    screen_ = std::make_unique<test::Program>(
        std::vector<std::string>{TESSALINE_SCREEN_RUN, folder_.path().string(), GetParam()},
        std::vector<std::string>{"DISPLAY=" + server_->display(), "QT_QPA_PLATFORM=xcb"});
    ASSERT_TRUE(screen_->waitFor(".\n")) << screen_->output();
    const auto ports = screen_->output().substr(screen_->output().find("ports ") + 6);
    streamPort_ = static_cast<std::uint16_t>(std::atoi(ports.c_str()));
    datagramPort_ = static_cast<std::uint16_t>(std::atoi(ports.substr(ports.find(' ')).c_str()));
  }

  /// Four colours, one in each quarter.
  static std::shared_ptr<platform::PixelBuffer> quarters(PixelSize size, std::size_t turn = 0) {
    platform::Desktop desktop(size);
    const int width = size.width / 2;
    const int height = size.height / 2;
    for (std::size_t i = 0; i < kQuarters.size(); ++i) {
      const auto at = static_cast<int>(i);
      desktop.fill({at % 2 * width, at / 2 * height, width, height},
                   kQuarters[(i + turn) % kQuarters.size()]);
    }
    return desktop.converted();
  }

  Bytes pointerMessage(double side = 16) {
    platform::PointerImage image;
    image.width = image.height = 16;
    for (int i = 0; i < 16 * 16; ++i) image.rgba.insert(image.rgba.end(), {255, 0, 255, 255});
    return CursorShape{4, 4, side, side}.encoded(coding_->encodePng(image));
  }

  void movePointer(double x, double y) {
    const auto position = CursorPosition::on({0, 0, 1000, 1000}, x * 1000, y * 1000);
    test::FakeMain::sendDatagram(datagramPort_, CursorUpdate{++sequence_, position}.datagram());
  }

  [[nodiscard]] long peakMegabytes() const {
    std::ifstream status("/proc/" + std::to_string(screen_->pid()) + "/status");
    for (std::string word; status >> word;) {
      if (word == "VmHWM:" && status >> word) return std::stol(word) / 1024;
    }
    return 0;
  }

  test::TemporaryFolder folder_;
  AsioQueues queues_;
  const std::unique_ptr<platform::VideoCoding> coding_ = platform::createVideoCoding(queues_);
  std::unique_ptr<test::PrivateXServer> server_;
  std::unique_ptr<Onlooker> onlooker_;
  std::unique_ptr<test::Program> screen_;
  std::uint16_t streamPort_ = 0;
  std::uint16_t datagramPort_ = 0;
  std::uint16_t sequence_ = 0;
};

TEST_P(ScreenRole, ShowsAStreamWithItsPointerAndNothingOfItInTheNext) {
  test::FakeMain main(streamPort_);
  ASSERT_FALSE(main.read().empty());
  ASSERT_TRUE(screen_->waitFor("Connecting… awake 2 login 1")) << screen_->output();
  EXPECT_TRUE(onlooker_->shows(640, 400, 0x000000)) << "black until there is a picture";

  // As large as the screen: no pixel is scaled.
  test::FrameCoder coder(*coding_, kScreen);
  main.send(coder.code(quarters(kScreen)));
  EXPECT_TRUE(onlooker_->shows(320, 200, kQuarters[0]));
  EXPECT_TRUE(onlooker_->shows(960, 200, kQuarters[1]));
  EXPECT_TRUE(onlooker_->shows(1279, 0, kQuarters[1]));
  EXPECT_TRUE(onlooker_->shows(0, 799, kQuarters[2]));
  EXPECT_TRUE(onlooker_->shows(960, 600, kQuarters[3]));

  movePointer(0.25, 0.25);  // which is remembered until its shape is known
  main.send(Proto::cursorShape, pointerMessage());
  EXPECT_TRUE(onlooker_->shows(316, 196, kPointerColour));
  EXPECT_TRUE(onlooker_->shows(331, 211, kPointerColour));
  EXPECT_TRUE(onlooker_->shows(315, 196, kQuarters[0]));
  EXPECT_TRUE(onlooker_->shows(332, 212, kQuarters[0]));
  movePointer(0.75, 0.25);
  EXPECT_TRUE(onlooker_->shows(960, 200, kPointerColour));
  EXPECT_TRUE(onlooker_->shows(320, 200, kQuarters[0])) << "where the pointer was";
  // A picture under the pointer.
  main.send(coder.code(quarters(kScreen, 1)));
  EXPECT_TRUE(onlooker_->shows(970, 215, kQuarters[2]));
  EXPECT_TRUE(onlooker_->shows(960, 200, kPointerColour));

  // Another shape: letterboxed, and the pointer grows with the picture (4 / 3).
  test::FrameCoder smaller(*coding_, {800, 600});
  main.send(smaller.code(quarters({800, 600})));
  EXPECT_TRUE(onlooker_->shows(300, 200, kQuarters[0]));
  EXPECT_TRUE(onlooker_->shows(1100, 700, kQuarters[3]));
  EXPECT_TRUE(onlooker_->shows(100, 400, 0x000000));
  EXPECT_TRUE(onlooker_->shows(1180, 400, 0x000000));
  movePointer(0.25, 0.25);
  EXPECT_TRUE(onlooker_->shows(368 + 2, 195 + 2, kPointerColour));
  EXPECT_TRUE(onlooker_->shows(368 + 18, 195 + 18, kPointerColour));
  EXPECT_TRUE(onlooker_->shows(368 + 24, 195 + 24, kQuarters[0]));

  // A stream may say that its pointer is far larger than the screen; that costs no memory.
  test::FrameCoder tiny(*coding_, {320, 200});
  main.send(tiny.code(quarters({320, 200})));
  EXPECT_TRUE(onlooker_->shows(300, 200, kQuarters[0]));
  const long before = peakMegabytes();
  main.send(Proto::cursorShape, pointerMessage(4095));
  movePointer(0, 0);
  EXPECT_TRUE(onlooker_->shows(300, 200, kPointerColour));
  EXPECT_LT(peakMegabytes() - before, 300);

  main.send(Proto::bye);
  ASSERT_TRUE(main.read().empty());
  ASSERT_TRUE(screen_->waitFor("Waiting for your main Mac… awake 1")) << screen_->output();
  EXPECT_FALSE(Onlooker::alike(onlooker_->pixel(300, 200), kQuarters[0]));

  // The next stream begins with black, not with what the last one showed.
  test::FakeMain again(streamPort_);
  ASSERT_FALSE(again.read().empty());
  EXPECT_TRUE(onlooker_->shows(300, 200, 0x000000));
}

INSTANTIATE_TEST_SUITE_P(DrawnBy, ScreenRole,
                         testing::Values(std::string("raster"), std::string("opengl")),
                         [](const auto& suite) { return suite.param; });

}  // namespace
}  // namespace tessaline
