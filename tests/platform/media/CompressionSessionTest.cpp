#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyuv/convert_argb.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <thread>

#include "base/AsioQueue.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/media/HeaderTrace.h"
#include "platform/media/PictureMaker.h"
#include "platform/media/StreamDecoder.h"
#include "support/VirtualQueues.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr int kFrameRate = 60;
constexpr auto kFrameTime = std::chrono::duration_cast<Duration>(1s) / kFrameRate;

/// A session over the real encoder whose output is waited for.
class Coder {
 public:
  Coder(VideoCoding& coding, PixelSize size, int bitRate = 25'000'000) {
    CompressionOptions options;
    options.size = size;
    options.averageBitRate = bitRate;
    auto created = coding.createCompressionSession(
        options, {.onOutput = [this](std::optional<CodedFrame> frame) {
          const std::lock_guard lock(mutex_);
          outputs_.push_back(std::move(frame));
          arrived_.notify_all();
        }});
    if (created) session_ = std::move(*created);
  }

  std::optional<CodedFrame> next() {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, 30s, [&] { return !outputs_.empty(); })) {
      ADD_FAILURE() << "no output";
      return std::nullopt;
    }
    auto frame = std::move(outputs_.front());
    outputs_.pop_front();
    return frame;
  }

  /// `frame`, one frame's time (or `gap`) after the one before.
  std::optional<CodedFrame> code(std::shared_ptr<const PixelBuffer> frame, bool force = false,
                                 Duration gap = kFrameTime) {
    time_ += gap;
    session_->encode(std::move(frame), time_, force);
    return next();
  }

  CompressionSession& session() { return *session_; }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::optional<CodedFrame>> outputs_;
  Clock::time_point time_;
  std::unique_ptr<CompressionSession> session_;  // last: its output uses the rest
};

std::vector<int> unitTypes(const CodedFrame& frame) {
  std::vector<int> types;
  ByteReader reader(*frame.data);
  while (!reader.rest().empty()) {
    const auto length = reader.u32();
    const auto unit = length ? reader.take(*length) : std::nullopt;
    if (!unit || unit->empty()) return {};
    types.push_back(unit->front() & 31);
  }
  return types;
}

class Compression : public testing::Test {
 protected:
  AsioQueues queues_;
  const std::unique_ptr<VideoCoding> coding_ = createVideoCoding(queues_);
};

struct SizeCase {
  PixelSize size;
  int level;  // the lowest that holds the pictures at 60 a second, or the bit rate
};

class CompressionSizes : public Compression, public testing::WithParamInterface<SizeCase> {};

TEST_P(CompressionSizes, MakeAConstrainedHighStreamThatDecodesAtOnce) {
  const auto [size, level] = GetParam();
  Coder coder(*coding_, size);
  StreamDecoder decoder;
  for (int i = 0; i < 3; ++i) {
    const auto picture = makePicture(size, i);
    const auto coded = coder.code(picture);
    ASSERT_TRUE(coded);
    EXPECT_EQ(coded->keyFrame, i == 0);
    EXPECT_EQ(coded->parameterSets.has_value(), i == 0);
    EXPECT_THAT(unitTypes(*coded), testing::Each(i == 0 ? 5 : 1));
    EXPECT_FALSE(unitTypes(*coded).empty());
    if (i == 0) {
      const HeaderTrace set = traceHeader(coded->parameterSets->sequence);
      EXPECT_EQ(coded->parameterSets->sequence.at(2), 0x0C) << "the two constraint flags only";
      for (const auto& [name, value] : HeaderTrace{{"profile_idc", 100},
                                                   {"level_idc", level},
                                                   {"max_num_ref_frames", 1},
                                                   {"bitstream_restriction_flag", 1},
                                                   {"max_num_reorder_frames", 0},
                                                   {"max_dec_frame_buffering", 1}}) {
        EXPECT_EQ(valueOf(set, name), value) << name;
      }
    }
    const auto decoded = decoder.decode(*coded);
    ASSERT_TRUE(decoded) << "a decoder may hold nothing back";
    EXPECT_EQ((PixelSize{decoded->width, decoded->height}), size);
    EXPECT_GT(lumaPsnr(*picture, *decoded), 30);
  }
  const AVCodecContext& stream = decoder.stream();
  EXPECT_EQ(stream.has_b_frames, 0);
  EXPECT_EQ(stream.color_range, AVCOL_RANGE_MPEG);
  EXPECT_EQ(stream.colorspace, AVCOL_SPC_SMPTE170M);
  EXPECT_EQ(stream.color_primaries, AVCOL_PRI_BT709);
  EXPECT_EQ(stream.color_trc, AVCOL_TRC_IEC61966_2_1);
}

