// Small changes are coded beside x264, on its reference picture: what decoders show must stay what
// both believe it to be, whatever takes turns.

#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "platform/common/media/ChangedArea.h"
#include "platform/common/media/EncoderRecipes.h"
#include "platform/common/media/H264Decoder.h"
#include "platform/media/PictureMaker.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr int kBitRate = 25'000'000;

int at(const VideoPicture& picture, std::size_t plane, int x, int y) {
  const auto& [data, stride] = picture.planes[plane];
  return data[y * stride + x];
}

/// The largest difference of any pixel of any plane inside `rect`.
int largestError(const PixelBuffer& original, const VideoPicture& decoded, const PixelRect& rect) {
  int worst = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y) {
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      const int luma = original.luma()[y * original.stride() + x];
      worst = std::max(worst, std::abs(luma - at(decoded, 0, x, y)));
      if (x % 2 != 0 || y % 2 != 0) continue;
      const std::uint8_t* pair = original.chroma() + y / 2 * original.stride() + x;
      for (const std::size_t plane : {1U, 2U}) {
        const int error = pair[plane - 1] - at(decoded, plane, x / 2, y / 2);
        worst = std::max(worst, std::abs(error));
      }
    }
  }
  return worst;
}

bool equalOutside(const VideoPicture& a, const VideoPicture& b, const PixelRect& area) {
  for (int y = 0; y < a.size.height; ++y) {
    for (int x = 0; x < a.size.width; ++x) {
      if (area.contains(x, y)) continue;
      if (at(a, 0, x, y) != at(b, 0, x, y)) return false;
      for (const std::size_t plane : {1U, 2U}) {
        if (at(a, plane, x / 2, y / 2) != at(b, plane, x / 2, y / 2)) return false;
      }
    }
  }
  return true;
}

Bytes pixelsOf(const VideoPicture& picture) {
  Bytes pixels;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    const int share = plane == 0 ? 1 : 2;
    for (int y = 0; y < picture.size.height / share; ++y) {
      const auto& [data, stride] = picture.planes[plane];
      const auto* const row = data + std::ptrdiff_t{y} * stride;
      pixels.insert(pixels.end(), row, row + picture.size.width / share);
    }
  }
  return pixels;
}

/// The access unit without what it says beside its slices.
Bytes withoutNotes(ByteView accessUnit) {
  ByteReader reader(accessUnit);
  ByteWriter slices;
  while (const auto length = reader.u32()) {
    const ByteView unit = reader.take(*length).value();
    if ((unit[0] & 31) != kUserDataUnit) slices.u32(*length).append(unit);
  }
  return slices.take();
}

class PatchCoding : public testing::TestWithParam<PixelSize> {
 protected:
  using Picture = std::shared_ptr<const VideoPicture>;

  /// Codes what is on the desktop and decodes it, once as it is and once all of it. A picture is
  /// to stay as it is while somebody shows it.
  std::shared_ptr<const VideoPicture> show(FrameNotes notes) {
    time_ += 200ms;
    source_ = desktop_.converted();
    const auto coded = encoder_->encode(source_, time_, notes);
    if (!coded) return nullptr;
    bytes_ = coded->data->size();
    for (auto* const decoder : {&decoder_, &wholeDecoder_}) {
      if (*decoder) continue;
      *decoder = H264Decoder::open({*coded->parameterSets, size_}, H264Decoder::Device::none);
    }
    const Picture picture = decoder_->decode(*coded->data);
    const Picture whole = wholeDecoder_->decode(withoutNotes(*coded->data));
    if (!picture || !whole) return nullptr;
    shown_.emplace_back(picture, pixelsOf(*picture));
    EXPECT_TRUE(shown_.back().second == pixelsOf(*whole));
    if (shown_.size() > 3) {
      EXPECT_TRUE(shown_.front().second == pixelsOf(*shown_.front().first));
      shown_.pop_front();
    }
    return picture;
  }
  PixelRect somewhere(int width, int height) {
    const int x = static_cast<int>(random_() % static_cast<unsigned>(size_.width)) - width / 2;
    const int y = static_cast<int>(random_() % static_cast<unsigned>(size_.height)) - height / 2;
    return intersected({x & ~1, y & ~1, width, height}, {0, 0, size_.width, size_.height});
  }
  void paint(const PixelRect& rect) {
    if (random_() % 2 == 0) {
      desktop_.fill(rect, static_cast<std::uint32_t>(random_()) & 0xFFFFFF);
    } else {
      desktop_.noise(rect, random_);
    }
  }
  /// Moves the picture, so that what was outside of its reference is asked for.
  void pan(int dx, int dy) {
    const Desktop before = desktop_;
    for (int y = 0; y < size_.height; ++y) {
      for (int x = 0; x < size_.width; ++x) {
        const int fromX = std::clamp(x + dx, 0, size_.width - 1);
        const int fromY = std::clamp(y + dy, 0, size_.height - 1);
        desktop_.at(x, y) = before.pixels[before.index(fromX, fromY)];
      }
    }
  }

  const PixelSize size_ = GetParam();
  std::mt19937 random_{5};
  Desktop desktop_{size_};
  std::shared_ptr<PixelBuffer> source_;
  CompressionOptions options_{.size = size_, .averageBitRate = kBitRate, .maxKeyFrameInterval = 90};
  std::unique_ptr<X264Encoder> encoder_ = X264Encoder::open(x264Recipe(1), options_);
  std::unique_ptr<H264Decoder> decoder_;
  std::unique_ptr<H264Decoder> wholeDecoder_;
  std::deque<std::pair<Picture, Bytes>> shown_;
  Clock::time_point time_;
  std::size_t bytes_ = 0;
};

