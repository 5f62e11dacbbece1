#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Network.h"

namespace tessaline::test {

/// What both kinds of connection do alike when the test is the peer: it sees every message and
/// decides when the network takes it.
template <typename Interface>
class FakeAnyConnection : public Interface,
                          public std::enable_shared_from_this<FakeAnyConnection<Interface>> {
 public:
  using Done = typename Interface::Done;

  explicit FakeAnyConnection(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}

  std::vector<Bytes> sent;
  std::vector<Done> untaken;  // completions of what the network has not taken yet
  bool taking = true;
  bool denied = false;
  bool cancelled = false;
  bool ignoresCancel = false;
  std::optional<platform::Endpoint> peer = platform::Endpoint{"192.0.2.7", 50000};

  const std::shared_ptr<Queue>& queue() const override { return queue_; }
  void start(typename Interface::StateHandler handler) override { handler_ = std::move(handler); }
  void cancel() override {
    if (ignoresCancel) return;
    queue_->async([self = this->shared_from_this()] {
      self->cancelled = true;
      self->report(platform::ConnectionState::cancelled);
    });
  }
  void send(std::vector<SharedBytes> parts, Done done) override {
    queue_->assertCurrent();
    Bytes message;
    for (const auto& part : parts) message.insert(message.end(), part->begin(), part->end());
    sent.push_back(std::move(message));
    if (taking) {
      done(true);
    } else {
      untaken.push_back(std::move(done));
    }
  }
  std::optional<platform::Endpoint> remoteEndpoint() const override { return peer; }
  bool localNetworkDenied() const override { return denied; }

  /// Reports a state, as the real ones do on their queue.
  void report(platform::ConnectionState state) {
    queue_->isCurrent() ? notify(state) : queue_->sync([&] { notify(state); });
  }

 private:
  void notify(platform::ConnectionState state) {
    if (handler_) handler_(state);
  }
  const std::shared_ptr<Queue> queue_;
  typename Interface::StateHandler handler_;
};

class FakeConnection final : public FakeAnyConnection<platform::Connection> {
 public:
  using FakeAnyConnection::FakeAnyConnection;
  void receive(std::size_t, std::size_t, std::function<void(Received)> done) override {
    receiver_ = std::move(done);
  }
  void finish() override { cancel(); }

  /// The peer sends a message, which is read in two parts: its length, and what follows.
  void say(const Bytes& message) {
    const auto body = message.begin() + 4;
    for (const Bytes& part : {Bytes(message.begin(), body), Bytes(body, message.end())}) {
      queue()->sync([&] { std::exchange(receiver_, nullptr)({part, false, false}); });
    }
  }

 private:
  std::function<void(Received)> receiver_;
};

class FakeWebSocket final : public FakeAnyConnection<platform::WebSocketConnection> {
 public:
  using FakeAnyConnection::FakeAnyConnection;
  void receive(std::function<void(std::optional<Message>)> done) override {
    receiver_ = std::move(done);
  }
  void setMaximumMessageSize(std::size_t bytes) override { maximum = bytes; }

  /// The browser says `text`.
  void say(std::string_view text) {
    const auto view = viewBytes(text);
    say(Message{Opcode::text, Bytes(view.begin(), view.end())});
  }
  void say(Message message) {
    queue()->sync([&] {
      const auto receiver = std::exchange(receiver_, nullptr);
      if (receiver) receiver(std::move(message));
    });
  }
  std::size_t maximum = 0;

 private:
  std::function<void(std::optional<Message>)> receiver_;
};

}  // namespace tessaline::test