INSTANTIATE_TEST_SUITE_P(Sizes, CompressionSizes,
                         testing::Values(SizeCase{{1920, 1080}, 42}, SizeCase{{1366, 768}, 42},
                                         SizeCase{{2732, 2048}, 52}, SizeCase{{1170, 2532}, 51},
                                         SizeCase{{2, 2}, 32}, SizeCase{{18, 34}, 32}));

TEST_F(Compression, KeepsColours) {
  const PixelSize size{320, 64};
  const std::vector<std::uint32_t> colours = {0xFF0000, 0x00FF00, 0x0000FF, 0x808080, 0xC03020};
  Desktop desktop(size);
  for (std::size_t i = 0; i < colours.size(); ++i) {
    desktop.fill({static_cast<int>(i) * 64, 0, 64, 64}, colours[i]);
  }
  Coder coder(*coding_, size);
  const auto coded = coder.code(desktop.converted());
  ASSERT_TRUE(coded);
  StreamDecoder decoder;
  const auto decoded = decoder.decode(*coded);
  ASSERT_TRUE(decoded);
  std::vector<std::uint8_t> bgra(std::size_t{4} * 320 * 64);
  libyuv::I420ToARGB(decoded->data[0], decoded->linesize[0], decoded->data[1], decoded->linesize[1],
                     decoded->data[2], decoded->linesize[2], bgra.data(), size.width * 4,
                     size.width, size.height);
  for (std::size_t i = 0; i < colours.size(); ++i) {
    const std::size_t at = (std::size_t{32} * 320 + i * 64 + 32) * 4;
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const int wanted = static_cast<int>(colours[i] >> (8 * channel) & 0xFF);
      EXPECT_NEAR(bgra[at + channel], wanted, 6) << std::hex << colours[i];
    }
  }
}

TEST_F(Compression, MakesKeyFramesWhenAskedAndEverySixHundredFramesOnly) {
  const PixelSize size{64, 48};
  std::mt19937 random(1);
  Coder coder(*coding_, size);
  std::vector<int> keys;
  for (int i = 0; i < 620; ++i) {
    // Every picture a new scene: that is no reason for a key frame.
    const auto coded =
        coder.code(i % 2 == 0 ? makeNoise(size, random) : makePicture(size, i), i == 7);
    ASSERT_TRUE(coded);
    EXPECT_EQ(coded->parameterSets.has_value(), coded->keyFrame);
    if (coded->keyFrame) {
      EXPECT_THAT(unitTypes(*coded), testing::Each(5));
      keys.push_back(i);
    }
  }
  EXPECT_THAT(keys, testing::ElementsAre(0, 7, 607));
}

TEST(CompressionMailbox, ANewerFrameReplacesTheWaitingOneAndInheritsItsKeyDemand) {
  test::VirtualQueues queues;
  const auto coding = createVideoCoding(queues);
  const PixelSize size{64, 48};
  std::vector<CodedFrame> outputs;
  std::vector<int> pending;
  std::unique_ptr<CompressionSession> session;
  auto created =
      coding->createCompressionSession({.size = size, .averageBitRate = 1'000'000},
                                       {.onOutput = [&](std::optional<CodedFrame> frame) {
                                         ASSERT_TRUE(frame);
                                         outputs.push_back(std::move(*frame));
                                         pending.push_back(session->pendingFrames());
                                       }});
  ASSERT_TRUE(created);
  session = std::move(*created);
  const Clock::time_point start;
  session->encode(makePicture(size, 0), start, false);
  queues.run();
  const auto replaced = makePicture(size, 1);
  session->encode(replaced, start + 1s, true);
  session->encode(makePicture(size, 2), start + 2s, false);
  session->encode(makePicture(size, 3), start + 3s, false);
  EXPECT_EQ(replaced.use_count(), 1) << "a replaced frame goes back to its pool at once";
  EXPECT_EQ(session->pendingFrames(), 1);
  queues.run();
  ASSERT_EQ(outputs.size(), 2U);
  EXPECT_TRUE(outputs[1].keyFrame);
  EXPECT_EQ(outputs[1].presentationTime, start + 3s);
  EXPECT_THAT(pending, testing::Each(0)) << "what is being delivered waits no more";

  // The end takes the waiting frame with it, even where its queue lives on.
  const auto dropped = makePicture(size, 4);
  session->encode(dropped, start + 4s, false);
  session.reset();
  EXPECT_EQ(dropped.use_count(), 1);
  queues.run();
  EXPECT_EQ(outputs.size(), 2U);
}

