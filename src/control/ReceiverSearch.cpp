#include "control/ReceiverSearch.h"

#include <utility>

#include "protocol/Proto.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kProbeInterval = 3s;    // between tries, until one succeeds
constexpr int kPolicyDenied = -65570;  // the DNS error of a refused local network

}  // namespace

ReceiverSearch::ReceiverSearch(platform::ServiceDiscovery& discovery, platform::Network& network,
                               std::shared_ptr<Queue> main)
    : discovery_(discovery), network_(network), main_(std::move(main)) {}

void ReceiverSearch::start() {
  browser_ = discovery_.browse(
      std::string(Proto::serviceType), main_,
      {.onResults = [this](const auto& services) { found(services); },
       .onState = [this](auto state, auto error) { stateChanged(state, error); }});
}

void ReceiverSearch::found(const std::vector<platform::ServiceEndpoint>& services) {
  Receivers receivers;
  for (const auto& service : services) receivers.insert_or_assign(service.name, service);
  if (receivers != receivers_) {
    receivers_ = std::move(receivers);
    changed();
  }
  probeLocalNetwork();
  if (onResults) onResults();
}

void ReceiverSearch::stateChanged(platform::ServiceBrowser::State state, std::optional<int> error) {
  if (state == platform::ServiceBrowser::State::ready) {
    if (!std::exchange(browsing_, true)) changed();
  } else if (error == kPolicyDenied) {
    noteDenied();
  }
}

void ReceiverSearch::probeLocalNetwork() {
  if (ok_ || probe_ || receivers_.empty()) return;
  probe_ = network_.probe(receivers_.begin()->second, main_,
                          [this](platform::Reachability result) { probed(result); });
  if (probeTimer_.active()) return;
  probeTimer_ = main_->every(kProbeInterval, [this] { probeLocalNetwork(); });
}

void ReceiverSearch::probed(platform::Reachability reachability) {
  const auto over = std::move(probe_);
  if (reachability == platform::Reachability::ready) noteReached();
  if (reachability == platform::Reachability::blocked) noteDenied();
}

void ReceiverSearch::noteReached() {
  probe_.reset();
  probeTimer_ = {};
  const bool known = ok_ && !denied_;
  ok_ = true;
  denied_ = false;
  if (!known) changed();
}

void ReceiverSearch::noteDenied() {
  if (!std::exchange(denied_, true)) changed();
}

void ReceiverSearch::changed() {
  if (onChange) onChange();
}

}  // namespace tessaline
