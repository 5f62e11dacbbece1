#include "receiver/ReceiverEngine.h"

#include <utility>

#include "base/Log.h"
#include "protocol/Cursor.h"
#include "protocol/Framing.h"
#include "protocol/Hello.h"
#include "protocol/ParameterSets.h"
#include "protocol/Proto.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using platform::ConnectionState;

// The main computer pings once a second; this much silence means that it is gone.
constexpr auto kSilence = 4s;
constexpr auto kWatchdogInterval = 1s;
// Answers to probes that the network has not taken; a main computer that sends probes and reads no
// answers gets no more than these.
constexpr int kUnsentAnswers = 16;
// What the system may hold of a stream that is not being read. Without a bound it is megabytes, a
// second and more of video that nobody has seen when the decoder is slow. With this one a path of
// 20 ms still carries 100 Mbit/s.
constexpr std::size_t kUnreadBytes = std::size_t{256} * 1024;
constexpr std::size_t kProbeIdBytes = 4;

}  // namespace

ReceiverEngine::ReceiverEngine(const Receiver::Services& services, Receiver::Identity identity,
                               Callbacks callbacks)
    : services_(services),
      identity_(std::move(identity)),
      callbacks_(std::move(callbacks)),
      main_(services.queues.main()),
      queue_(services.queues.serial("tessaline.recv")) {}

void ReceiverEngine::start() {
  auto listener = services_.network.listen(
      {.port = Proto::videoPort, .identity = nullptr, .unreadBytes = kUnreadBytes}, queue_,
      [weak = weak_from_this()](std::shared_ptr<platform::Connection> connection) {
        if (const auto self = weak.lock()) self->accept(std::move(connection));
      });
  if (!listener) {
    log("port " + std::to_string(Proto::videoPort) + " unavailable");
    return toMain([](const Callbacks& callbacks) {
      if (callbacks.onPortTaken) callbacks.onPortTaken();
    });
  }
  listener_ = std::move(*listener);
  log("listener: ready");
  advertisement_ = services_.discovery.advertise(identity_.name, std::string(Proto::serviceType),
                                                 listener_->port());
  watchdog_ = queue_->every(kWatchdogInterval, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->checkSilence();
  });
  startCursorChannel();
}

void ReceiverEngine::closeConnection() {
  if (stream_) stream_->connection().cancel();
}

void ReceiverEngine::stop() {
  watchdog_.cancel();
  advertisement_.reset();
  listener_.reset();
  cursorListener_.reset();
  endStream();
}

void ReceiverEngine::accept(std::shared_ptr<platform::Connection> connection) {
  endStream();
  cursorSeq_ = 0;
  unsentAnswers_ = 0;
  stream_ = std::make_shared<StreamReader>(connection,
                                           [weak = weak_from_this()](const SharedBytes& message) {
                                             if (const auto self = weak.lock())
                                               self->handle(message);
                                           });
  connection->start(
      [weak = weak_from_this(), weakStream = std::weak_ptr(stream_)](ConnectionState state) {
        const auto self = weak.lock();
        const auto stream = weakStream.lock();
        // One that was replaced says nothing any more.
        if (self && stream && self->stream_ == stream) self->stateChanged(state);
      });
}

void ReceiverEngine::stateChanged(ConnectionState state) {
  switch (state) {
    case ConnectionState::ready:
      introduce(stream_);
      break;
    case ConnectionState::failed:
    case ConnectionState::cancelled:
      endStream();
      toMain([](const Callbacks& callbacks) {
        if (callbacks.onDisconnect) callbacks.onDisconnect();
      });
      break;
    default:
      break;
  }
}

void ReceiverEngine::introduce(std::shared_ptr<StreamReader> stream) {
  const auto endpoint = stream->connection().remoteEndpoint();
  const std::string peer = endpoint ? endpoint->host : "unknown";
  // Screens are asked about on the main queue, which is not waited for.
  main_->async([self = shared_from_this(), weak = std::weak_ptr(stream), peer] {
    if (self->silenced_) return;
    const auto metrics =
        self->callbacks_.screenMetrics ? self->callbacks_.screenMetrics() : ScreenMetrics{};
    self->queue_->async([self, weak, metrics] {
      const auto current = weak.lock();
      if (!current || current != self->stream_) return;
      self->sendHello(metrics);
      current->start();
    });
    if (self->callbacks_.onConnect) self->callbacks_.onConnect(peer);
  });
}

void ReceiverEngine::sendHello(const ScreenMetrics& metrics) {
  Hello hello;
  hello.width = metrics.size.width;
  hello.height = metrics.size.height;
  hello.sizeMM = {static_cast<double>(metrics.sizeMM.width),
                  static_cast<double>(metrics.sizeMM.height)};
  hello.scale = metrics.scale;
  hello.deviceID = identity_.deviceID;
  stream_->connection().send(
      {std::make_shared<const Bytes>(framing::message(Proto::hello, hello.encoded()))},
      [](bool) {});
}

