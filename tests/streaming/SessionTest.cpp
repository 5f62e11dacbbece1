#include "streaming/Session.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>

#include "protocol/Proto.h"
#include "streaming/Messages.h"
#include "support/FakeLink.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

struct FakeInput final : DeviceInput {
  std::vector<std::string> handled;
  bool enabled() const override { return true; }
  void handle(const ScreenLink::Input& message, platform::DisplayID display) override {
    handled.push_back(std::string(message.at("t").as_string()) + std::to_string(display));
  }
  std::optional<UnitRect> focusedTextField(platform::DisplayID) override { return {}; }
};

class SessionTest : public testing::Test {
 protected:
  void SetUp() override { renew(); }
  /// Another device with its session.
  void renew() {
    link_ = std::make_shared<test::FakeLink>();
    session_ =
        std::make_shared<Session>(SessionServices{queues_, desktop_, coding_, network_, &input_},
                                  "Browser", link_, 8'000'000);
    ends_.clear();
    session_->onEnd = [this](std::optional<std::string> reason) {
      ends_.push_back(std::move(reason));
    };
  }
  void startSession() {
    session_->start();
    queues_.run();
  }
  void stream() {
    startSession();
    link_->onHello(hello_);
    queues_.run();
    ASSERT_TRUE(desktop_.stream);
    desktop_.stream->started(std::nullopt);
    queues_.run();
    ASSERT_TRUE(session_->streaming());
  }
  void deliverFrame(std::optional<std::vector<PixelRect>> dirty = {}) {
    platform::CapturedFrame frame;
    frame.pixels = std::make_shared<platform::PixelBuffer>(PixelSize{100, 100});
    frame.dirtyRects = std::move(dirty);
    desktop_.stream->callbacks.onFrame(frame);
  }

  test::VirtualQueues queues_;
  test::FakeDesktop desktop_;
  test::FakeCoding coding_;
  test::FakeNetwork network_;
  FakeInput input_;
  Hello hello_{1280, 800, {}, 1, "id", "iPad", {}};
  std::shared_ptr<test::FakeLink> link_;
  std::shared_ptr<Session> session_;
  std::vector<std::optional<std::string>> ends_;  // with their reasons
};

TEST_F(SessionTest, SizesTheDisplayByWhatTheDeviceIs) {
  const struct {
    int width, height, scale;
    std::optional<PixelSize> expected;
  } cases[] = {
      {5120, 2880, 2, PixelSize{3840, 2160}},
      {1170, 2532, 3, PixelSize{1168, 2532}},
      {1367, 769, 1, PixelSize{1366, 768}},
      {16384, 16384, 1, PixelSize{2560, 2560}},
      {1, 1, 1, PixelSize{0, 0}},  // a device, but no display: creation refuses it
      {0, 800, 1, std::nullopt},
      {1280, -1, 1, std::nullopt},
      {16385, 800, 1, std::nullopt},
      {800, 2147483647, 2, std::nullopt},
  };
  for (const auto& [width, height, scale, expected] : cases) {
    EXPECT_EQ(Session::displaySize({width, height, {}, scale, "", "", {}}), expected);
  }
  EXPECT_EQ(Session::encoderBitrate(8'000'000, {3840, 2160}), 32'000'000);
  EXPECT_EQ(Session::encoderBitrate(8'000'000, {1280, 720}), 8'000'000);
  EXPECT_EQ(Session::encoderBitrate(25'000'000, {3840, 2160}), 60'000'000);
}

