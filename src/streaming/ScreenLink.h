#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/Bytes.h"
#include "protocol/Hello.h"

namespace tessaline {

/// How a session talks to one display device, whichever kind it is. A link is started once; after
/// `stop`, a failure or the peer's end it reports `onClose` exactly once and drops every send.
/// Owned by its session; its sockets live on a queue of its own. Callbacks are set before `start`
/// and hold their owner weakly.
class ScreenLink {
 public:
  /// An input message of a browser device: a JSON object with a key "t".
  using Input = boost::json::object;

  /// What became of the messages given to `send`, since the link was made.
  struct Counters {
    std::uint64_t frames = 0;   ///< queued pictures
    std::uint64_t bytes = 0;    ///< queued, of all messages with their headers
    std::uint64_t dropped = 0;  ///< messages
  };

  virtual ~ScreenLink();

  /// On the main queue, for the first hello that can be read.
  std::function<void(Hello)> onHello;
  /// On the main queue, once.
  std::function<void()> onClose;
  /// On the link's queue: the owner hops to its own.
  std::function<void(const Input&)> onInput;
  /// On the link's queue, with the probe's id and the device's decode time in milliseconds.
  std::function<void(std::uint32_t id, double decodeTime)> onProbeAck;
  /// On the link's queue, whenever the network took bytes: `unsentBytes` has become smaller.
  std::function<void()> onDrain;

  /// The system's privacy rules block the connection.
  [[nodiscard]] virtual bool localNetworkDenied() const = 0;
  /// The peer's numeric address, once known.
  [[nodiscard]] virtual std::optional<std::string> remoteHost() const = 0;
  /// The pointer travels inside the stream, not as datagrams; such a device is a touch device.
  [[nodiscard]] virtual bool sendsPointerInline() const = 0;

  virtual void start() = 0;
  /// Ends the connection at once.
  virtual void stop() = 0;
  /// Tells the peer that this is an orderly end, then ends the connection.
  virtual void sayGoodbye() = 0;

  /// Queues one message, from any thread. False when it was dropped: the link is closed or more
  /// than its budget of bytes is still unsent.
  virtual bool send(std::uint8_t type, SharedBytes payload) = 0;
  bool send(std::uint8_t type, ByteView payload = {});

  /// Bytes queued here that the network has not taken yet. Callable from any thread.
  [[nodiscard]] virtual std::size_t unsentBytes() const = 0;
  /// Bit/s that the network carries without pictures piling up, nothing while it takes all that it
  /// is given. Callable from any thread.
  [[nodiscard]] virtual std::optional<int> carriedBitRate() const = 0;
  /// Callable from any thread.
  [[nodiscard]] virtual Counters counters() const = 0;
};

}  // namespace tessaline
