#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/Network.h"
#include "streaming/LinkPace.h"
#include "streaming/ScreenLink.h"

namespace tessaline {

/// What every link over a connection does alike: the byte budget that makes a slow network drop
/// whole messages instead of building delay, closing exactly once, the goodbye. Lives on its
/// connection's queue; `send`, `stop`, `unsentBytes` and `counters` are callable from any thread.
class ConnectionLink : public ScreenLink, public std::enable_shared_from_this<ConnectionLink> {
 public:
  /// A message is dropped while more than this is unsent. The test comes before the message is
  /// added, so that one message of any size always fits: about a second of the default bit rate.
  static constexpr std::size_t kBudget = 3'000'000;

  ~ConnectionLink() override;

  void start() override;
  void stop() override;
  void sayGoodbye() override;
  using ScreenLink::send;
  bool send(std::uint8_t type, SharedBytes payload) override;
  [[nodiscard]] std::size_t unsentBytes() const override;
  [[nodiscard]] std::optional<int> carriedBitRate() const override;
  [[nodiscard]] Counters counters() const override;
  [[nodiscard]] std::optional<std::string> remoteHost() const override;

 protected:
  /// `goodbyeLimit` is how long the peer has to act on a goodbye.
  ConnectionLink(std::shared_ptr<platform::AnyConnection> connection, std::shared_ptr<Queue> main,
                 Duration goodbyeLimit);

  /// The parts of one message as the connection sends them.
  [[nodiscard]] virtual std::vector<SharedBytes> encode(std::uint8_t type,
                                                        SharedBytes payload) const = 0;
  /// The connection is ready; on its queue.
  virtual void connected() = 0;
  /// The connection has no way to its peer for now; on its queue.
  virtual void stalled() {}
  /// How a goodbye ends once it has been written; on the queue.
  virtual void goodbyeSent() {}

  [[nodiscard]] Queue& queue() const { return *connection_->queue(); }
  [[nodiscard]] Queue& main() const { return *main_; }
  [[nodiscard]] bool closed() const;

 private:
  void stateChanged(platform::ConnectionState state);
  void finish();
  void released(std::size_t bytes);

  const std::shared_ptr<platform::AnyConnection> connection_;
  const std::shared_ptr<Queue> main_;
  const Duration goodbyeLimit_;
  mutable std::mutex mutex_;  // guards what follows
  std::size_t inflight_ = 0;  // bytes handed to the connection and not yet taken by the network
  bool closed_ = false;
  Counters counters_;
  LinkPace pace_;
};

}  // namespace tessaline