TEST_F(SessionTest, EndsWithTheReasonOfWhateverFailed) {
  enum class Fault { display, listing, encoder, capture };
  const struct {
    Fault fault;
    std::string_view reason;
    Duration after;
  } cases[] = {{Fault::display, Messages::noDisplay, 5s},
               {Fault::listing, Messages::noDisplay, 4900ms},
               {Fault::encoder, Messages::noEncoder, 0s},
               {Fault::capture, Messages::noCapture, 0s}};
  for (const auto& [fault, reason, after] : cases) {
    renew();
    desktop_.refusals = fault == Fault::display ? 21 : 0;
    desktop_.queriesUntilListed = fault == Fault::listing ? 50 : 0;
    coding_.failing = fault == Fault::encoder;
    session_->start();
    link_->onHello(hello_);
    if (after > 0s) {
      queues_.advance(after - 1ms);
      EXPECT_TRUE(ends_.empty()) << reason;
    }
    queues_.advance(1ms);
    if (fault == Fault::capture) desktop_.stream->started("no permission");
    ASSERT_EQ(ends_.size(), 1U) << reason;
    EXPECT_EQ(ends_[0], reason);
    EXPECT_TRUE(desktop_.displays.empty());
  }
}

TEST_F(SessionTest, RetriesUntilTheDisplayIsThere) {
  desktop_.refusals = 20;
  desktop_.queriesUntilListed = 49;
  desktop_.actualSize = PixelSize{1920, 1080};
  startSession();
  link_->onHello(hello_);
  queues_.advance(5s + 4900ms);
  ASSERT_TRUE(desktop_.stream);
  EXPECT_EQ(desktop_.configuration.size, (PixelSize{1920, 1080})) << "what was really made";
  EXPECT_EQ(coding_.options.size, (PixelSize{1920, 1080}));
  link_->onHello({800, 600, {}, 1, "other", "Other", {}});
  queues_.advance(1s);
  EXPECT_EQ(desktop_.attempts, 21) << "only the first hello counts";
}

TEST_F(SessionTest, WaitsForThePersonWhomTheDesktopAsksAndTakesARefusalAsTheEnd) {
  using State = platform::VirtualDisplay::State;
  for (const State answer : {State::coming, State::refused, State::failed}) {
    renew();
    desktop_.state = State::asking;
    desktop_.queriesUntilListed = 1'000'000;
    session_->start();
    link_->onHello(hello_);
    queues_.advance(3min);
    EXPECT_TRUE(ends_.empty());
    if (answer == State::coming) desktop_.queriesUntilListed = 0;
    desktop_.state = answer;
    queues_.advance(200ms);
    EXPECT_EQ(desktop_.stream != nullptr, answer == State::coming);
    if (answer == State::coming) continue;
    ASSERT_EQ(ends_.size(), 1U);
    EXPECT_EQ(ends_[0], answer == State::refused ? Messages::noCapture : Messages::noDisplay);
  }
}

TEST_F(SessionTest, TakesAPictureOnlyWhenItCanTravelAtOnce) {
  stream();
  const auto& mayDeliver = desktop_.stream->callbacks.mayDeliver;
  EXPECT_TRUE(mayDeliver());
  link_->unsent = 8'000'000 / 8 / 60;
  EXPECT_TRUE(mayDeliver());
  link_->unsent += 1;
  EXPECT_FALSE(mayDeliver());
  link_->unsent = 0;
  link_->onDrain();
  EXPECT_EQ(desktop_.stream->wakes, 1);
  deliverFrame();
  EXPECT_FALSE(mayDeliver());
  coding_.output(true);
  EXPECT_TRUE(mayDeliver());
  EXPECT_EQ(desktop_.stream->wakes, 2);
}

TEST_F(SessionTest, LetsADecoderThatFellBehindCatchUp) {
  stream();
  const auto& mayDeliver = desktop_.stream->callbacks.mayDeliver;
  std::uint32_t probe = 0;
  const auto report = [&](double decodeTime, bool moving) {
    queues_.advance(probe == 0 ? 500ms : 1s);
    while (coding_.pending > 0) coding_.output(false);
    if (moving) {
      deliverFrame();
      coding_.output(false);
    }
    link_->onProbeAck(++probe, decodeTime);
    queues_.run();
    return mayDeliver();
  };
  EXPECT_TRUE(report(80, true)) << "a slow decoder is not behind";
  EXPECT_TRUE(report(129, true));
  EXPECT_TRUE(report(300, false)) << "a still screen has caught up";
  EXPECT_FALSE(report(140, true));
  const int wakes = desktop_.stream->wakes;
  queues_.advance(139ms);
  EXPECT_FALSE(mayDeliver());
  queues_.advance(1ms);
  EXPECT_TRUE(mayDeliver());
  EXPECT_EQ(desktop_.stream->wakes, wakes + 1);
}

