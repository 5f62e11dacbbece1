#include "platform/linux/discovery/VisibleServices.h"

namespace tessaline::platform {

VisibleServices::Change VisibleServices::add(const ServiceEndpoint& service, Place place) {
  const auto known = services_.find(service);
  if (known != services_.end()) {
    known->second.insert(place);
    return Change::none;
  }
  if (services_.size() >= kMost) return Change::refused;
  services_[service].insert(place);
  return Change::changed;
}

VisibleServices::Change VisibleServices::remove(const ServiceEndpoint& service, Place place) {
  const auto known = services_.find(service);
  if (known == services_.end()) return Change::none;
  known->second.erase(place);
  if (!known->second.empty()) return Change::none;
  services_.erase(known);
  return Change::changed;
}

bool VisibleServices::clear() {
  const bool any = !services_.empty();
  services_.clear();
  return any;
}

std::vector<ServiceEndpoint> VisibleServices::all() const {
  std::vector<ServiceEndpoint> list;
  list.reserve(services_.size());
  for (const auto& [service, places] : services_) list.push_back(service);
  return list;
}

}  // namespace tessaline::platform
