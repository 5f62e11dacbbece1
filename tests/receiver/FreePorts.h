#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "platform/common/net/AsioNetwork.h"
#include "support/FakeNetwork.h"

namespace tessaline::test {

/// Real listeners, but on free ports: those of the protocol may be in use. Nobody is connected to,
/// and no name service is asked.
class FreePorts final : public FakeNetwork {
 public:
  std::atomic<std::uint16_t> streamPort = 0;
  std::atomic<std::uint16_t> datagramPort = 0;
  std::atomic<std::uint16_t> webSocketPort = 0;

  Made listen(const platform::ListenerParameters& parameters, std::shared_ptr<Queue> queue,
              Accept<platform::Connection> accept) override {
    return told(streamPort, real_->listen(free(parameters), std::move(queue), std::move(accept)));
  }
  Made listenWebSocket(const platform::ListenerParameters& parameters, std::shared_ptr<Queue> queue,
                       QueueMaker maker, Accept<platform::WebSocketConnection> accept) override {
    return told(webSocketPort, real_->listenWebSocket(free(parameters), std::move(queue),
                                                      std::move(maker), std::move(accept)));
  }
  Made listenDatagrams(std::uint16_t, std::shared_ptr<Queue> queue,
                       DatagramHandler handler) override {
    return told(datagramPort, real_->listenDatagrams(0, std::move(queue), std::move(handler)));
  }

 private:
  static platform::ListenerParameters free(platform::ListenerParameters parameters) {
    parameters.port = 0;
    return parameters;
  }
  static Made told(std::atomic<std::uint16_t>& port, Made made) {
    if (made) port = (*made)->port();
    return made;
  }
  const std::unique_ptr<platform::Network> real_ = platform::createNetwork(nullptr);
};

}  // namespace tessaline::test