TEST_F(SessionTest, AnOwedKeyFrameOnAStillScreenComesFromTheLastPicture) {
  stream();
  deliverFrame();
  link_->accepting = false;
  coding_.output(true);
  EXPECT_EQ(link_->count(Proto::params), 0U);
  link_->accepting = true;
  queues_.advance(500ms);
  EXPECT_EQ(coding_.submitted, (std::vector<bool>{true, true}));
  coding_.output(true);
  queues_.advance(2s);
  EXPECT_EQ(std::ranges::count(coding_.submitted, true), 2) << "once is enough";
  EXPECT_EQ(link_->count(Proto::frame), 1U);
  while (coding_.pending > 0) coding_.output(false);
  coding_.submitted.clear();

  // Parameter sets come with key frames only; a frame that the link drops makes the next one of
  // them.
  deliverFrame();
  coding_.output(false, {8});
  EXPECT_EQ(link_->payloads(Proto::params),
            (std::vector<Bytes>{{0, 4, 0x67, 100, 12, 40, 0, 2, 0x68, 1}}));
  EXPECT_EQ(link_->payloads(Proto::frame).back(), Bytes{8});
  link_->accepting = false;
  deliverFrame();
  coding_.output(false);
  deliverFrame();
  EXPECT_EQ(coding_.submitted, (std::vector<bool>{false, false, true}));
}

TEST_F(SessionTest, RefinesAPictureThatStandsStillAFewTimesAndThenCostsNothing) {
  stream();
  const auto answerAll = [this](Duration time) {
    for (Duration passed{}; passed < time; passed += 10ms) {
      queues_.advance(10ms);
      while (coding_.pending > 0) coding_.output(false);
    }
  };
  deliverFrame();
  coding_.output(true);
  answerAll(100ms);
  EXPECT_EQ(coding_.refinements, 0) << "it may still be moving";
  answerAll(900ms);
  const int refinements = coding_.refinements;
  EXPECT_GE(refinements, 2);
  EXPECT_LE(refinements, 6);
  answerAll(1min);
  EXPECT_EQ(coding_.refinements, refinements);
  EXPECT_EQ(coding_.submitted.size(), static_cast<std::size_t>(refinements) + 1);

  // A caret that blinks makes nothing blurred, and does not put off what a page needs.
  deliverFrame();
  for (int i = 0; i < 20; ++i) {
    answerAll(50ms);
    deliverFrame(std::vector<PixelRect>{{0, 0, 2, 16}});
  }
  EXPECT_EQ(coding_.refinements, 2 * refinements);

  // Refining waits for the network, and for a key frame that it would be built on.
  deliverFrame();
  answerAll(10ms);
  link_->unsent = 1'000'000;
  answerAll(1s);
  EXPECT_EQ(coding_.refinements, 2 * refinements);
  link_->unsent = 0;
  answerAll(1s);
  EXPECT_EQ(coding_.refinements, 3 * refinements);
  deliverFrame(std::vector<PixelRect>{{0, 0, 2, 16}});
  coding_.output(true);
  answerAll(1s);
  EXPECT_EQ(coding_.refinements, 4 * refinements) << "a key frame is blurred whatever changed";
}

// Ten pictures, some of them of something that moves.
struct MotionCase {
  PixelSize size;
  double share;     // of it that changes
  Duration coding;  // of one picture
  Duration interval;
  bool coarse;
};

