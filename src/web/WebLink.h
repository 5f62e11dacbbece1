#pragma once

#include <memory>
#include <string>
#include <vector>

#include "streaming/ConnectionLink.h"

namespace tessaline {

/// A browser as a display device: one accepted WebSocket. Messages out are one type byte and a
/// payload; messages in are probe answers (binary) and JSON objects, the hello first and input
/// after it. Until `prove` it takes little: whoever reaches the port may connect. Lives on
/// "tessaline.web"; owned by its session.
class WebLink final : public ConnectionLink {
 public:
  WebLink(std::shared_ptr<platform::WebSocketConnection> connection, platform::Network& network,
          std::shared_ptr<Queue> main);

  /// The device may be a screen: the limits for strangers end. Callable from any thread.
  void prove();

  [[nodiscard]] bool localNetworkDenied() const override { return false; }
  [[nodiscard]] bool sendsPointerInline() const override { return true; }

  /// A device's name as it may be shown: no control or formatting characters, no white space around
  /// it, at most 40 characters, "Browser" when nothing is left.
  [[nodiscard]] static std::string cleanName(const std::string& name);
  /// The first label of a name that the network knows for a device; nothing for the random names
  /// that phones publish for privacy.
  [[nodiscard]] static std::optional<std::string> networkName(const std::string& hostName);

 protected:
  [[nodiscard]] std::vector<SharedBytes> encode(std::uint8_t type,
                                                SharedBytes payload) const override;
  void connected() override;

 private:
  using Message = platform::WebSocketConnection::Message;

  void receive();
  [[nodiscard]] bool accepts(const Message& message);
  void handle(const Message& message);
  void handleText(std::string_view text);
  void receivedHello(const boost::json::object& object);
  void deliver(Hello hello);
  [[nodiscard]] std::shared_ptr<WebLink> self();

  const std::shared_ptr<platform::WebSocketConnection> connection_;
  platform::Network& network_;
  bool proven_ = false;
  bool helloReceived_ = false;
  std::size_t unprovenBytes_ = 0;
};

}  // namespace tessaline