TEST_P(PatchCoding, NeitherCoderLosesTrackOfTheOthersPictures) {
  ASSERT_TRUE(encoder_);
  constexpr int kVisible = 24;  // of 255: coding errors are smaller, another picture is not
  const PixelRect whole{0, 0, size_.width, size_.height};
  for (int frame = 0; frame < 400; ++frame) {
    SCOPED_TRACE(frame);
    if (frame % 7 == 3) {
      pan(static_cast<int>(random_() % 41) - 20, static_cast<int>(random_() % 41) - 20);
      ASSERT_TRUE(show({}));
      continue;
    }
    std::vector<PixelRect> changed;
    for (unsigned i = 0; i < random_() % 4; ++i) {
      changed.push_back(somewhere(8 + static_cast<int>(random_() % 40), 18));
      paint(changed.back());
    }
    const auto picture = show({.changed = changed});
    ASSERT_TRUE(picture);
    for (const auto& rect : changed) {
      EXPECT_LE(largestError(*source_, *picture, rect), kVisible + 40);
    }
  }
  // Whatever is wrong by now is not what the coders believe, and they will never mend it.
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(show({.refine = true}));
  const auto picture = show({.changed = std::vector<PixelRect>()});
  ASSERT_TRUE(picture);
  EXPECT_LE(largestError(*source_, *picture, whole), kVisible);
}

TEST_P(PatchCoding, SaysWhereAPictureDiffersFromTheOneBefore) {
  ASSERT_TRUE(encoder_);
  std::shared_ptr<const VideoPicture> before;
  int said = 0, windows = 0;
  for (int frame = 0; frame < 60; ++frame) {
    SCOPED_TRACE(frame);
    std::vector<PixelRect> changed;
    // A window in which something else appears is left to x264, letters are not.
    if (frame % 9 == 4) {
      changed.push_back(somewhere(size_.width / 2, size_.height / 2));
    } else if (frame % 9 != 7) {
      changed.push_back(somewhere(8 + static_cast<int>(random_() % 40), 18));
    }
    for (const auto& rect : changed) paint(rect);
    const auto picture = show({.changed = changed, .refine = frame % 7 == 5});
    ASSERT_TRUE(picture);
    if (picture->changed && before) {
      ++said;
      windows +=
          changed.size() == 1 && changed[0].height > 100 && picture->changed->width < size_.width;
      EXPECT_TRUE(equalOutside(*picture, *before, *picture->changed));
    }
    before = picture;
  }
  EXPECT_GT(said, 40);
  EXPECT_TRUE(windows > 2 || size_.width < 600);
  // After a picture that nobody could decode anything may be different.
  EXPECT_FALSE(decoder_->decode(Bytes(9)));
  const auto picture = show({.changed = std::vector<PixelRect>()});
  ASSERT_TRUE(picture);
  EXPECT_FALSE(picture->changed);
}

// Whoever sends may mean harm.
TEST_P(PatchCoding, BrokenPicturesDoNoHarmAndTheNextKeyFrameIsShown) {
  ASSERT_TRUE(show({}));
  for (int frame = 1; frame < 300; ++frame) {
    SCOPED_TRACE(frame);
    const bool keyFrame = frame % 20 == 0;
    const auto rect = somewhere(8 + static_cast<int>(random_() % 40), 18);
    paint(rect);
    time_ += 200ms;
    const auto coded = encoder_->encode(desktop_.converted(), time_,
                                        {.keyFrame = keyFrame, .changed = std::vector{rect}});
    ASSERT_TRUE(coded);
    Bytes sent = *coded->data;
    if (frame % 3 == 0 && !keyFrame) {  // says that more has changed than there is
      sent = changedAreaUnit({1, 1, 16'000, frame % 2 == 0 ? 16'000 : 1});
      const Bytes slices = withoutNotes(*coded->data);
      sent.insert(sent.end(), slices.begin(), slices.end());
    }
    for (int i = 0; i < 3 && frame % 2 == 0 && !keyFrame; ++i) {
      sent[sent.size() - 1 - random_() % (sent.size() / 2)] = static_cast<std::uint8_t>(random_());
    }
    const Picture picture = decoder_->decode(sent);
    if (keyFrame) {
      EXPECT_TRUE(picture);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, PatchCoding,
                         testing::Values(PixelSize{640, 368}, PixelSize{322, 198},
                                         PixelSize{66, 50}));

using SmallChange = PatchCoding;

TEST_P(SmallChange, CostsWhatItsSizeIsAndNotThePictures) {
  ASSERT_TRUE(show({}));
  ASSERT_TRUE(show({.changed = std::vector<PixelRect>()}));
  EXPECT_LT(bytes_, 64U) << "a picture that is the same";
  const PixelRect letter{100, 100, 10, 18};
  paint(letter);
  const auto picture = show({.changed = std::vector{letter}});
  ASSERT_TRUE(picture);
  EXPECT_LT(bytes_, 1500U);
  EXPECT_LE(largestError(*source_, *picture, letter), 24);
}

INSTANTIATE_TEST_SUITE_P(Sizes, SmallChange, testing::Values(PixelSize{3840, 2160}));

}  // namespace
}  // namespace tessaline::platform
