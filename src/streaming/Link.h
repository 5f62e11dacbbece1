#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "streaming/ConnectionLink.h"

namespace tessaline {

/// The main computer's end of one stream to another computer's screen: opens the connection, writes
/// framed messages, reads the screen's hello and its probe answers. Lives on "tessaline.link".
class Link final : public ConnectionLink {
 public:
  /// A link to `screen`, which discovery found; not started.
  static std::shared_ptr<Link> make(platform::Network& network, Queues& queues,
                                    const platform::ServiceEndpoint& screen);
  Link(std::shared_ptr<platform::Connection> connection, std::shared_ptr<Queue> main);

  /// The screen's advertised service name; set before `start`.
  std::string screenName;

  void start() override;
  [[nodiscard]] bool localNetworkDenied() const override { return localNetworkDenied_; }
  [[nodiscard]] bool sendsPointerInline() const override { return false; }

 protected:
  [[nodiscard]] std::vector<SharedBytes> encode(std::uint8_t type,
                                                SharedBytes payload) const override;
  void connected() override;
  void stalled() override;
  void goodbyeSent() override;

 private:
  void checkConnected();
  void noteDenial();
  void readHeader();
  void readBody(std::uint32_t length);
  void handle(std::uint8_t type, ByteView payload);
  [[nodiscard]] std::shared_ptr<Link> self();

  const std::shared_ptr<platform::Connection> connection_;
  bool ready_ = false;
  bool helloReceived_ = false;
  std::atomic<bool> localNetworkDenied_ = false;
};

}  // namespace tessaline
