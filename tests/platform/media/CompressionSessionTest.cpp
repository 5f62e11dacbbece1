#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "base/AsioQueue.h"
#include "platform/common/media/H264Decoder.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/common/media/PictureConversion.h"
#include "platform/common/media/SequenceParameterSet.h"
#include "platform/media/FrameCoder.h"
#include "platform/media/PictureMaker.h"
#include "support/VirtualQueues.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr int kFrameRate = 60;
constexpr auto kFrameTime = std::chrono::duration_cast<Duration>(1s) / kFrameRate;

class Compression : public testing::Test {
 protected:
  AsioQueues queues_;
  const std::unique_ptr<VideoCoding> coding_ = createVideoCoding(queues_);
};

double meanLumaError(const PixelBuffer& original, const VideoPicture& decoded) {
  const auto& [data, stride] = decoded.planes[0];
  double sum = 0;
  for (int y = 0; y < decoded.size.height; ++y) {
    for (int x = 0; x < decoded.size.width; ++x) {
      sum += std::abs(original.luma()[y * original.stride() + x] - data[y * stride + x]);
    }
  }
  return sum / (static_cast<double>(decoded.size.width) * decoded.size.height);
}

struct SizeCase {
  PixelSize size;
  std::uint8_t level;  // the lowest that holds the pictures at 60 a second, or the bit rate
};

class CompressionSizes : public Compression, public testing::WithParamInterface<SizeCase> {};

TEST_P(CompressionSizes, MakeAConstrainedHighStreamThatDecodesAtOnce) {
  const auto [size, level] = GetParam();
  test::FrameCoder coder(*coding_, size);
  std::unique_ptr<H264Decoder> decoder;
  for (int i = 0; i < 3; ++i) {
    const auto picture = makePicture(size, i);
    const auto coded = coder.tryCode(picture);
    ASSERT_TRUE(coded);
    EXPECT_EQ(coded->keyFrame, i == 0);
    EXPECT_EQ(coded->parameterSets.has_value(), i == 0);
    if (i == 0) {
      const Bytes& sequence = coded->parameterSets->sequence;
      EXPECT_EQ(sequence.at(1), 100) << "High";
      EXPECT_EQ(sequence.at(2), 0x0C) << "the two constraint flags only";
      EXPECT_EQ(sequence.at(3), level);
      Bytes completed = sequence;
      completeSequenceParameterSet(completed);
      EXPECT_EQ(completed, sequence) << "decoders are not told that they need hold nothing back";
      decoder = H264Decoder::open({*coded->parameterSets, size}, H264Decoder::Device::none);
    }
    const auto decoded = decoder->decode(*coded->data);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->size, size);
    EXPECT_EQ(decoded->matrix, VideoPicture::Matrix::bt601);
    EXPECT_FALSE(decoded->fullRange);
    EXPECT_LT(meanLumaError(*picture, *decoded), 6);
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, CompressionSizes,
                         testing::Values(SizeCase{{1920, 1080}, 42}, SizeCase{{1366, 768}, 42},
                                         SizeCase{{2732, 2048}, 52}, SizeCase{{1170, 2532}, 51},
                                         SizeCase{{2, 2}, 32}, SizeCase{{18, 34}, 32}));

TEST_F(Compression, MakesKeyFramesWhenAskedAndEverySixHundredFramesOnly) {
  const PixelSize size{64, 48};
  std::mt19937 random(1);
  test::FrameCoder coder(*coding_, size);
  std::vector<int> keys;
  for (int i = 0; i < 620; ++i) {
    // Every picture a new scene: that is no reason for a key frame.
    const auto coded =
        coder.tryCode(i % 2 == 0 ? makeNoise(size, random) : makePicture(size, i), i == 7);
    ASSERT_TRUE(coded);
    EXPECT_EQ(coded->parameterSets.has_value(), coded->keyFrame);
    if (coded->keyFrame) keys.push_back(i);
  }
  EXPECT_THAT(keys, testing::ElementsAre(0, 7, 607));
}

TEST_F(Compression, CodesCoarsePicturesAtHalfTheSizeAndEachChangeOfSizeIsAKeyFrame) {
  constexpr PixelSize kSize{322, 182};
  constexpr PixelSize kHalf{160, 90};  // whole chroma samples
  test::FrameCoder coder(*coding_, kSize);
  std::unique_ptr<H264Decoder> decoder;
  int number = 0;
  for (const bool coarse : {false, true, false, true}) {
    coder.coarse = coarse;
    const PixelSize size = coarse ? kHalf : kSize;
    for (int i = 0; i < 3; ++i, ++number) {
      const auto coded = coder.tryCode(makePicture(kSize, number));
      ASSERT_TRUE(coded) << number;
      EXPECT_EQ(coded->keyFrame, i == 0) << number;
      EXPECT_EQ(coded->coarse, coarse) << number;
      if (i == 0) {
        decoder = H264Decoder::open({*coded->parameterSets, size}, H264Decoder::Device::none);
      }
      const auto decoded = decoder->decode(*coded->data);
      ASSERT_TRUE(decoded) << number;
      EXPECT_EQ(decoded->size, size) << number;
      const auto whole = scalePicture(*decoded, kSize);
      EXPECT_LT(meanLumaError(*makePicture(kSize, number), *whole), coarse ? 12 : 6) << number;
    }
  }
}

