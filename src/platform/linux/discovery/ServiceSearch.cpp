#include "platform/linux/discovery/ServiceSearch.h"

#include <avahi-common/error.h>

#include <utility>

#include "base/Log.h"
#include "platform/linux/discovery/ServiceNames.h"

namespace tessaline::platform {
namespace {

constexpr auto kRetry = std::chrono::seconds(5);  // after the daemon refused

}  // namespace

SearchReport::SearchReport(std::weak_ptr<Queue> queue, ServiceBrowser::Callbacks callbacks)
    : queue_(std::move(queue)), callbacks_(std::move(callbacks)) {}

void SearchReport::results(std::vector<ServiceEndpoint> services) {
  const std::lock_guard lock(mutex_);
  const bool announced = waiting_.has_value();
  waiting_ = std::move(services);
  const auto queue = queue_.lock();
  if (announced || !queue) return;
  queue->async([weak = weak_from_this()] {
    if (const auto report = weak.lock()) report->deliver();
  });
}

void SearchReport::deliver() {
  std::optional<std::vector<ServiceEndpoint>> services;
  {
    const std::lock_guard lock(mutex_);
    services.swap(waiting_);
  }
  if (services && callbacks_.onResults) callbacks_.onResults(std::move(*services));
}

void SearchReport::state(ServiceBrowser::State state) {
  const auto queue = queue_.lock();
  if (!queue) return;
  queue->async([weak = weak_from_this(), state] {
    const auto report = weak.lock();
    if (report && report->callbacks_.onState) report->callbacks_.onState(state, std::nullopt);
  });
}

ServiceSearch::ServiceSearch(std::shared_ptr<Queue> queue, std::string type,
                             std::weak_ptr<SearchReport> report)
    : queue_(std::move(queue)), type_(std::move(type)), report_(std::move(report)) {}

void ServiceSearch::use(AvahiClient* client) {
  if (client == client_ && told_) return;
  stop();
  client_ = client;
  if (client_) {
    browse();
  } else {
    tell(ServiceBrowser::State::waiting);
  }
}

void ServiceSearch::browse() {
  browser_.reset(avahi_service_browser_new(client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                           type_.c_str(), nullptr, {}, event, this));
  if (browser_) {
    tell(ServiceBrowser::State::ready);
  } else {
    retryLater();
  }
}

void ServiceSearch::stop() {
  browser_.reset();
  retry_.cancel();
  if (!visible_.clear()) return;
  if (const auto report = report_.lock()) report->results({});
}

void ServiceSearch::event(AvahiServiceBrowser* browser, AvahiIfIndex interface,
                          AvahiProtocol protocol, AvahiBrowserEvent event, const char* name,
                          const char* type, const char* domain, AvahiLookupResultFlags,
                          void* self) {
  auto& search = *static_cast<ServiceSearch*>(self);
  switch (event) {
    case AVAHI_BROWSER_NEW:
    case AVAHI_BROWSER_REMOVE:
      search.seen(event == AVAHI_BROWSER_NEW, {name, type, domain}, {interface, protocol});
      break;
    case AVAHI_BROWSER_FAILURE:
      // The browser is inside this call.
      search.queue_->async([weak = search.weak_from_this(), browser] {
        const auto alive = weak.lock();
        if (alive && alive->browser_.get() == browser) alive->retryLater();
      });
      break;
    case AVAHI_BROWSER_CACHE_EXHAUSTED:
    case AVAHI_BROWSER_ALL_FOR_NOW:
      break;
  }
}

void ServiceSearch::seen(bool present, const ServiceEndpoint& service,
                         VisibleServices::Place place) {
  using enum VisibleServices::Change;
  if (!isServiceName(service.name)) {
    log_.write("Discovery left out a service whose name is not text");
    return;
  }
  switch (present ? visible_.add(service, place) : visible_.remove(service, place)) {
    case changed:
      if (const auto report = report_.lock()) report->results(visible_.all());
      break;
    case refused:
      log_.write("Discovery left out a service: the network shows more than " +
                 std::to_string(VisibleServices::kMost));
      break;
    case none:
      break;
  }
}

void ServiceSearch::retryLater() {
  const int error = avahi_client_errno(client_);
  if (std::exchange(saidError_, error) != error) {
    log("Discovery cannot look for " + type_ + " now: " + avahi_strerror(error));
  }
  stop();
  tell(ServiceBrowser::State::waiting);
  retry_ = queue_->after(kRetry, [weak = weak_from_this()] {
    const auto alive = weak.lock();
    if (alive && alive->client_) alive->browse();
  });
}

void ServiceSearch::tell(ServiceBrowser::State state) {
  if (told_ == state) return;
  told_ = state;
  if (const auto report = report_.lock()) report->state(state);
}

}  // namespace tessaline::platform
