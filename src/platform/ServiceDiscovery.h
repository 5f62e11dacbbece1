#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/Network.h"

namespace tessaline::platform {

/// A service that stays visible to the local network as long as this object exists.
class ServiceAdvertisement {
 public:
  virtual ~ServiceAdvertisement() = default;
};

/// Looks for services as long as it exists; destroying it on its queue ends its callbacks.
class ServiceBrowser {
 public:
  enum class State {
    ready,    ///< looking
    waiting,  ///< cannot look for now; goes on by itself
    failed,
  };
  struct Callbacks {
    /// Everything visible now; the same service seen on several interfaces is one.
    std::function<void(std::vector<ServiceEndpoint>)> onResults;
    /// `error` is the system's DNS error code where it has one.
    std::function<void(State state, std::optional<int> error)> onState;
  };
  virtual ~ServiceBrowser() = default;
};

/// DNS service discovery through the system's own responder. A responder that is missing or goes
/// away costs one log line; what was asked of this object starts, or starts again, when the
/// responder is there. Callable from any thread; callbacks run on the queue given, which the
/// returned handles are destroyed on.
class ServiceDiscovery {
 public:
  virtual ~ServiceDiscovery() = default;

  /// Advertises `name` (the system appends a number while another host has that name) as a service
  /// of `type`, "_tessaline._tcp" say, on `port`, in the default domain and without a TXT record.
  [[nodiscard]] virtual std::unique_ptr<ServiceAdvertisement> advertise(const std::string& name,
                                                                        const std::string& type,
                                                                        std::uint16_t port) = 0;

  [[nodiscard]] virtual std::unique_ptr<ServiceBrowser> browse(
      const std::string& type, std::shared_ptr<Queue> queue,
      ServiceBrowser::Callbacks callbacks) = 0;

  /// Where `service` is now: every address of it with the advertised port, IPv6 addresses with
  /// their scope. `done` runs once on `queue`, with nothing when it was not found within `limit`.
  virtual void resolve(const ServiceEndpoint& service, Duration limit, std::shared_ptr<Queue> queue,
                       std::function<void(std::vector<Endpoint>)> done) = 0;
};

}  // namespace tessaline::platform
