#include "web/PageServer.h"

#include <algorithm>

#include "base/Log.h"
#include "web/WebPage.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMaximumRequest = 65'536;  // bytes; what lies beyond is not read
constexpr auto kMaximumAge = 10s;

}  // namespace

PageServer::PageServer(platform::Network& network, std::shared_ptr<Queue> queue)
    : network_(network), queue_(std::move(queue)) {}

bool PageServer::listen(const platform::ListenerParameters& parameters) {
  queue_->assertCurrent();
  auto listener = network_.listen(
      parameters, queue_, [weak = weak_from_this()](std::shared_ptr<Connection> connection) {
        if (const auto self = weak.lock()) self->accept(connection);
      });
  if (!listener) {
    log("the page cannot be served, " + listener.error());
    return false;
  }
  listener_ = std::move(*listener);
  return true;
}

void PageServer::accept(const std::shared_ptr<Connection>& connection) {
  if (connections_.size() >= kMaximumConnections) connections_.front()->cancel();
  connections_.push_back(connection);

  const std::weak_ptr weakConnection = connection;
  connection->start([weak = weak_from_this(), weakConnection](platform::ConnectionState state) {
    const auto self = weak.lock();
    const auto peer = weakConnection.lock();
    if (!self || !peer) return;
    if (state == platform::ConnectionState::ready) {
      peer->receive(1, kMaximumRequest,
                    [weak, weakConnection](const Connection::Received& request) {
                      const auto server = weak.lock();
                      const auto asking = weakConnection.lock();
                      if (server && asking) server->answer(asking, request.bytes);
                    });
    } else if (state == platform::ConnectionState::failed ||
               state == platform::ConnectionState::cancelled) {
      self->forget(peer);
    }
  });
  queue_->asyncAfter(kMaximumAge, [weakConnection] {
    if (const auto peer = weakConnection.lock()) peer->cancel();
  });
}

void PageServer::answer(const std::shared_ptr<Connection>& connection, ByteView request) {
  const std::string response = WebPage::response(viewText(request));
  const auto bytes = viewBytes(response);
  connection->send({std::make_shared<const Bytes>(bytes.begin(), bytes.end())},
                   [weakConnection = std::weak_ptr(connection)](bool sent) {
                     const auto peer = weakConnection.lock();
                     if (!peer) return;
                     if (sent) {
                       peer->finish();
                     } else {
                       peer->cancel();
                     }
                   });
}

void PageServer::forget(const std::shared_ptr<Connection>& connection) {
  std::erase(connections_, connection);
}

}  // namespace tessaline
