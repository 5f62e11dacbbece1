#pragma once

#include <memory>
#include <utility>

#include "protocol/Framing.h"
#include "protocol/Proto.h"
#include "support/FakeConnection.h"
#include "support/FakePlatform.h"

namespace tessaline::test {

/// A network whose only stream is one that the test drives.
class Doorway final : public FakeNetwork {
 public:
  struct Open final : platform::Listener {
    std::uint16_t port() const override { return Proto::videoPort; }
  };
  Accept<platform::Connection> accept;

  Made listen(const platform::ListenerParameters&, std::shared_ptr<Queue> queue,
              Accept<platform::Connection> handler) override {
    home = std::move(queue);
    accept = std::move(handler);
    return Made(std::make_unique<Open>());
  }

  /// Another computer connects.
  std::shared_ptr<FakeConnection> arrive() {
    auto connection = std::make_shared<FakeConnection>(home);
    home->sync([&] { accept(connection); });
    connection->report(platform::ConnectionState::ready);
    return connection;
  }
  /// It sends a whole message.
  void say(FakeConnection& connection, std::uint8_t type, ByteView payload = {}) {
    const Bytes message = framing::message(type, payload);
    const auto body = message.begin() + framing::kLengthBytes;
    for (const Bytes& part : {Bytes(message.begin(), body), Bytes(body, message.end())}) {
      home->sync([&] { std::exchange(connection.receiver, nullptr)({part, false, false}); });
    }
  }

  std::shared_ptr<Queue> home;
};

}  // namespace tessaline::test
