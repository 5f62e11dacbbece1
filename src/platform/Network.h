#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Bytes.h"
#include "base/Queue.h"
#include "base/Result.h"

namespace tessaline::platform {

/// A host, as a name or a numeric address with its interface scope, and a port.
struct Endpoint {
  std::string host;
  std::uint16_t port = 0;
};

/// A service as discovery names it. Where it is gets resolved anew at each connection.
struct ServiceEndpoint {
  std::string name;
  std::string type;
  std::string domain;
  auto operator<=>(const ServiceEndpoint&) const = default;
};

enum class ConnectionState {
  setup,
  preparing,
  waiting,  ///< no route or refused for now
  ready,
  failed,
  cancelled,
};

struct NetworkPath {
  Duration roundTrip{};         ///< of the newest acknowledged bytes, smoothed
  std::uint32_t resentPackets;  ///< since the connection began; wraps
};

/// What TCP and WebSocket connections have in common. A connection lives on the queue given when it
/// was made: its operations are called there (except `cancel`, from anywhere) and its callbacks run
/// there. Handlers hold their owner weakly; a connection destroys its handlers when it is
/// cancelled, and is cancelled when its last owner lets go of it.
class AnyConnection {
 public:
  using Done = std::function<void(bool ok)>;
  using StateHandler = std::function<void(ConnectionState)>;

  virtual ~AnyConnection() = default;
  [[nodiscard]] virtual const std::shared_ptr<Queue>& queue() const = 0;
  /// Reports every state from `preparing` on; `failed` and `cancelled` are final.
  virtual void start(StateHandler handler) = 0;
  /// Ends the connection at once; what was not sent is lost. The handler reports `cancelled`.
  virtual void cancel() = 0;
  /// Sends the parts in order, without copying them: as one run of bytes on a stream, as one binary
  /// message on a WebSocket. `done` runs when the system took all of them, or with false when the
  /// connection ended first.
  virtual void send(std::vector<SharedBytes> parts, Done done) = 0;
  /// The peer's numeric address, once known.
  [[nodiscard]] virtual std::optional<Endpoint> remoteEndpoint() const = 0;
  /// What the system knows of the way to the peer, nothing where it does not tell.
  [[nodiscard]] virtual std::optional<NetworkPath> path() const { return std::nullopt; }
  /// The system's privacy rules keep this application off the local network.
  [[nodiscard]] virtual bool localNetworkDenied() const { return false; }
};

/// A TCP byte stream. Both kinds of connection turn Nagle off, keep the unsent backlog out of the
/// kernel (so that completions tell what the network really took) and give up on a peer that
/// acknowledges nothing for 10 s.
class Connection : public AnyConnection {
 public:
  struct Received {
    Bytes bytes;
    bool complete = false;  ///< the peer closed its side
    bool failed = false;
  };
  /// Delivers between `minimum` and `maximum` bytes; fewer only together with `complete` or
  /// `failed`. One receive at a time.
  virtual void receive(std::size_t minimum, std::size_t maximum,
                       std::function<void(Received)> done) = 0;

