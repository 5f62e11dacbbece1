#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Queue.h"
#include "platform/Network.h"
#include "platform/linux/discovery/AvahiObjects.h"

namespace tessaline::platform {

/// The answer to one question where a service is, given once on the asking queue: also when the
/// discovery queue hangs in a request to a daemon that does not answer.
class LookupAnswer {
 public:
  using Done = std::function<void(std::vector<Endpoint>)>;

  explicit LookupAnswer(Done done) : done_(std::move(done)) {}

  /// From any thread. Lower ranks are tried first; an address that is there already, and more than
  /// anybody has, are left out.
  void add(int rank, const Endpoint& endpoint);
  /// On the asking queue. Only the first call counts.
  void give();

 private:
  Done done_;         // asking queue
  std::mutex mutex_;  // guards what follows
  std::vector<std::pair<int, Endpoint>> found_;
};

/// One such question under way: it finds the service's host and port, then every address of the
/// host. Lives on the discovery queue.
class ServiceLookup : public std::enable_shared_from_this<ServiceLookup> {
 public:
  ServiceLookup(std::shared_ptr<Queue> queue, std::shared_ptr<LookupAnswer> answer,
                std::function<void()> onFinished);

  void start(AvahiClient* client, const ServiceEndpoint& service);
  /// Nothing more will be found: says so unless that is known.
  void stop();

 private:
  static void resolved(AvahiServiceResolver* resolver, AvahiIfIndex interface,
                       AvahiProtocol protocol, AvahiResolverEvent event, const char* name,
                       const char* type, const char* domain, const char* host,
                       const AvahiAddress* address, std::uint16_t port, AvahiStringList* text,
                       AvahiLookupResultFlags flags, void* self);
  static void recordSeen(AvahiRecordBrowser* browser, AvahiIfIndex interface,
                         AvahiProtocol protocol, AvahiBrowserEvent event, const char* name,
                         std::uint16_t recordClass, std::uint16_t recordType, const void* data,
                         std::size_t size, AvahiLookupResultFlags flags, void* self);
  void lookUpAddresses(const std::string& host, std::uint16_t port);
  void addressSeen(AvahiIfIndex interface, std::span<const std::uint8_t> bytes);

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<LookupAnswer> answer_;
  const std::function<void()> onFinished_;  // may destroy this
  AvahiClient* client_ = nullptr;
  ServiceResolverObject resolver_;
  std::vector<RecordBrowserObject> addresses_;
  std::uint16_t port_ = 0;
  Timer grace_;
};

}  // namespace tessaline::platform