TEST(CompressionMailbox, ANewerFrameReplacesTheWaitingOneAndInheritsItsKeyDemand) {
  test::VirtualQueues queues;
  const auto coding = createVideoCoding(queues);
  const PixelSize size{64, 48};
  std::vector<CodedFrame> outputs;
  auto created =
      coding->createCompressionSession({.size = size, .averageBitRate = 1'000'000},
                                       {.onOutput = [&](std::optional<CodedFrame> frame) {
                                         ASSERT_TRUE(frame);
                                         outputs.push_back(std::move(*frame));
                                       }});
  ASSERT_TRUE(created);
  auto session = std::move(*created);
  const Clock::time_point start;
  session->encode(makePicture(size, 0), start, {});
  queues.run();
  const auto replaced = makePicture(size, 1);
  session->encode(replaced, start + 1s, {.keyFrame = true});
  session->encode(makePicture(size, 2), start + 2s, {});
  session->encode(makePicture(size, 3), start + 3s, {});
  EXPECT_EQ(replaced.use_count(), 1) << "a replaced frame goes back to its pool at once";
  EXPECT_EQ(session->pendingFrames(), 1);
  queues.run();
  ASSERT_EQ(outputs.size(), 2U);
  EXPECT_TRUE(outputs[1].keyFrame);
  EXPECT_EQ(outputs[1].presentationTime, start + 3s);

  // The end takes the waiting frame with it, even where its queue lives on.
  const auto dropped = makePicture(size, 4);
  session->encode(dropped, start + 4s, {});
  session.reset();
  EXPECT_EQ(dropped.use_count(), 1);
  queues.run();
  EXPECT_EQ(outputs.size(), 2U);
}

TEST_F(Compression, KeepsTheBitRateUnderTheHardestContentAndAQuietTimeFillsTheWindowAgain) {
  const PixelSize size{1280, 720};
  constexpr int kBitRate = 12'000'000;
  const double frameBytes = kBitRate / 8.0 / kFrameRate;
  std::mt19937 random(3);
  test::FrameCoder coder(*coding_, size, kBitRate);
  double largest = 0;
  const auto meanOf = [&](int count, Duration gap) {
    double sum = 0;
    largest = 0;
    for (int i = 0; i < count; ++i) {
      const auto coded = coder.tryCode(makeNoise(size, random), false, gap);
      const double bytes = coded ? static_cast<double>(coded->data->size()) : 0;
      sum += bytes;
      largest = std::max(largest, bytes);
    }
    return sum / count;
  };
  // A second of it, and the window that a quiet time before had filled.
  const double first = meanOf(30, kFrameTime);
  const double crowded = meanOf(30, kFrameTime);
  EXPECT_LT(first + crowded, frameBytes * (2 * 1.1 + 8 / 30.0));
  EXPECT_GT(first + crowded, frameBytes * 2 * 0.7) << "or the pictures are worse than need be";
  EXPECT_LT(crowded, frameBytes * 1.3);
  EXPECT_LT(largest, frameBytes * 3);
  meanOf(2, 1s);
  EXPECT_GT(meanOf(10, 1s), frameBytes * 2);
  meanOf(10, kFrameTime);
  EXPECT_LT(meanOf(10, kFrameTime), frameBytes * 1.3);
}

TEST_F(Compression, ReportsWhatCannotBeCodedAndGoesOn) {
  test::FrameCoder coder(*coding_, {64, 48});
  ASSERT_TRUE(coder.tryCode(makePicture({64, 48}, 0)));
  EXPECT_FALSE(coder.tryCode(makePicture({32, 32}, 0)));
  EXPECT_FALSE(coder.tryCode(nullptr));
  const auto coded = coder.tryCode(makePicture({64, 48}, 1), true);
  ASSERT_TRUE(coded);
  EXPECT_TRUE(coded->keyFrame);
  for (const PixelSize size : {PixelSize{0, 0}, PixelSize{1, 9}, PixelSize{100'000, 100'000}}) {
    auto refused = coding_->createCompressionSession({.size = size, .averageBitRate = 1'000}, {});
    ASSERT_FALSE(refused);
    EXPECT_LT(std::stoi(refused.error()), 0) << "a decimal status";
  }
}

}  // namespace
}  // namespace tessaline::platform
