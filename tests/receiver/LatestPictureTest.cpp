#include "receiver/LatestPicture.h"

#include <gtest/gtest.h>

#include "platform/common/media/MediaVideoDecoding.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

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
