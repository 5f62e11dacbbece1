#include "platform/linux/wayland/screencast/ScreenCast.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "base/AsioQueue.h"
#include "platform/CapturedFrames.h"
#include "platform/wayland/screencast/PrivatePipeWire.h"

namespace tessaline::platform {
namespace {

using test::CastSource;
using test::eventually;

constexpr PixelSize kSize{322, 241};  // an odd height
constexpr DisplayID kDisplay = 5;
constexpr std::uint32_t kRed = 0xFF0000;
constexpr int kRedLuma = 82;  // BT.601, video range
constexpr std::uint32_t kGreen = 0x00FF00;
constexpr int kGreenLuma = 145;

class ScreenCastTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string problem;
    pipewire_ = test::PrivatePipeWire::start(problem);
    if (!pipewire_) GTEST_SKIP() << problem;
    table_->replace({{kDisplay, {0, 0, kSize.width, kSize.height}, kSize, false}});
  }
  void TearDown() override { close(); }

  void close() {
    onMain([&] {
      capture_.reset();
      cast_.reset();
      sizes_.clear();
      ended_.clear();
    });
    source_.reset();
    frames_.clear();
  }

  void onMain(const Queue::Work& work) { queues_.main()->sync(work); }

  void open() {
    source_ = std::make_unique<CastSource>(kSize);
    const std::uint32_t node = source_->node();
    ASSERT_NE(node, 0U);
    onMain([&] {
      ScreenCast::Callbacks callbacks;
      callbacks.onFormat = [this](PixelSize size) {
        EXPECT_TRUE(queues_.main()->isCurrent());
        sizes_.push_back(size);
      };
      callbacks.onEnded = [this](const std::string& text) {
        EXPECT_TRUE(queues_.main()->isCurrent());
        ended_.push_back(text);
      };
      auto opened = ScreenCast::open(queues_, {node, -1}, {kSize, true, 60}, kDisplay, pointer_,
                                     std::move(callbacks));
      ASSERT_TRUE(opened) << opened.error();
      cast_ = std::move(*opened);
    });
  }

  void startCapture(int depth = 5) {
    onMain([&] {
      capture_ = cast_->capture({.size = kSize, .queueDepth = depth}, queue_, frames_.callbacks());
      capture_->start([](const auto& error) { EXPECT_FALSE(error) << *error; });
    });
  }

  /// What the callbacks have said, read on their queue.
  template <typename T>
  T read(const T& list) {
    T copy;
    onMain([&] { copy = list; });
    return copy;
  }
  static void expectLuma(const CapturedFrame& frame, PixelPoint at, int luma) {
    ASSERT_TRUE(frame.pixels);
    EXPECT_NEAR(frame.pixels->luma()[at.y * frame.pixels->stride() + at.x], luma, 2)
        << at.x << "," << at.y;
  }

  /// Sends until it has arrived: PipeWire leaves a buffer lying, or drops it, when it is busy with
  /// the one before.
  bool sendUntil(const CastSource::Buffer& content, const std::function<bool()>& arrived) {
    for (int i = 0; i < 20; ++i) {
      if (!source_->send(content)) return false;
      if (eventually(arrived, std::chrono::seconds(1))) return true;
    }
    return false;
  }
  /// The same, seen by the pointer that it carries.
  bool deliver(CastSource::Buffer content) {
    const int x = ++marker_;
    content.pointer = {x, 1};
    return sendUntil(content, [&] {
      const auto location = pointer_->location();
      return location && location->x == x;
    });
  }

  std::unique_ptr<test::PrivatePipeWire> pipewire_;
  AsioQueues queues_;
  const std::shared_ptr<Queue> queue_ = queues_.thread("tessaline.capture");
  const std::shared_ptr<DisplayTable> table_ = std::make_shared<DisplayTable>();
  const std::shared_ptr<WaylandPointer> pointer_ = std::make_shared<WaylandPointer>(table_);
  std::unique_ptr<CastSource> source_;
  std::unique_ptr<ScreenCast> cast_;
  std::unique_ptr<CaptureStream> capture_;
  int marker_ = 0;
  std::vector<PixelSize> sizes_;  // written on the main queue, as the next
  std::vector<std::string> ended_;
  test::CapturedFrames frames_;
};

