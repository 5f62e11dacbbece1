// The part of Session that owns the picture: from the virtual display to the encoder, and the one
// teardown.

#include <algorithm>
#include <utility>

#include "base/Log.h"
#include "streaming/CaptureWaker.h"
#include "streaming/CursorStreamer.h"
#include "streaming/Encoder.h"
#include "streaming/Messages.h"
#include "streaming/PictureFeed.h"
#include "streaming/Session.h"
#include "streaming/VirtualScreen.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr int kDisplayRetries = 20;
constexpr auto kDisplayRetryDelay = 250ms;
constexpr int kDisplayQueries = 50;  // a new display takes a moment to be listed
constexpr auto kDisplayQueryDelay = 100ms;
constexpr Duration kFrameInterval = std::chrono::nanoseconds(1'000'000'000 / 60);
constexpr int kQueueDepth = 5;
constexpr auto kKeepAlive = 500ms;
constexpr auto kFocusInterval = 400ms;
constexpr double kDecoderBehind = 50;  // ms beyond a device's own time: three pictures wait
constexpr double kLongestPause = 500;  // ms without a new picture

// One frame of the bit rate at 60 frames per second: what may be unsent on the link when the next
// picture is taken. More would be delay, less would leave the network idle.
std::size_t oneFrame(int bitrate) {
  return static_cast<std::size_t>(bitrate) / 8 / 60;
}

}  // namespace

void Session::createScreen(PixelSize size, SizeMM sizeMM, bool hiDPI, int attempt) {
  screen_ =
      VirtualScreen::create(services_.desktop, services_.arrangement, name_, size, sizeMM, hiDPI);
  if (screen_) {
    pictureSize_ = size;
    findDisplay(1);
    return;
  }
  if (attempt >= kDisplayRetries || services_.desktop.limitation()) {
    endWith(Messages::noDisplay);
    return;
  }
  services_.queues.main()->asyncAfter(kDisplayRetryDelay, [=, weak = weak_from_this()] {
    const auto session = weak.lock();
    if (session && !session->ended_) session->createScreen(size, sizeMM, hiDPI, attempt + 1);
  });
}

void Session::findDisplay(int query) {
  auto displays = services_.desktop.shareableDisplays();
  bool listed = false;
  if (displays) {
    const auto own = std::ranges::find(*displays, screen_->displayID(), &platform::DisplayInfo::id);
    listed = own != displays->end();
    if (listed && own->pixels != pictureSize_) {
      log("the desktop made the display " + std::to_string(own->pixels.width) + "x" +
          std::to_string(own->pixels.height));
      pictureSize_ = own->pixels;
    }
  }
  using State = platform::VirtualDisplay::State;
  const State state = screen_->state();
  if (listed) {
    startCapture();
  } else if (state == State::refused) {
    endWith(Messages::noCapture);
  } else if (state == State::failed || query >= kDisplayQueries) {
    endWith(Messages::noDisplay);
  } else {
    // A person who is being asked takes as long as it takes.
    const int next = state == State::asking ? query : query + 1;
    services_.queues.main()->asyncAfter(kDisplayQueryDelay, [=, weak = weak_from_this()] {
      const auto session = weak.lock();
      if (session && !session->ended_) session->findDisplay(next);
    });
  }
}

void Session::startCapture() {
  rate_ = highestRate_ = encoderBitrate(bitrate_, pictureSize_);
  cursor_ = std::make_shared<CursorStreamer>(
      screen_->displayID(), link_, services_.desktop.pointer(), services_.coding, services_.network,
      services_.queues.serial("tessaline.cursor"));
  cursor_->onMove = onActivity;
  encoder_ = Encoder::create(services_.coding, pictureSize_, highestRate_, link_,
                             {.onOutput = [this](bool keyFrame) { encoded(keyFrame); },
                              .onSizeChange = [this](bool coarse) { sizeChanged(coarse); }});
  if (!encoder_) {
    endWith(Messages::noEncoder);
    return;
  }
  const platform::CaptureConfiguration configuration{.size = pictureSize_,
                                                     .minimumFrameInterval = kFrameInterval,
                                                     .showsCursor = false,
                                                     .queueDepth = kQueueDepth};
  captureQueue_ = services_.queues.thread("tessaline.capture");
  feed_ = std::make_shared<PictureFeed>(*encoder_, captureQueue_, [this] { return mayCapture(); });
  // The stream is stopped before anything that these callbacks use goes.
  stream_ = services_.desktop.createCaptureStream(
      screen_->displayID(), configuration, captureQueue_,
      {.onFrame = [this](platform::CapturedFrame frame) { receivedFrame(std::move(frame)); },
       .onStopped =
           [link = link_](const std::string& description) {
             log("capture stopped: " + description);
             link->stop();
           },
       .mayDeliver = [this] { return mayCapture(); }});
  if (!stream_) {
    captureStarted("the display cannot be captured");
    return;
  }
  waker_->set(stream_.get());
  stream_->start([weak = weak_from_this()](const std::optional<std::string>& error) {
    const auto session = weak.lock();
    if (session && !session->ended_) session->captureStarted(error);
  });
}

