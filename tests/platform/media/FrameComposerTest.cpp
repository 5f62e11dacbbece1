#include "platform/common/media/FrameComposer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

#include "platform/media/PictureMaker.h"

namespace tessaline::platform {
namespace {

PixelPatch patchOf(const Desktop& desktop, PixelRect rect) {
  return {rect, desktop.bytes(rect.x, rect.y), desktop.stride()};
}

/// The first row in which two pictures differ, -1 when they are equal.
int difference(const PixelBuffer& actual, const PixelBuffer& expected) {
  const PixelSize size = expected.size();
  for (int y = 0; y < size.height; ++y) {
    const std::ptrdiff_t luma = std::ptrdiff_t{y} * expected.stride();
    const std::ptrdiff_t chroma = std::ptrdiff_t{y} / 2 * expected.stride();
    if (!std::equal(actual.luma() + luma, actual.luma() + luma + size.width,
                    expected.luma() + luma) ||
        !std::equal(actual.chroma() + chroma, actual.chroma() + chroma + (size.width + 1) / 2 * 2,
                    expected.chroma() + chroma)) {
      return y;
    }
  }
  return -1;
}

PixelRect randomRect(PixelSize size, std::mt19937& random) {
  const auto side = [&](int length) {
    const int from = static_cast<int>(random() % static_cast<unsigned>(length)) & ~1;
    // Mostly small, sometimes up to the edge, which is where odd sizes show.
    const int most = random() % 4 == 0 ? length - from : std::min(length - from, 24);
    const int extent = 1 + static_cast<int>(random() % static_cast<unsigned>(most));
    const int to = from + extent >= length ? length : (from + extent + 1) & ~1;
    return std::pair{from, std::min(to, length) - from};
  };
  const auto [x, width] = side(size.width);
  const auto [y, height] = side(size.height);
  return {x, y, width, height};
}

class FrameComposerSizes : public testing::TestWithParam<PixelSize> {};

TEST_P(FrameComposerSizes, RandomPatchesGiveTheWholePictureConverted) {
  std::mt19937 random(20);
  Desktop desktop(GetParam());
  FrameComposer composer(desktop.size, 4);
  const PixelRect whole{0, 0, desktop.size.width, desktop.size.height};
  desktop.noise(whole, random);
  const PixelPatch first = patchOf(desktop, whole);
  struct Held {
    std::shared_ptr<const PixelBuffer> picture, expected;
  };
  std::deque<Held> held = {{composer.compose({&first, 1}), desktop.converted()}};

  for (int round = 0; round < 300; ++round) {
    std::vector<PixelRect> rects;
    // Many rectangles at times, more than a region keeps apart; none at others.
    const unsigned count = random() % 10 == 0 ? 40 : random() % 4;
    for (unsigned i = 0; i < count; ++i) {
      rects.push_back(randomRect(desktop.size, random));
      desktop.noise(rects.back(), random);
    }
    std::vector<PixelPatch> patches;
    patches.reserve(rects.size());
    for (const auto& rect : rects) patches.push_back(patchOf(desktop, rect));
    // Readers keep pictures for a while, so that every buffer comes to be behind by several.
    while (held.size() > random() % 4) {
      EXPECT_EQ(difference(*held.front().picture, *held.front().expected), -1);
      held.pop_front();
    }
    held.push_back({composer.compose(patches), desktop.converted()});
    ASSERT_TRUE(held.back().picture);
    ASSERT_EQ(difference(*held.back().picture, *held.back().expected), -1) << "in round " << round;
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, FrameComposerSizes,
                         testing::Values(PixelSize{96, 64}, PixelSize{131, 77}, PixelSize{64, 33},
                                         PixelSize{2, 2}, PixelSize{1, 1}));

}  // namespace
}  // namespace tessaline::platform
