#include "streaming/Session.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "base/Log.h"
#include "protocol/Proto.h"
#include "streaming/CaptureWaker.h"
#include "streaming/CursorStreamer.h"
#include "streaming/Encoder.h"
#include "streaming/Link.h"
#include "streaming/Messages.h"
#include "streaming/PictureFeed.h"
#include "streaming/VirtualScreen.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kWaitingPing = 1s;   // a screen gives up after 4 s of silence
constexpr auto kDenyDelay = 300ms;  // for the refusal to arrive before the end does
constexpr int kMaxSide = 16384;     // pixels a device may claim
constexpr int kMaxInputsWaiting = 256;
constexpr std::size_t kMaxLatencies = 300;
constexpr std::size_t kMaxProbes = 64;  // unanswered ones: a minute's worth

}  // namespace

Session::Session(SessionServices services, std::string name, std::shared_ptr<ScreenLink> link,
                 int bitrate)
    : services_(services),
      name_(std::move(name)),
      link_(std::move(link)),
      bitrate_(bitrate),
      waker_(std::make_shared<CaptureWaker>()) {}

std::shared_ptr<Session> Session::toScreen(const SessionServices& services, const std::string& name,
                                           const platform::ServiceEndpoint& screen, int bitrate) {
  return std::make_shared<Session>(services, name,
                                   Link::make(services.network, services.queues, screen), bitrate);
}

Session::~Session() {
  tearDown();
}

void Session::start() {
  if (const auto computer = std::dynamic_pointer_cast<Link>(link_)) computer->screenName = name_;

  const auto weak = weak_from_this();
  const auto& main = services_.queues.main();
  // What a device sends arrives on the link's queue; how much of it may wait for the main queue is
  // bounded.
  const auto waiting = std::make_shared<std::atomic<int>>(0);
  const auto toMain = [weak, main, waiting](std::function<void(Session&)> work) {
    if (*waiting >= kMaxInputsWaiting) return;
    ++*waiting;
    main->async([weak, waiting, work = std::move(work)] {
      --*waiting;
      const auto session = weak.lock();
      if (session && !session->ended_) work(*session);
    });
  };
  link_->onProbeAck = [toMain](std::uint32_t id, double decodeTime) {
    toMain([=](Session& session) { session.receivedProbeAck(id, decodeTime); });
  };
  link_->onInput = [toMain](const ScreenLink::Input& message) {
    toMain([message](Session& session) { session.receivedInput(message); });
  };
  link_->onHello = [weak](const Hello& hello) {
    if (const auto session = weak.lock()) session->receivedHello(hello);
  };
  link_->onClose = [weak] {
    const auto session = weak.lock();
    if (!session || session->ended_) return;
    session->tearDown();
    if (session->onEnd) session->onEnd(session->endReason_);
  };
  link_->onDrain = [waker = waker_] { waker->wake(); };
  link_->start();
}

void Session::stop() {
  link_->sayGoodbye();
}

void Session::endWith(std::string_view reason) {
  endReason_ = reason;
  link_->stop();
}

void Session::receivedHello(const Hello& hello) {
  if (helloReceived_ || ended_) return;
  helloReceived_ = true;
  // A screen counts silence as a dead connection; a person who reads a question is not.
  keepAlive_ = services_.queues.main()->every(kWaitingPing, [weak = weak_from_this()] {
    if (const auto session = weak.lock()) session->link_->send(Proto::ping);
  });
  if (!approve) {
    begin(hello);
    return;
  }
  approve(hello, [weak = weak_from_this(), hello](bool allowed) {
    const auto session = weak.lock();
    if (!session || session->ended_) return;
    if (allowed) {
      session->begin(hello);
    } else {
      session->endReason_ = Messages::refused;
      session->deny();
    }
  });
}

void Session::deny() {
  link_->send(Proto::denied);
  services_.queues.main()->asyncAfter(kDenyDelay, [weak = weak_from_this()] {
    if (const auto session = weak.lock()) session->link_->stop();
  });
}

std::optional<PixelSize> Session::displaySize(const Hello& hello) {
  const auto valid = [](int side) { return side >= 1 && side <= kMaxSide; };
  if (!valid(hello.width) || !valid(hello.height)) return std::nullopt;
  const bool hiDPI = hello.scale > 1;
  const std::int64_t widest = hiDPI ? 3840 : 2560;
  const std::int64_t multiple = hiDPI ? 4 : 2;
  std::int64_t width = hello.width;
  std::int64_t height = hello.height;
  if (width > widest) {
    height = height * widest / width;
    width = widest;
  }
  return PixelSize{static_cast<int>(width - width % multiple),
                   static_cast<int>(height - height % multiple)};
}

int Session::encoderBitrate(int bitrate, PixelSize size) {
  constexpr std::int64_t reference = 1920 * 1080;
  constexpr std::int64_t highest = 60'000'000;
  const std::int64_t scaled =
      static_cast<std::int64_t>(bitrate) * size.width * size.height / reference;
  return static_cast<int>(std::min(std::max<std::int64_t>(bitrate, scaled), highest));
}

void Session::begin(const Hello& hello) {
  if (link_->sendsPointerInline()) {
    name_ = hello.deviceName;
    if (onStateChange) onStateChange();
  }
  const auto size = displaySize(hello);
  if (!size) {
    endWith(Messages::noDisplay);
    return;
  }
  log("receiver " + name_ + ": " + std::to_string(hello.width) + "x" +
      std::to_string(hello.height) + " @" + std::to_string(hello.scale) + "x, streaming at " +
      std::to_string(size->width) + "x" + std::to_string(size->height));
  constexpr SizeMM typical{476, 268};  // a 21.5-inch monitor
  createScreen(*size, hello.sizeMM.width > 0 ? hello.sizeMM : typical, hello.scale > 1, 0);
}

void Session::receivedInput(const ScreenLink::Input& message) {
  if (screen_ && services_.input) services_.input->handle(message, screen_->displayID());
}

void Session::receivedProbeAck(std::uint32_t id, double decodeTime) {
  const auto sent = probeSent_.find(id);
  if (sent == probeSent_.end()) return;
  const auto roundTrip = services_.queues.main()->now() - sent->second;
  probeSent_.erase(sent);
  latency_.push_back(std::chrono::duration<double, std::milli>(roundTrip).count());
  if (decodeTime > 0) decodeTimes_.push_back(decodeTime);
  letDecoderCatchUp(decodeTime);
  if (latency_.size() > kMaxLatencies) latency_.erase(latency_.begin());
}

void Session::keepAliveTick() {
  ++ticks_;
  if (ticks_ % 2 == 0) {
    link_->send(Proto::ping);
  } else {
    sendProbe();
  }
  feed_->refreshKeyFrame();
}

void Session::sendProbe() {
  ++probeID_;
  if (probeSent_.size() >= kMaxProbes) probeSent_.erase(probeSent_.begin());
  probeSent_[probeID_] = services_.queues.main()->now();
  link_->send(Proto::probe, ByteWriter(4).u32(probeID_).take());
}

void Session::focusTick() {
  if (!services_.input || !services_.input->enabled() || !screen_) return;
  const auto focus = services_.input->focusedTextField(screen_->displayID());
  if (lastFocus_ && *lastFocus_ == focus) return;
  lastFocus_ = focus;
  boost::json::object message{{"on", focus.has_value()}};
  if (focus) {
    message["x"] = focus->x;
    message["y"] = focus->y;
    message["w"] = focus->width;
    message["h"] = focus->height;
  }
  link_->send(Proto::textFocus, viewBytes(boost::json::serialize(message)));
}

}  // namespace tessaline