void Session::captureStarted(const std::optional<std::string>& error) {
  if (error) {
    log("capture failed: " + *error);
    endWith(Messages::noCapture);
    return;
  }
  const auto& main = services_.queues.main();
  const auto weak = weak_from_this();
  streaming_ = true;
  if (link_->sendsPointerInline()) {
    focusTimer_ = main->everyTogether(kFocusInterval, [weak] {
      if (const auto session = weak.lock()) session->focusTick();
    });
  }
  cursor_->start();
  keepAlive_ = main->everyTogether(kKeepAlive, [weak] {
    if (const auto session = weak.lock()) session->keepAliveTick();
  });
  if (onStateChange) onStateChange();
}

bool Session::mayCapture() const {
  // A picture taken while another is being encoded would be old before its turn came.
  return !decoderBehind_ && encoder_->pendingFrames() == 0 &&
         link_->unsentBytes() <= oneFrame(rate_);
}

void Session::followNetwork() {
  const int rate = std::min(highestRate_, link_->carriedBitRate().value_or(highestRate_));
  if (rate_.exchange(rate) != rate) encoder_->setBitRate(rate);
}

void Session::letDecoderCatchUp(double decodeTime) {
  // A device's decode times include what waits in front of its decoder, which nothing else bounds.
  if (decodeTime <= 0 || !stream_) return;
  fastestDecode_ = std::min(fastestDecode_, decodeTime);
  if (decodeTime - fastestDecode_ <= kDecoderBehind) return;
  // The time is an average that only new pictures change; a still screen has long caught up.
  const std::chrono::duration<double, std::milli> still =
      services_.queues.main()->now() - feed_->lastFrameTime();
  if (still.count() > decodeTime) return;
  decoderBehind_ = true;
  const auto pause = std::chrono::duration<double, std::milli>(std::min(decodeTime, kLongestPause));
  catchUp_ = services_.queues.main()->after(std::chrono::duration_cast<Duration>(pause),
                                            [weak = weak_from_this()] {
                                              const auto session = weak.lock();
                                              if (!session) return;
                                              session->decoderBehind_ = false;
                                              session->waker_->wake();
                                            });
}

void Session::receivedFrame(platform::CapturedFrame frame) {
  if (frame.status != platform::FrameStatus::complete || !frame.pixels) return;
  if (onActivity && noticeable(frame)) onActivity();
  followNetwork();
  feed_->captured(std::move(frame));
}

void Session::encoded(bool keyFrame) {
  feed_->coded(keyFrame);
  waker_->wake();
}

void Session::sizeChanged(bool coarse) {
  if (coarse && !std::exchange(toldCoarse_, true)) {
    log("this computer is slow at coding pictures of this size: they are coarser while they move");
  }
  cursor_->setPictureScale(coarse ? 0.5 : 1);
  // Other pictures take another time to decode.
  services_.queues.main()->async([weak = weak_from_this()] {
    if (const auto session = weak.lock()) session->fastestDecode_ = kNoDecodeTime;
  });
}

void Session::tearDown() {
  if (ended_) return;
  ended_ = true;
  if (link_->localNetworkDenied()) endReason_ = Messages::localNetwork;
  keepAlive_.cancel();
  focusTimer_.cancel();
  catchUp_.cancel();
  if (cursor_) cursor_->stop();
  if (stream_) stream_->stop();
  if (feed_) feed_->stop();
  encoder_.reset();  // its output wakes the stream and tells the pointer's sender
  cursor_.reset();
  waker_->set(nullptr);
  stream_.reset();
  feed_.reset();
  captureQueue_.reset();
  screen_.reset();
  streaming_ = false;
}

}  // namespace tessaline