TEST_F(SessionTest, CodesCoarselyWhatMovesForAsLongAsWholePicturesTakeTooLong) {
  constexpr PixelSize kLarge{2732, 2048};
  const MotionCase cases[] = {{kLarge, 0.9, 30ms, 30ms, true},
                              {kLarge, 0.9, 400ms, 400ms, true},
                              {kLarge, 0.9, 20ms, 20ms, false},
                              {kLarge, 0.9, 30ms, 200ms, false},  // rather a change of pages
                              {kLarge, 0.3, 30ms, 30ms, false},   // a film in a window
                              {{1920, 1080}, 0.9, 30ms, 30ms, false}};
  for (const MotionCase& motion : cases) {
    const PixelSize size = motion.size;
    renew();
    const auto picture = std::make_shared<platform::PixelBuffer>(size);
    const auto move = [&](Duration time, double part) {
      platform::CapturedFrame frame;
      frame.pixels = picture;
      const int rows = static_cast<int>(part * size.height);
      frame.dirtyRects.emplace().push_back({0, 0, size.width, rows});
      desktop_.stream->callbacks.onFrame(std::move(frame));
      queues_.advance(time);
      coding_.output(false);
    };
    stream();
    for (int i = 0; i < 10; ++i) {
      move(motion.coding, motion.share);
      queues_.advance(motion.interval - motion.coding);
    }
    EXPECT_EQ(coding_.coarse, motion.coarse) << motion.share << " of " << size.width;
    if (!motion.coarse) continue;

    // A letter that is typed meanwhile changes nothing; two quick seconds do, or its standing
    // still.
    move(1ms, 0.001);
    EXPECT_TRUE(coding_.coarse);
    link_->unsent = 1'000'000;
    queues_.advance(400ms);
    link_->unsent = 0;
    move(30ms, motion.share);
    EXPECT_TRUE(coding_.coarse) << "the network held it up";
    for (int i = 0; i < 130; ++i) move(3ms, motion.share);
    EXPECT_FALSE(coding_.coarse);
    for (int i = 0; i < 6; ++i) move(30ms, motion.share);
    EXPECT_TRUE(coding_.coarse);
    queues_.advance(200ms);
    coding_.output(true);
    for (int i = 0; i < 4; ++i) move(30ms, motion.share);
    EXPECT_TRUE(coding_.coarse) << "sooner than the first time";
    const auto submitted = coding_.submitted.size();
    queues_.advance(200ms);
    EXPECT_EQ(coding_.submitted.size(), submitted + 1);
    EXPECT_FALSE(coding_.coarse);
    coding_.output(true);
  }
}

TEST_F(SessionTest, APointerHasItsSizeInPixelsOfThePictureAlsoWhereThatIsCoarse) {
  auto image = std::make_shared<platform::PointerImage>();
  *image = {1, 24, 16, 1.5, 2, {0x89}};
  desktop_.fakePointer->picture = image;
  stream();
  queues_.advance(48ms);
  link_->sent.clear();
  for (const bool coarse : {false, true, true, false}) {
    deliverFrame();
    coding_.coarse = coarse;
    coding_.output(true);
  }
  std::vector<std::uint8_t> order;
  for (const auto& message : link_->sent) {
    if (message.type != Proto::cursorPos) order.push_back(message.type);
  }
  constexpr auto kParams = Proto::params, kFrame = Proto::frame, kShape = Proto::cursorShape;
  EXPECT_EQ(order, (std::vector<std::uint8_t>{kParams, kFrame, kParams, kShape, kFrame, kParams,
                                              kFrame, kParams, kShape, kFrame}));
  EXPECT_EQ(link_->payloads(Proto::cursorShape),
            (std::vector<Bytes>{{0, 12, 0, 16, 0, 192, 0, 128, 0x89},
                                {0, 24, 0, 32, 1, 128, 1, 0, 0x89}}));
}

TEST_F(SessionTest, HandsInputOnAndBoundsWhatWaits) {
  stream();
  const auto tap = boost::json::parse(R"({"t":"tap"})").as_object();
  for (int i = 0; i < 1000; ++i) link_->onInput(tap);
  queues_.run();
  EXPECT_EQ(input_.handled.size(), 256U);
  EXPECT_EQ(input_.handled[0], "tap42");
  link_->onInput(tap);
  queues_.run();
  EXPECT_EQ(input_.handled.size(), 257U);
}

}  // namespace
}  // namespace tessaline