  /// Sends the end of the stream, reads and drops what the peer still sends (bounded in bytes and
  /// time), then cancels: what was sent before is not lost to a reset.
  virtual void finish() = 0;
};

/// The server's side of a WebSocket: whole messages, RFC 6455.
class WebSocketConnection : public AnyConnection {
 public:
  enum class Opcode { text, binary };
  struct Message {
    Opcode opcode = Opcode::binary;
    Bytes bytes;
  };
  /// The next whole message; nothing when the connection ended or the peer broke the protocol.
  virtual void receive(std::function<void(std::optional<Message>)> done) = 0;
  /// Bytes one message may have from now on.
  virtual void setMaximumMessageSize(std::size_t bytes) = 0;
};

/// One UDP flow to one peer. Same queue rules as a connection.
class DatagramConnection {
 public:
  virtual ~DatagramConnection() = default;
  /// Errors are ignored: the next datagram repairs.
  virtual void send(ByteView bytes) = 0;
};

/// A private key with its certificate chain, as the TLS library holds them. Opaque above
/// `platform`.
class TransportIdentity {
 public:
  virtual ~TransportIdentity() = default;
};

struct ListenerParameters {
  std::uint16_t port = 0;  ///< 0: any free port
  /// TLS 1.2 or later with this identity; plain TCP without one.
  std::shared_ptr<const TransportIdentity> identity;
  /// Bytes that the system may hold of a connection that nobody reads; 0: as many as it likes.
  std::size_t unreadBytes = 0;
};

/// A listening socket on every interface, IPv6 and IPv4. It lives on the queue given when it was
/// made, delivers there, and stops listening when it is destroyed.
class Listener {
 public:
  virtual ~Listener() = default;
  [[nodiscard]] virtual std::uint16_t port() const = 0;
};

/// What came of opening a flow to a service on the local network.
enum class Reachability {
  ready,
  blocked,  ///< the system's privacy rules keep this application off the local network
  failed,   ///< the service was not found, or there is no way to it
};

/// A question whether a service can be reached. Destroying it on its queue takes the question back.
class ReachabilityProbe {
 public:
  virtual ~ReachabilityProbe() = default;
};

/// Makes connections and listeners.
class Network {
 public:
  template <typename T>
  using Accept = std::function<void(std::shared_ptr<T>)>;
  /// `from` is the sender's numeric address; the bytes live during the call only.
  using DatagramHandler = std::function<void(const Endpoint& from, ByteView bytes)>;
  /// Gives each accepted connection its queue, called for every connection.
  using QueueMaker = std::function<std::shared_ptr<Queue>()>;

  virtual ~Network() = default;

  /// A connection to `endpoint` that tries each of its addresses; not started.
  [[nodiscard]] virtual std::shared_ptr<Connection> connect(const Endpoint& endpoint,
                                                            std::shared_ptr<Queue> queue) = 0;
  /// A connection to wherever discovery finds `service` when it is started: each address with the
  /// advertised port. A service that is not found leaves the connection `waiting`.
  [[nodiscard]] virtual std::shared_ptr<Connection> connect(const ServiceEndpoint& service,
                                                            std::shared_ptr<Queue> queue) = 0;
  /// The error is a text such as "port 7790: address already in use".
  [[nodiscard]] virtual Result<std::unique_ptr<Listener>> listen(
      const ListenerParameters& parameters, std::shared_ptr<Queue> queue,
      Accept<Connection> accept) = 0;
  /// Accepted connections are not upgraded yet: `start` does that and then reports `ready`.
  [[nodiscard]] virtual Result<std::unique_ptr<Listener>> listenWebSocket(
      const ListenerParameters& parameters, std::shared_ptr<Queue> queue, QueueMaker queues,
      Accept<WebSocketConnection> accept) = 0;
  /// Nothing when `endpoint` is not a numeric address.
  [[nodiscard]] virtual std::unique_ptr<DatagramConnection> openDatagram(
      const Endpoint& endpoint, std::shared_ptr<Queue> queue) = 0;
  /// Receives from every sender. A flood leaves the queue's other work its turns, and loses
  /// datagrams instead of growing. The handler may destroy the listener.
  [[nodiscard]] virtual Result<std::unique_ptr<Listener>> listenDatagrams(
      std::uint16_t port, std::shared_ptr<Queue> queue, DatagramHandler handler) = 0;

  /// Opens a UDP flow to `service`, without sending anything. `done` runs once on `queue`, unless
  /// the probe is destroyed first; it may destroy the probe.
  [[nodiscard]] virtual std::unique_ptr<ReachabilityProbe> probe(
      const ServiceEndpoint& service, std::shared_ptr<Queue> queue,
      std::function<void(Reachability)> done) = 0;

  /// This computer's IPv4 address on the local network, nothing when it has none.
  [[nodiscard]] virtual std::optional<std::string> localIPv4Address() = 0;

  /// The name that the network knows for a numeric address. `done` runs on `queue`, with nothing
  /// when there is no name or it takes longer than `limit`.
  virtual void reverseName(const std::string& address, Duration limit, std::shared_ptr<Queue> queue,
                           std::function<void(std::optional<std::string>)> done) = 0;
};

}  // namespace tessaline::platform