TEST_F(Compression, KeepsTheBitRateUnderTheHardestContent) {
  const PixelSize size{1280, 720};
  constexpr int kBitRate = 12'000'000;
  const double frameBytes = kBitRate / 8.0 / kFrameRate;
  std::mt19937 random(3);
  Coder coder(*coding_, size, kBitRate);
  std::vector<double> bytes;
  double sum = 0;
  for (int i = 0; i < 60; ++i) {
    const auto coded = coder.code(makeNoise(size, random));
    ASSERT_TRUE(coded);
    bytes.push_back(static_cast<double>(coded->data->size()));
    sum += bytes.back();
  }
  // A second of it, and the window that a quiet time before had filled.
  EXPECT_LT(sum, frameBytes * (60 * 1.1 + 8));
  EXPECT_GT(sum, frameBytes * 60 * 0.7) << "or the pictures are worse than they need to be";
  for (std::size_t i = 30; i < bytes.size(); ++i) EXPECT_LT(bytes[i], frameBytes * 3);
}

TEST_F(Compression, AQuietTimeFillsTheWindowAgain) {
  const PixelSize size{1280, 720};
  constexpr int kBitRate = 12'000'000;
  const double frameBytes = kBitRate / 8.0 / kFrameRate;
  std::mt19937 random(4);
  Coder coder(*coding_, size, kBitRate);
  const auto meanOf = [&](int count, Duration gap) {
    double sum = 0;
    for (int i = 0; i < count; ++i) {
      const auto coded = coder.code(makeNoise(size, random), false, gap);
      if (coded) sum += static_cast<double>(coded->data->size());
    }
    return sum / count;
  };
  meanOf(10, kFrameTime);
  const double crowded = meanOf(10, kFrameTime);
  meanOf(2, 1s);
  const double spread = meanOf(10, 1s);
  meanOf(10, kFrameTime);
  const double crowdedAgain = meanOf(10, kFrameTime);
  EXPECT_LT(crowded, frameBytes * 1.3);
  EXPECT_GT(spread, frameBytes * 2);
  EXPECT_LT(crowdedAgain, frameBytes * 1.3);
}

TEST_F(Compression, AStillPictureIsDoneAfterAFewFrames) {
  const PixelSize size{1280, 720};
  const auto still = makePicture(size, 2);
  Coder coder(*coding_, size);
  StreamDecoder decoder;
  for (int i = 0; i < 10; ++i) {
    const auto coded = coder.code(still);
    ASSERT_TRUE(coded);
    const auto decoded = decoder.decode(*coded);
    ASSERT_TRUE(decoded);
    if (i < 9) continue;
    EXPECT_LT(coded->data->size(), 500U);
    EXPECT_GT(lumaPsnr(*still, *decoded), 42);
  }
}

TEST_F(Compression, ReportsWhatCannotBeCodedAndGoesOn) {
  Coder coder(*coding_, {64, 48});
  ASSERT_TRUE(coder.code(makePicture({64, 48}, 0)));
  EXPECT_FALSE(coder.code(makePicture({32, 32}, 0)));
  EXPECT_FALSE(coder.code(nullptr));
  const auto coded = coder.code(makePicture({64, 48}, 1), true);
  ASSERT_TRUE(coded);
  EXPECT_TRUE(coded->keyFrame);
  for (const PixelSize size : {PixelSize{0, 0}, PixelSize{1, 9}, PixelSize{100'000, 100'000}}) {
    auto refused = coding_->createCompressionSession({.size = size, .averageBitRate = 1'000}, {});
    ASSERT_FALSE(refused);
    EXPECT_LT(std::stoi(refused.error()), 0) << "a decimal status";
  }
}

TEST_F(Compression, NothingComesOutAfterTheEnd) {
  const PixelSize size{640, 360};
  for (int round = 0; round < 20; ++round) {
    std::atomic<bool> ended = false;
    std::atomic<int> late = 0;
    auto session = coding_->createCompressionSession({.size = size, .averageBitRate = 8'000'000},
                                                     {.onOutput = [&](const auto&) {
                                                       if (ended) ++late;
                                                     }});
    ASSERT_TRUE(session);
    for (int i = 0; i < 3; ++i) {
      (*session)->encode(makePicture(size, i), Clock::time_point() + i * kFrameTime, false);
      if (i < round % 3) std::this_thread::yield();
    }
    session = Failure{};
    ended = true;
    EXPECT_EQ(late, 0);
  }
}

TEST_F(Compression, SaysInOneLineWhichEncoderRuns) {
  testing::internal::CaptureStderr();
  { const Coder coder(*coding_, {64, 48}); }
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_THAT(text, testing::StartsWith("[Tessaline] encoder: "));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
}

}  // namespace
}  // namespace tessaline::platform
