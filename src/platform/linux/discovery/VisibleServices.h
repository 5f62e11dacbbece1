#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/Network.h"

namespace tessaline::platform {

/// The services that a search sees now. The same service on several interfaces is one, and is there
/// until the last of them loses it.
class VisibleServices {
 public:
  /// Far more than any home or office has; a network that shows more is up to something.
  static constexpr std::size_t kMost = 256;

  /// An interface and the protocol on it, as the daemon numbers them.
  using Place = std::pair<int, int>;

  enum class Change { none, changed, refused };
  Change add(const ServiceEndpoint& service, Place place);
  Change remove(const ServiceEndpoint& service, Place place);
  /// True when there was something.
  bool clear();

  [[nodiscard]] std::vector<ServiceEndpoint> all() const;

 private:
  std::map<ServiceEndpoint, std::set<Place>> services_;
};

}  // namespace tessaline::platform
