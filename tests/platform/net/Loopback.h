#pragma once

#include <gtest/gtest.h>

#include <boost/asio.hpp>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/AsioQueue.h"
#include "platform/Network.h"
#include "platform/common/net/AsioNetwork.h"

namespace tessaline::platform::test {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

// Far beyond what anything here takes, also on a loaded machine under a sanitizer.
constexpr auto kPatience = std::chrono::seconds(30);
// Enough for a sender that does not hold back to show it.
constexpr auto kMoment = std::chrono::milliseconds(300);
// More than the kernel buffers of both ends take from a sender whose peer reads nothing, as long as
// the sender keeps its unsent backlog to itself; a third of what they take otherwise.
constexpr std::size_t kSwallowed = 1'000'000;

inline SharedBytes pattern(std::size_t size) {
  auto bytes = std::make_shared<Bytes>(size);
  for (std::size_t i = 0; i < size; ++i) {
    (*bytes)[i] = static_cast<std::uint8_t>((i * 31 + (i >> 8)) & 0xFF);
  }
  return bytes;
}

/// What the callbacks of one connection said, readable from the test's thread.
template <typename C>
struct Owner : std::enable_shared_from_this<Owner<C>> {
  std::mutex mutex;
  std::condition_variable changed;
  std::shared_ptr<C> connection;
  std::vector<ConnectionState> states;
  std::vector<std::pair<std::size_t, bool>> answers;  // of the sends, by number
  std::size_t taken = 0;                              // bytes of the sends answered with true
  std::size_t sends = 0;

  template <typename Change>
  void update(Change change) {
    const std::lock_guard lock(mutex);
    change();
    changed.notify_all();
  }
  template <typename Condition>
  bool wait(Condition condition, std::chrono::milliseconds patience = kPatience) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, condition);
  }
  bool reached(ConnectionState state) {
    return wait([&] { return !states.empty() && states.back() == state; });
  }

  void start() {
    connection->queue()->sync([&] {
      connection->start([weak = this->weak_from_this()](ConnectionState state) {
        if (const auto self = weak.lock()) self->update([&] { self->states.push_back(state); });
      });
    });
  }
  void send(std::vector<SharedBytes> parts) {
    std::size_t size = 0;
    for (const auto& part : parts) size += part->size();
    connection->queue()->async([weak = this->weak_from_this(), connected = connection, size,
                                parts = std::move(parts), number = sends++]() mutable {
      connected->send(std::move(parts), [weak, number, size](bool ok) {
        const auto self = weak.lock();
        if (!self) return;
        self->update([&] {
          self->answers.emplace_back(number, ok);
          if (ok) self->taken += size;
        });
      });
    });
  }
  /// Waits for the answers to all sends and tells whether they came in order, once each.
  bool answeredInOrder() {
    if (!wait([&] { return answers.size() >= sends; })) return false;
    const std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < answers.size(); ++i) {
      if (answers[i].first != i) return false;
    }
    return answers.size() == sends;
  }
};

/// Sends more than the system takes for a peer that reads nothing: it stays in the process, and
/// goes when the connection is cancelled.
template <typename C>
void expectBacklogStays(Owner<C>& server) {
  auto payload = pattern(100'000);
  const std::weak_ptr payloadLives = payload;
  for (int i = 0; i < 200; ++i) server.send({pattern(1), pattern(0), payload});
  payload.reset();
  EXPECT_FALSE(server.wait([&] { return server.taken > kSwallowed; }, kMoment));
  server.connection->cancel();
  EXPECT_TRUE(server.answeredInOrder());
  EXPECT_EQ(server.answers.back(), std::pair(std::size_t{199}, false));
  EXPECT_TRUE(server.reached(ConnectionState::cancelled));
  // Operations that were under way end on the queue.
  for (int i = 0; i < 1000 && !payloadLives.expired(); ++i) {
    server.connection->queue()->sync([] {});
  }
  EXPECT_TRUE(payloadLives.expired());
}

/// A network with real queues and sockets on the loopback interface.
class Loopback : public ::testing::Test {
 protected:
  template <typename C>
  struct Accepted {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::shared_ptr<C>> waiting;

    Network::Accept<C> accept() {
      return [this](std::shared_ptr<C> connection) {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(connection));
        changed.notify_all();
      };
    }
    bool waitFor(std::size_t count, std::chrono::milliseconds patience = kPatience) {
      std::unique_lock lock(mutex);
      return changed.wait_for(lock, patience, [&] { return waiting.size() >= count; });
    }
    std::shared_ptr<Owner<C>> next() {
      if (!waitFor(1)) return nullptr;
      const std::lock_guard lock(mutex);
      auto owner = std::make_shared<Owner<C>>();
      owner->connection = std::move(waiting.front());
      waiting.erase(waiting.begin());
      return owner;
    }
  };

  std::unique_ptr<Listener> listen() {
    auto made = network_->listen(parameters_, queues_.serial("listener"), streams_.accept());
    EXPECT_TRUE(made) << made.error();
    return made ? std::move(*made) : nullptr;
  }
  std::unique_ptr<Listener> listenWebSocket() {
    auto made = network_->listenWebSocket(
        parameters_, queues_.serial("listener"), [this] { return queues_.serial("web"); },
        webSockets_.accept());
    EXPECT_TRUE(made) << made.error();
    return made ? std::move(*made) : nullptr;
  }
  /// A plain socket of the test, connected to a listener of the network under test.
  tcp::socket client(const Listener& listener, const char* address = "127.0.0.1") {
    tcp::socket socket(context_);
    socket.connect({asio::ip::make_address(address), listener.port()});
    return socket;
  }
  static Bytes readToEnd(tcp::socket& socket, error_code& error) {
    Bytes all;
    asio::read(socket, asio::dynamic_buffer(all), error);
    return all;
  }

  AsioQueues queues_;
  asio::io_context context_;  // of the test's own sockets, which block
  std::unique_ptr<Network> network_ = createNetwork();
  ListenerParameters parameters_;
  Accepted<Connection> streams_;
  Accepted<WebSocketConnection> webSockets_;
};

}  // namespace tessaline::platform::test
