#include "streaming/Link.h"

#include "protocol/Framing.h"
#include "protocol/Proto.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kConnectLimit = 5s;
// A screen says hello as soon as it is connected to; what never does is no screen.
constexpr auto kHelloLimit = 10s;
constexpr auto kGoodbyeLimit = 1s;

}  // namespace

std::shared_ptr<Link> Link::make(platform::Network& network, Queues& queues,
                                 const platform::ServiceEndpoint& screen) {
  return std::make_shared<Link>(network.connect(screen, queues.serial("tessaline.link")),
                                queues.main());
}

Link::Link(std::shared_ptr<platform::Connection> connection, std::shared_ptr<Queue> main)
    : ConnectionLink(connection, std::move(main), kGoodbyeLimit),
      connection_(std::move(connection)) {}

std::shared_ptr<Link> Link::self() {
  return std::static_pointer_cast<Link>(shared_from_this());
}

void Link::start() {
  ConnectionLink::start();
  queue().asyncAfter(kConnectLimit, [weak = std::weak_ptr(self())] {
    if (const auto link = weak.lock()) link->checkConnected();
  });
}

void Link::checkConnected() {
  if (ready_ || closed()) return;
  noteDenial();
  stop();
}

void Link::noteDenial() {
  if (connection_->localNetworkDenied()) localNetworkDenied_ = true;
}

std::vector<SharedBytes> Link::encode(std::uint8_t type, SharedBytes payload) const {
  const auto header = framing::header(type, payload->size());
  auto head = std::make_shared<const Bytes>(header.begin(), header.end());
  if (payload->empty()) return {std::move(head)};
  return {std::move(head), std::move(payload)};
}

void Link::connected() {
  ready_ = true;
  readHeader();
  queue().asyncAfter(kHelloLimit, [weak = std::weak_ptr(self())] {
    const auto link = weak.lock();
    if (link && !link->helloReceived_) link->stop();
  });
}

void Link::stalled() {
  noteDenial();
  stop();
}

// Closing at once could reset the connection and take the goodbye with it.
void Link::goodbyeSent() {
  connection_->finish();
}

void Link::readHeader() {
  using Received = platform::Connection::Received;
  connection_->receive(framing::kLengthBytes, framing::kLengthBytes,
                       [weak = std::weak_ptr(self())](const Received& received) {
                         const auto link = weak.lock();
                         if (!link) return;
                         const auto length =
                             framing::acceptedLength(received.bytes, framing::kMainReaderLimit);
                         if (received.failed || !length) {
                           link->stop();
                         } else {
                           link->readBody(*length);
                         }
                       });
}

void Link::readBody(std::uint32_t length) {
  using Received = platform::Connection::Received;
  connection_->receive(length, length,
                       [weak = std::weak_ptr(self()), length](const Received& received) {
                         const auto link = weak.lock();
                         if (!link) return;
                         if (received.failed || received.bytes.size() != length) {
                           link->stop();
                           return;
                         }
                         link->handle(received.bytes[0], ByteView(received.bytes).subspan(1));
                         if (received.complete) {
                           link->stop();
                         } else {
                           link->readHeader();
                         }
                       });
}

void Link::handle(std::uint8_t type, ByteView payload) {
  if (type == Proto::probeAck) {
    const auto id = ByteReader(payload).u32();
    // A screen does not tell how long it decodes.
    if (id && onProbeAck) onProbeAck(*id, 0);
  } else if (type == Proto::hello && !helloReceived_) {
    if (auto hello = Hello::decoded(payload, screenName)) {
      helloReceived_ = true;
      main().async([weak = std::weak_ptr(self()), hello = std::move(*hello)] {
        const auto link = weak.lock();
        if (link && link->onHello) link->onHello(hello);
      });
    }
  }
}

}  // namespace tessaline