void ReceiverEngine::endStream() {
  const auto stream = std::exchange(stream_, nullptr);
  format_.reset();
  if (!stream) return;
  stream->stop();
  stream->connection().cancel();
  if (callbacks_.onFlush) callbacks_.onFlush();
}

void ReceiverEngine::handle(const SharedBytes& message) {
  const ByteView payload = ByteView(*message).subspan(1);
  switch (message->front()) {
    case Proto::params:
      handleParams(payload);
      break;
    case Proto::frame:
      handleFrame(message);
      break;
    case Proto::bye:
      stream_->stop();
      stream_->connection().cancel();
      break;
    case Proto::cursorShape:
      handleCursorShape(payload);
      break;
    case Proto::probe:
      answerProbe(payload);
      break;
    default:  // a ping has done its work by arriving
      break;
  }
}

void ReceiverEngine::handleParams(ByteView payload) {
  auto sets = ParameterSetPair::decoded(payload);
  if (!sets) return;
  const platform::ParameterSets read{std::move(sets->sequence), std::move(sets->picture)};
  if (format_ && format_->parameterSets == read) return;
  auto format = services_.decoding.readFormat(read);
  if (!format) return;
  format_ = std::make_shared<const platform::VideoFormat>(std::move(*format));
  tellMain([size = format_->size](MainMailbox::News& news) { news.videoSize = size; });
}

void ReceiverEngine::handleFrame(const SharedBytes& message) {
  if (!format_ || !callbacks_.onSample) return;
  callbacks_.onSample({format_, message, ByteView(*message).subspan(1)});
}

void ReceiverEngine::handleCursorShape(ByteView payload) {
  const auto decoded = CursorShape::decoded(payload);
  if (!decoded) return;
  auto image = services_.decoding.decodePng(decoded->png);
  if (!image) return;
  const auto& shape = decoded->shape;
  MainMailbox::CursorImage cursor{std::make_shared<const platform::PointerImage>(std::move(*image)),
                                  {shape.hotSpotX, shape.hotSpotY, shape.width, shape.height}};
  tellMain([&cursor](MainMailbox::News& news) { news.cursorShape = std::move(cursor); });
}

void ReceiverEngine::answerProbe(ByteView payload) {
  if (payload.size() < kProbeIdBytes || unsentAnswers_ >= kUnsentAnswers) return;
  ++unsentAnswers_;
  stream_->connection().send({std::make_shared<const Bytes>(
                                 framing::message(Proto::probeAck, payload.first(kProbeIdBytes)))},
                             [weak = weak_from_this(), weakStream = std::weak_ptr(stream_)](bool) {
                               const auto self = weak.lock();
                               if (self && self->stream_ && self->stream_ == weakStream.lock())
                                 --self->unsentAnswers_;
                             });
}

void ReceiverEngine::checkSilence() {
  if (!stream_ || queue_->now() - stream_->lastReceived() <= kSilence) return;
  silence_.write("no data for 4 s, closing", queue_->now());
  stream_->connection().cancel();
}

void ReceiverEngine::startCursorChannel() {
  auto listener = services_.network.listenDatagrams(
      Proto::cursorPort, queue_,
      [weak = weak_from_this()](const platform::Endpoint&, ByteView datagram) {
        if (const auto self = weak.lock()) self->handleDatagram(datagram);
      });
  if (listener) {
    cursorListener_ = std::move(*listener);
  } else {
    log("port " + std::to_string(Proto::cursorPort) + " unavailable");
  }
}

void ReceiverEngine::handleDatagram(ByteView datagram) {
  const auto update = CursorUpdate::decoded(datagram);
  if (!update) return;
  // The sender's numbers wrap around; half of them count as later ones.
  const auto step =
      static_cast<std::int16_t>(static_cast<std::uint16_t>(update->sequence - cursorSeq_));
  if (cursorSeq_ != 0 && step < 1) return;
  cursorSeq_ = update->sequence;
  constexpr double kWhole = 65535;
  tellMain([&position = update->position](MainMailbox::News& news) {
    news.cursorMove = {position.x / kWhole, position.y / kWhole, position.visible};
  });
}

template <typename Change>
void ReceiverEngine::tellMain(const Change& change) {
  if (!mailbox_.put(change)) return;
  toMain([weak = weak_from_this()](const Callbacks& callbacks) {
    const auto self = weak.lock();
    if (!self) return;
    const auto news = self->mailbox_.take();
    if (news.videoSize && callbacks.onVideoSize) callbacks.onVideoSize(*news.videoSize);
    if (news.cursorShape && callbacks.onCursorShape) {
      callbacks.onCursorShape(news.cursorShape->image, news.cursorShape->shape);
    }
    if (news.cursorMove && callbacks.onCursorMove) {
      callbacks.onCursorMove(news.cursorMove->x, news.cursorMove->y, news.cursorMove->visible);
    }
  });
}

void ReceiverEngine::toMain(std::function<void(const Callbacks&)> work) {
  main_->async([weak = weak_from_this(), work = std::move(work)] {
    const auto self = weak.lock();
    if (self && !self->silenced_) work(self->callbacks_);
  });
}

}  // namespace tessaline