TEST_F(ScreenCastTest, HoldsTheNewestBackUntilItIsWanted) {
  constexpr PixelRect corner{0, 0, 2, 2};
  constexpr PixelRect spot{300, 200, 4, 4};
  for (const bool byPool : {true, false}) {
    open();
    ASSERT_TRUE(deliver({.colour = kGreen}));
    frames_.mayDeliver = true;
    startCapture(byPool ? 1 : 5);
    auto kept = frames_.next();
    if (!byPool) frames_.mayDeliver = false;
    // More buffers than there are, so the compositor is never left without one; the pointer tells
    // that each has arrived.
    for (int i = 0; i < 10; ++i) {
      ASSERT_TRUE(deliver({.colour = i < 5 ? kGreen : kRed, .damage = {i < 5 ? corner : spot}}));
    }
    EXPECT_EQ(frames_.count(), 0U);
    frames_.mayDeliver = true;
    kept = {};
    capture_->wake();
    const auto merged = frames_.next();
    EXPECT_THAT(merged.dirtyRects.value_or(std::vector<PixelRect>()),
                testing::UnorderedElementsAre(corner, spot));
    expectLuma(merged, {1, 1}, kRedLuma);
    expectLuma(merged, {10, 10}, kGreenLuma);
    expectLuma(merged, {301, 201}, kRedLuma);
    close();
  }
}

TEST_F(ScreenCastTest, DamageThatGotLostIsMadeUpFor) {
  open();
  ASSERT_TRUE(deliver({.colour = kGreen}));
  startCapture();
  frames_.next();
  ASSERT_TRUE(deliver({.colour = kRed, .damage = {{0, 0, 2, 2}}}));
  expectLuma(frames_.next(), {10, 10}, kGreenLuma);
  const auto whole = frames_.next();
  EXPECT_EQ(whole.dirtyRects, (std::vector<PixelRect>{{0, 0, kSize.width, kSize.height}}));
  expectLuma(whole, {10, 10}, kRedLuma);

  // A picture that repeats is no frame.
  ASSERT_TRUE(deliver({.colour = kRed}));
  ASSERT_TRUE(deliver({.colour = kGreen}));
  expectLuma(frames_.next(), {10, 10}, kGreenLuma);
}

TEST_F(ScreenCastTest, WhatPipeWireDroppedIsMissedAndAskedForAgain) {
  open();
  ASSERT_TRUE(deliver({.colour = kGreen}));
  startCapture();
  frames_.next();
  ASSERT_EQ(source_->starts(), 1);
  const auto sees = [&](int imageSide, int x) {
    return eventually([&] {
      const auto image = pointer_->image();
      const auto location = pointer_->location();
      return image && image->width == imageSide && location && location->x == x;
    });
  };
  const auto pointer = [](int x, int imageSide = 0) {
    return CastSource::Buffer{
        .pointer = {x, 1}, .imageSide = imageSide, .picture = false, .timed = true};
  };
  // The pointer is read where it was written: newer ones than these need not follow.
  ASSERT_TRUE(source_->lose(pointer(100, 7)));
  ASSERT_TRUE(source_->send(pointer(101)));
  EXPECT_TRUE(sees(7, 101));
  ASSERT_TRUE(source_->lose({.colour = kRed, .pointer = {102, 1}, .timed = true}));
  ASSERT_TRUE(source_->send(pointer(103)));
  EXPECT_TRUE(sees(7, 103));
  // A picture may be overwritten while it is read: the desktop is to begin again with a whole one.
  ASSERT_TRUE(eventually([&] { return source_->starts() == 2; }));
  ASSERT_TRUE(sendUntil({.colour = kRed}, [&] { return frames_.count() > 0; }));
  expectLuma(frames_.next(), {10, 10}, kRedLuma);
}

TEST_F(ScreenCastTest, ACropOfAnotherSizeEndsTheCaptureAndIsTold) {
  open();
  ASSERT_TRUE(deliver({.colour = kGreen}));
  startCapture();
  frames_.next();
  ASSERT_TRUE(sendUntil({.colour = kGreen, .crop = PixelRect{10, 10, 100, 100}},
                        [&] { return frames_.stops().size() == 1; }));
  EXPECT_EQ(frames_.stops().front(), "the display has changed its size");
  EXPECT_TRUE(eventually([&] { return read(sizes_).size() == 2; }));
  EXPECT_EQ(read(sizes_).back(), (PixelSize{100, 100}));
  EXPECT_EQ(read(ended_).size(), 0U);
}

TEST_F(ScreenCastTest, EveryEndIsToldOnce) {
  const std::function<void()> ways[] = {[&] { source_.reset(); }, [&] { pipewire_->kill(); }};
  for (const auto& way : ways) {
    open();
    ASSERT_TRUE(deliver({.colour = kGreen}));
    startCapture();
    frames_.next();
    way();
    ASSERT_TRUE(eventually([&] { return read(ended_).size() > 0 && frames_.stops().size() > 0; }));
    EXPECT_EQ(read(ended_).size(), 1U);
    EXPECT_EQ(frames_.stops(), read(ended_));
    close();
  }
}

}  // namespace
}  // namespace tessaline::platform
