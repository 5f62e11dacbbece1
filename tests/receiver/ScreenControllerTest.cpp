#include "receiver/ScreenController.h"

#include <gtest/gtest.h>

#include "platform/common/media/MediaVideoDecoding.h"
#include "protocol/Framing.h"
#include "protocol/Hello.h"
#include "protocol/Proto.h"
#include "receiver/LatestPicture.h"
#include "support/FakeDiscovery.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

/// Windows that nobody sees.
class FakeWindows final : public ScreenController::Windows {
 public:
  struct Display final : VideoDisplay {
    void show(std::shared_ptr<const platform::VideoPicture>) override {}
  };
  bool fullShown = false;
  HomeScreen home;

  void showHome(const HomeScreen& content) override { home = content; }
  void updateHome(const HomeScreen& content) override { home = content; }
  void hideHome() override {}
  void showFull() override { fullShown = true; }
  void hideFull() override { fullShown = false; }
  std::shared_ptr<VideoDisplay> videoDisplay() override { return std::make_shared<Display>(); }
  PixelSize viewSize() override { return {1000, 1000}; }
  void setPointerImage(std::shared_ptr<const platform::PointerImage>) override {}
  void placePointer(std::optional<ViewRect>) override {}
  ScreenMetrics screenMetrics() override { return {}; }
};

class ScreenControllerTest : public testing::Test {
 protected:
  ~ScreenControllerTest() override { queues_.run(); }
  void start() {
    queues_.main()->sync([this] { controller_.start(); });
    queues_.run();
  }
  std::shared_ptr<test::FakeConnection> connect() {
    auto connection = network_.arrive();
    queues_.run();
    return connection;
  }
  test::TemporaryFolder folder_;
  test::VirtualQueues queues_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  test::FakeNetwork network_;
  test::FakeDiscovery discovery_;
  test::FakeWorkspace workspace_;
  FakeWindows windows_;
  const std::unique_ptr<platform::VideoDecoding> decoding_ = platform::createVideoDecoding(queues_);
  ScreenController controller_{{{queues_, network_, discovery_, *decoding_}, workspace_, windows_},
                               defaults_};
};

TEST_F(ScreenControllerTest, KeepsAwakeAndOpensAtLoginAsTheUserSays) {
  defaults_.set("deviceID", "mine");
  start();
  EXPECT_TRUE(workspace_.atLogin);
  EXPECT_EQ(workspace_.activities, 1);
  const auto first = connect();
  const Hello hello{1920, 1080, {}, 1, "mine", "", {}};
  EXPECT_EQ(first->sent.at(0), framing::message(Proto::hello, hello.encoded()));
  EXPECT_TRUE(workspace_.options.latencyCritical);
  // One that replaces it keeps the window up, and keeps awake once.
  connect();
  EXPECT_TRUE(first->cancelled);
  EXPECT_TRUE(windows_.fullShown);
  EXPECT_EQ(workspace_.activities, 2);
  windows_.onEscape();
  queues_.run();
  EXPECT_FALSE(windows_.fullShown);
  EXPECT_EQ(workspace_.activities, 1);

  for (const bool on : {false, true}) {
    windows_.home.keepAwake.set(on);
    windows_.home.openAtLogin.set(on);
    EXPECT_EQ(windows_.home.keepAwake.on, on);
    EXPECT_EQ(workspace_.atLogin, on);
    EXPECT_EQ(workspace_.activities, on ? 1 : 0);
    EXPECT_EQ(defaults_.boolean("keepAwake"), on);
  }
}

class LatestPictureTest : public testing::Test {
 protected:
  struct Plain final : platform::VideoPicture {
    explicit Plain(PixelSize wanted) : bytes(std::size_t{64} * 64, 100) {
      size = wanted;
      for (auto& plane : planes) plane = {bytes.data(), 64};
    }
    Bytes bytes;
  };
  LatestPictureTest() {
    latest_->onPicture = [this](LatestPicture::Picture picture, std::optional<PixelRect> changed) {
      shown_.push_back(picture ? picture->size : PixelSize{});
      changed_ = changed;
    };
  }
  void show(PixelSize size, std::optional<PixelRect> changed = std::nullopt) {
    auto picture = std::make_shared<Plain>(size);
    picture->changed = changed;
    latest_->show(std::move(picture));
  }

  test::VirtualQueues queues_;
  const std::unique_ptr<platform::VideoDecoding> decoding_ = platform::createVideoDecoding(queues_);
  const std::shared_ptr<LatestPicture> latest_ =
      std::make_shared<LatestPicture>(queues_, *decoding_);
  std::vector<PixelSize> shown_;
  std::optional<PixelRect> changed_;
};

TEST_F(LatestPictureTest, ChangesThatNobodySawAreThoseOfTheNextPicture) {
  using Area = std::optional<PixelRect>;
  show({40, 40});
  queues_.run();
  EXPECT_EQ(changed_, Area());
  show({40, 40}, PixelRect{16, 0, 16, 16});
  show({40, 40}, PixelRect{});
  show({40, 40}, PixelRect{0, 16, 16, 16});
  queues_.run();
  EXPECT_EQ(changed_, Area({0, 0, 32, 32}));
  show({40, 40}, PixelRect{0, 16, 16, 16});
  queues_.run();
  EXPECT_EQ(changed_, Area({0, 16, 16, 16}));
  show({40, 40});
  show({40, 40}, PixelRect{0, 16, 16, 16});
  queues_.run();
  EXPECT_EQ(changed_, Area());
  // What was scaled shares no pixel with the picture that it was made of.
  latest_->scaleTo({20, 20});
  show({40, 40}, PixelRect{0, 16, 16, 16});
  queues_.run();
  EXPECT_EQ(changed_, Area());
}

TEST_F(LatestPictureTest, TheNewestWinsWhetherOrNotItIsScaled) {
  using Sizes = std::vector<PixelSize>;
  show({40, 40});
  show({42, 42});
  queues_.run();
  EXPECT_EQ(shown_, (Sizes{{42, 42}}));
  latest_->scaleTo({20, 40});
  queues_.run();
  EXPECT_EQ(shown_, (Sizes{{42, 42}, {20, 20}}));
  show({40, 20});
  show({20, 20});  // fits as it is, and overtakes the one that is being scaled
  queues_.run();
  EXPECT_EQ(shown_.back(), (PixelSize{20, 20}));
  // What is over does not come back from the scaler.
  show({40, 20});
  latest_->show(nullptr);
  queues_.run();
  EXPECT_EQ(shown_.back(), PixelSize{});
}

}  // namespace
}  // namespace tessaline
