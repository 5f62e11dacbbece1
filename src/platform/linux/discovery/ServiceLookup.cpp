#include "platform/linux/discovery/ServiceLookup.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace tessaline::platform {
namespace {

// How long the host's other addresses may follow the first. They are asked for together.
constexpr auto kGrace = std::chrono::milliseconds(200);
// More than any host has; the rest is somebody's nuisance.
constexpr std::size_t kMaxAddresses = 32;

constexpr std::uint16_t kInternet = 1;  // the DNS class, and the two record types
constexpr std::uint16_t kIPv4Record = 1;
constexpr std::uint16_t kIPv6Record = 28;

struct Address {
  std::string text;
  int rank = 0;
};

// What is on every network first, what needs the right interface last.
constexpr int kIPv4Rank = 0;
constexpr int kIPv6Rank = 1;
constexpr int kLinkLocalRank = 2;

bool isLoopback(AvahiIfIndex interface) {
  std::array<char, IF_NAMESIZE> name{};
  return ::if_indextoname(static_cast<unsigned>(interface), name.data()) &&
         std::strcmp(name.data(), "lo") == 0;
}

/// Nothing for what no other host can have.
std::optional<Address> readIPv4(AvahiIfIndex interface, std::span<const std::uint8_t> bytes) {
  const bool loopback = bytes[0] == 127;
  if (bytes[0] == 0 || bytes[0] >= 224 || (loopback && !isLoopback(interface))) return std::nullopt;
  std::array<char, INET_ADDRSTRLEN> text{};
  ::inet_ntop(AF_INET, bytes.data(), text.data(), text.size());
  return Address{text.data(), kIPv4Rank};
}

std::optional<Address> readIPv6(AvahiIfIndex interface, std::span<const std::uint8_t> bytes) {
  in6_addr address{};
  std::memcpy(&address, bytes.data(), sizeof address);
  if (IN6_IS_ADDR_UNSPECIFIED(&address) || IN6_IS_ADDR_MULTICAST(&address) ||
      IN6_IS_ADDR_V4MAPPED(&address) ||
      (IN6_IS_ADDR_LOOPBACK(&address) && !isLoopback(interface))) {
    return std::nullopt;
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  ::inet_ntop(AF_INET6, &address, text.data(), text.size());
  if (!IN6_IS_ADDR_LINKLOCAL(&address)) return Address{text.data(), kIPv6Rank};
  std::array<char, IF_NAMESIZE> scope{};
  if (!::if_indextoname(static_cast<unsigned>(interface), scope.data())) return std::nullopt;
  return Address{std::string(text.data()) + "%" + scope.data(), kLinkLocalRank};
}

}  // namespace

void LookupAnswer::add(int rank, const Endpoint& endpoint) {
  const std::lock_guard lock(mutex_);
  const bool known = std::any_of(found_.begin(), found_.end(), [&](const auto& entry) {
    return entry.second.host == endpoint.host && entry.second.port == endpoint.port;
  });
  if (!known && found_.size() < kMaxAddresses) found_.emplace_back(rank, endpoint);
}

void LookupAnswer::give() {
  const auto done = std::exchange(done_, nullptr);
  if (!done) return;
  std::vector<Endpoint> endpoints;
  {
    const std::lock_guard lock(mutex_);
    std::stable_sort(found_.begin(), found_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [rank, endpoint] : found_) endpoints.push_back(std::move(endpoint));
    found_.clear();
  }
  done(std::move(endpoints));
}

ServiceLookup::ServiceLookup(std::shared_ptr<Queue> queue, std::shared_ptr<LookupAnswer> answer,
                             std::function<void()> onFinished)
    : queue_(std::move(queue)), answer_(std::move(answer)), onFinished_(std::move(onFinished)) {}

void ServiceLookup::start(AvahiClient* client, const ServiceEndpoint& service) {
  client_ = client;
  if (client_) {
    constexpr auto flags =
        static_cast<AvahiLookupFlags>(AVAHI_LOOKUP_NO_TXT | AVAHI_LOOKUP_NO_ADDRESS);
    resolver_.reset(avahi_service_resolver_new(
        client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, service.name.c_str(), service.type.c_str(),
        service.domain.c_str(), AVAHI_PROTO_UNSPEC, flags, resolved, this));
  }
  if (!resolver_) stop();
}

void ServiceLookup::stop() {
  grace_.cancel();
  addresses_.clear();
  resolver_.reset();
  client_ = nullptr;
  onFinished_();
}

void ServiceLookup::resolved(AvahiServiceResolver*, AvahiIfIndex, AvahiProtocol,
                             AvahiResolverEvent event, const char*, const char*, const char*,
                             const char* host, const AvahiAddress*, std::uint16_t port,
                             AvahiStringList*, AvahiLookupResultFlags, void* self) {
  auto& lookup = *static_cast<ServiceLookup*>(self);
  // The resolver is inside this call, and goes on telling what changes.
  lookup.queue_->async([weak = lookup.weak_from_this(), found = event == AVAHI_RESOLVER_FOUND,
                        name = std::string(host ? host : ""), port] {
    const auto alive = weak.lock();
    if (!alive || !alive->client_ || !alive->addresses_.empty()) return;
    if (found && port != 0) {
      alive->lookUpAddresses(name, port);
    } else {
      alive->stop();
    }
  });
}

void ServiceLookup::lookUpAddresses(const std::string& host, std::uint16_t port) {
  port_ = port;
  for (const auto record : {kIPv4Record, kIPv6Record}) {
    addresses_.emplace_back(avahi_record_browser_new(client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                                     host.c_str(), kInternet, record, {},
                                                     recordSeen, this));
  }
  if (!addresses_[0] && !addresses_[1]) stop();
}

void ServiceLookup::recordSeen(AvahiRecordBrowser*, AvahiIfIndex interface, AvahiProtocol,
                               AvahiBrowserEvent event, const char*, std::uint16_t,
                               std::uint16_t recordType, const void* data, std::size_t size,
                               AvahiLookupResultFlags, void* self) {
  if (event != AVAHI_BROWSER_NEW || !data) return;
  const std::size_t expected = recordType == kIPv4Record ? sizeof(in_addr) : sizeof(in6_addr);
  if (size != expected) return;
  static_cast<ServiceLookup*>(self)->addressSeen(interface,
                                                 {static_cast<const std::uint8_t*>(data), size});
}

void ServiceLookup::addressSeen(AvahiIfIndex interface, std::span<const std::uint8_t> bytes) {
  const auto address =
      bytes.size() == sizeof(in_addr) ? readIPv4(interface, bytes) : readIPv6(interface, bytes);
  if (!address) return;
  answer_->add(address->rank, {address->text, port_});
  if (grace_.active()) return;
  grace_ = queue_->after(kGrace, [weak = weak_from_this()] {
    if (const auto alive = weak.lock()) alive->stop();
  });
}

}  // namespace tessaline::platform
