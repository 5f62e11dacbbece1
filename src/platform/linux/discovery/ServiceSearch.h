#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/LimitedLog.h"
#include "base/Queue.h"
#include "platform/ServiceDiscovery.h"
#include "platform/linux/discovery/AvahiObjects.h"
#include "platform/linux/discovery/VisibleServices.h"

namespace tessaline::platform {

/// Brings what a search sees to whoever asked, on their queue. At most one delivery of results
/// waits there, whatever the network does. Destroying it there ends the callbacks.
class SearchReport : public std::enable_shared_from_this<SearchReport> {
 public:
  SearchReport(std::weak_ptr<Queue> queue, ServiceBrowser::Callbacks callbacks);

  void results(std::vector<ServiceEndpoint> services);
  void state(ServiceBrowser::State state);

 private:
  void deliver();

  const std::weak_ptr<Queue> queue_;
  const ServiceBrowser::Callbacks callbacks_;
  std::mutex mutex_;  // guards what follows
  std::optional<std::vector<ServiceEndpoint>> waiting_;
};

/// One search for services of a type, which goes on whenever there is a daemon. Lives on the
/// discovery queue.
class ServiceSearch : public std::enable_shared_from_this<ServiceSearch> {
 public:
  ServiceSearch(std::shared_ptr<Queue> queue, std::string type, std::weak_ptr<SearchReport> report);

  /// The daemon's client from now on; none: there is no daemon.
  void use(AvahiClient* client);

 private:
  static void event(AvahiServiceBrowser* browser, AvahiIfIndex interface, AvahiProtocol protocol,
                    AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
                    AvahiLookupResultFlags flags, void* self);
  void seen(bool present, const ServiceEndpoint& service, VisibleServices::Place place);
  void browse();
  void stop();
  void retryLater();
  void tell(ServiceBrowser::State state);

  const std::shared_ptr<Queue> queue_;
  const std::string type_;
  const std::weak_ptr<SearchReport> report_;
  AvahiClient* client_ = nullptr;
  ServiceBrowserObject browser_;
  VisibleServices visible_;
  std::optional<ServiceBrowser::State> told_;
  LimitedLog log_;
  int saidError_ = 0;  // why it could not look, as logged
  Timer retry_;
};

}  // namespace tessaline::platform
