#include "platform/linux/discovery/AvahiDiscovery.h"

#include <atomic>
#include <cstdint>
#include <future>
#include <map>
#include <utility>

#include "platform/linux/discovery/Daemon.h"
#include "platform/linux/discovery/Publication.h"
#include "platform/linux/discovery/ServiceLookup.h"
#include "platform/linux/discovery/ServiceSearch.h"

namespace tessaline::platform {
namespace {

// How long the end waits for a daemon to take leave of.
constexpr auto kPatience = std::chrono::seconds(1);

using Number = std::uint64_t;

/// Everything that is asked for at the moment, and the daemon that it is asked of. Lives on the
/// discovery queue.
class Demands : public std::enable_shared_from_this<Demands> {
 public:
  explicit Demands(std::shared_ptr<Queue> queue)
      : queue_(std::move(queue)), daemon_(std::make_shared<Daemon>(queue_)) {}

  void start() {
    daemon_->onChange = [this] { daemonChanged(); };
    daemon_->connect();
  }
  void publish(Number number, const std::string& name, const std::string& type,
               std::uint16_t port) {
    const auto made = std::make_shared<Publication>(queue_, name, type, port);
    publications_[number] = made;
    made->use(daemon_->publisher());
  }
  void search(Number number, const std::string& type, const std::weak_ptr<SearchReport>& report) {
    const auto made = std::make_shared<ServiceSearch>(queue_, type, report);
    searches_[number] = made;
    made->use(daemon_->client());
  }
  void lookUp(Number number, const ServiceEndpoint& service, std::weak_ptr<Queue> asking,
              std::shared_ptr<LookupAnswer> answer) {
    const auto onFinished = [this, number, asking = std::move(asking), answer] {
      if (const auto home = asking.lock()) home->async([answer] { answer->give(); });
      queue_->async([weak = weak_from_this(), number] {
        if (const auto alive = weak.lock()) alive->remove(number);
      });
    };
    const auto made = std::make_shared<ServiceLookup>(queue_, std::move(answer), onFinished);
    lookups_[number] = made;
    made->start(daemon_->client(), service);
  }
  void remove(Number number) {
    publications_.erase(number);
    searches_.erase(number);
    lookups_.erase(number);
  }

 private:
  void daemonChanged() {
    for (const auto& [number, publication] : publications_) publication->use(daemon_->publisher());
    for (const auto& [number, search] : searches_) search->use(daemon_->client());
    if (daemon_->client()) return;
    for (const auto& [number, lookup] : lookups_) lookup->stop();
  }

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<Daemon> daemon_;  // outlives what follows: that consists of its objects
  std::map<Number, std::shared_ptr<Publication>> publications_;
  std::map<Number, std::shared_ptr<ServiceSearch>> searches_;
  std::map<Number, std::shared_ptr<ServiceLookup>> lookups_;
};

/// Takes a demand back when its owner has gone.
class Demand {
 public:
  Demand(const std::shared_ptr<Queue>& queue, std::weak_ptr<Demands> demands, Number number)
      : queue_(queue), demands_(std::move(demands)), number_(number) {}
  ~Demand() {
    const auto queue = queue_.lock();
    if (!queue) return;
    queue->async([demands = demands_, number = number_] {
      if (const auto alive = demands.lock()) alive->remove(number);
    });
  }
  Demand(const Demand&) = delete;
  Demand& operator=(const Demand&) = delete;

 private:
  const std::weak_ptr<Queue> queue_;
  const std::weak_ptr<Demands> demands_;
  const Number number_;
};

class Advertisement final : public ServiceAdvertisement {
 public:
  Advertisement(const std::shared_ptr<Queue>& queue, std::weak_ptr<Demands> demands, Number number)
      : demand_(queue, std::move(demands), number) {}

 private:
  const Demand demand_;
};

class Browser final : public ServiceBrowser {
 public:
  Browser(const std::shared_ptr<Queue>& queue, std::weak_ptr<Demands> demands, Number number,
          std::shared_ptr<SearchReport> report)
      : demand_(queue, std::move(demands), number), report_(std::move(report)) {}

 private:
  const Demand demand_;
  const std::shared_ptr<SearchReport> report_;
};

class AvahiDiscovery final : public ServiceDiscovery {
 public:
  explicit AvahiDiscovery(std::shared_ptr<Queue> queue)
      : queue_(std::move(queue)), demands_(std::make_shared<Demands>(queue_)) {
    tell([](Demands& demands) { demands.start(); });
  }

  // A request to the daemon that hangs keeps its thread, which then ends by itself.
  ~AvahiDiscovery() override {
    const auto done = std::make_shared<std::promise<void>>();
    queue_->async([done, demands = std::move(demands_)]() mutable {
      demands.reset();
      done->set_value();
    });
    done->get_future().wait_for(kPatience);
  }
  AvahiDiscovery(const AvahiDiscovery&) = delete;
  AvahiDiscovery& operator=(const AvahiDiscovery&) = delete;

  std::unique_ptr<ServiceAdvertisement> advertise(const std::string& name, const std::string& type,
                                                  std::uint16_t port) override {
    const auto number = next_++;
    tell([=](Demands& demands) { demands.publish(number, name, type, port); });
    return std::make_unique<Advertisement>(queue_, demands_, number);
  }

  std::unique_ptr<ServiceBrowser> browse(const std::string& type, std::shared_ptr<Queue> queue,
                                         ServiceBrowser::Callbacks callbacks) override {
    const auto number = next_++;
    auto report = std::make_shared<SearchReport>(queue, std::move(callbacks));
    tell([number, type, weak = std::weak_ptr(report)](Demands& demands) {
      demands.search(number, type, weak);
    });
    return std::make_unique<Browser>(queue_, demands_, number, std::move(report));
  }

  void resolve(const ServiceEndpoint& service, Duration limit, std::shared_ptr<Queue> queue,
               std::function<void(std::vector<Endpoint>)> done) override {
    const auto number = next_++;
    auto answer = std::make_shared<LookupAnswer>(std::move(done));
    // The limit runs on the asking queue: it holds also while the daemon keeps ours waiting.
    auto takeBack = std::make_shared<Demand>(queue_, demands_, number);
    queue->asyncAfter(limit, [answer, takeBack = std::move(takeBack)] { answer->give(); });
    tell([number, service, asking = std::weak_ptr(queue), answer](Demands& demands) {
      demands.lookUp(number, service, asking, answer);
    });
  }

 private:
  void tell(std::function<void(Demands&)> work) {
    queue_->async([weak = std::weak_ptr(demands_), work = std::move(work)] {
      if (const auto demands = weak.lock()) work(*demands);
    });
  }

  const std::shared_ptr<Queue> queue_;
  std::shared_ptr<Demands> demands_;
  std::atomic<Number> next_ = 1;
};

}  // namespace

std::shared_ptr<ServiceDiscovery> createDiscovery(Queues& queues) {
  return std::make_shared<AvahiDiscovery>(queues.thread("tessaline.discovery"));
}

}  // namespace tessaline::platform
