#pragma once

#include <utility>
#include <vector>

#include "streaming/ScreenLink.h"

namespace tessaline::test {

/// A link whose device is the test: it records what is sent and closes when told.
class FakeLink final : public ScreenLink {
 public:
  struct Message {
    std::uint8_t type;
    Bytes payload;
  };

  bool accepting = true;  // false: every send is dropped
  std::size_t unsent = 0;
  bool closed = false;
  std::vector<Message> sent;

  bool localNetworkDenied() const override { return false; }
  std::optional<std::string> remoteHost() const override { return "192.0.2.7"; }
  bool sendsPointerInline() const override { return true; }
  void start() override {}
  void stop() override {
    if (!std::exchange(closed, true) && onClose) onClose();
  }
  void sayGoodbye() override { stop(); }
  using ScreenLink::send;
  bool send(std::uint8_t type, SharedBytes payload) override {
    if (closed || !accepting) return false;
    sent.push_back({type, *payload});
    return true;
  }
  std::size_t unsentBytes() const override { return unsent; }
  std::optional<int> carriedBitRate() const override { return {}; }
  Counters counters() const override { return {}; }

  [[nodiscard]] std::vector<Bytes> payloads(std::uint8_t type) const {
    std::vector<Bytes> found;
    for (const auto& message : sent) {
      if (message.type == type) found.push_back(message.payload);
    }
    return found;
  }
  [[nodiscard]] std::size_t count(std::uint8_t type) const { return payloads(type).size(); }
};

}  // namespace tessaline::test
