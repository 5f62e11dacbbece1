#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/Observers.h"
#include "base/Queue.h"
#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/wayland/portal/PortalValues.h"

namespace tessaline::platform {

/// What became of a request to the portal.
struct PortalAnswer {
  enum class Kind {
    done,
    refused,  ///< its user said no
    failed,   ///< nobody said anything, or nothing that can be understood
  };
  Kind kind = Kind::failed;
  PortalValues values;
  std::string reason;  ///< of a failure, for the log
};

/// The desktop portal, over a bus connection of its own that comes back by itself: calls, requests,
/// and the ends of its sessions. Calls reach the portal in the order in which they were made. Main
/// queue, which all callbacks run on; nothing waits for the portal or the bus.
class PortalBus {
 public:
  struct Method {
    const char* interface;
    const char* name;
  };
  /// Writes a call's arguments. Runs on the bus's thread.
  using Write = std::function<void(sdbus::MethodCall&)>;
  /// Writes them with the options that a request wants beside its own.
  using WriteRequest = std::function<void(sdbus::MethodCall&, const PortalValues& options)>;
  /// Reads a reply; may throw sdbus::Error. Runs on the bus's thread.
  using Read = std::function<void(sdbus::MethodReply&)>;

  /// A request that has not been answered. Destroying it closes it: a dialog of it goes away.
  class Request;
  struct Answers {
    std::function<void(PortalAnswer)> answered;
    /// The answer was on its way when the request was closed.
    std::function<void(PortalAnswer)> tooLate = nullptr;
  };
  enum class Patience {
    machine,  ///< gives up after seconds
    person,   ///< waits for as long as the portal is there
  };

  [[nodiscard]] static std::shared_ptr<PortalBus> open(Queues& queues);
  ~PortalBus();
  PortalBus(const PortalBus&) = delete;
  PortalBus& operator=(const PortalBus&) = delete;

  void call(Method method, Write write, Read read,
            std::function<void(std::optional<std::string> error)> done);
  /// A call that nobody waits for.
  void send(Method method, Write write);
  [[nodiscard]] std::unique_ptr<Request> request(Method method, Patience patience,
                                                 WriteRequest write, Answers answers);

  /// Has `onClosed` run when the portal ends the session, with a reason for the log.
  [[nodiscard]] Subscription watchSession(const std::string& path,
                                          std::function<void(std::string reason)> onClosed);
  void closeSession(const std::string& path);

  /// Has `onActivated` run when a global shortcut of the session is pressed.
  [[nodiscard]] Subscription watchShortcut(const std::string& session,
                                           std::function<void()> onActivated);
  /// Has `onBack` run when a portal is there again after one had gone.
  [[nodiscard]] Subscription watchReturn(std::function<void()> onBack) {
    return return_.add(std::move(onBack));
  }

 private:
  class Wire;
  struct Pending {
    Answers answers;
    Timer patience;
    std::string handle;  // the request's object, once known
    bool closed = false;
  };

  explicit PortalBus(std::shared_ptr<Queue> main);
  void begun(const std::string& token, const std::string& handle);
  void answered(const std::string& token, PortalAnswer answer);
  void close(const std::string& token);
  void closeObject(const std::string& path, const char* interface);
  void sessionClosed(const std::string& path, const std::string& reason);
  void shortcutActivated(const std::string& session);
  void gone(const std::string& reason);

  const std::shared_ptr<Queue> main_;
  std::map<std::string, Pending> pending_;  // by the token in a request's path
  std::multimap<std::string, std::shared_ptr<std::function<void(std::string)>>> sessions_;
  std::multimap<std::string, std::shared_ptr<std::function<void()>>> shortcuts_;
  Observers return_;
  std::weak_ptr<PortalBus> self_;
  std::unique_ptr<Wire> wire_;  // last: its thread ends first
};

class PortalBus::Request {
 public:
  Request(std::weak_ptr<PortalBus> bus, std::string token)
      : bus_(std::move(bus)), token_(std::move(token)) {}
  ~Request() {
    if (const auto bus = bus_.lock()) bus->close(token_);
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

 private:
  const std::weak_ptr<PortalBus> bus_;
  const std::string token_;
};

}  // namespace tessaline::platform
