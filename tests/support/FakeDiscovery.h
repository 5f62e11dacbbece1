#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/ServiceDiscovery.h"

namespace tessaline::test {

/// A local network on which the test is every other computer.
class FakeDiscovery final : public platform::ServiceDiscovery {
 public:
  struct Browser final : platform::ServiceBrowser {
    FakeDiscovery* discovery = nullptr;
    std::string type;
    std::shared_ptr<Queue> queue;
    Callbacks callbacks;
    ~Browser() override { std::erase(discovery->browsers, this); }
  };

  std::vector<Browser*> browsers;                                    // those that exist
  std::map<std::string, std::vector<platform::Endpoint>> addresses;  // by a service's name

  std::unique_ptr<platform::ServiceAdvertisement> advertise(const std::string&, const std::string&,
                                                            std::uint16_t) override {
    return std::make_unique<platform::ServiceAdvertisement>();
  }
  std::unique_ptr<platform::ServiceBrowser> browse(
      const std::string& type, std::shared_ptr<Queue> queue,
      platform::ServiceBrowser::Callbacks callbacks) override {
    auto made = std::make_unique<Browser>();
    made->discovery = this;
    made->type = type;
    made->queue = std::move(queue);
    made->callbacks = std::move(callbacks);
    browsers.push_back(made.get());
    return made;
  }
  void resolve(const platform::ServiceEndpoint& service, Duration, std::shared_ptr<Queue> queue,
               std::function<void(std::vector<platform::Endpoint>)> done) override {
    queue->async([done = std::move(done), found = addresses[service.name]] { done(found); });
  }

  /// The newest browser sees services with these names.
  void show(const std::vector<std::string>& names) {
    std::vector<platform::ServiceEndpoint> services;
    for (const auto& name : names) services.push_back({name, browsers.back()->type, "local"});
    browsers.back()->queue->async(
        [callbacks = browsers.back()->callbacks, services] { callbacks.onResults(services); });
  }
};

}  // namespace tessaline::test
