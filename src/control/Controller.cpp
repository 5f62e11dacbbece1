#include "control/Controller.h"

#include <algorithm>
#include <utility>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kDefaultBitrate = 25'000'000;  // bit/s
constexpr std::int64_t kHighestBitrate = 60'000'000;  // what an encoder is ever given
constexpr auto kGoodbyeLimit = 1s;

}  // namespace

Controller::Controller(ControllerServices services, UserDefaults& defaults)
    : Controller(services.session, defaults) {}

Controller::Controller(SessionServices services, UserDefaults& defaults)
    : main_(services.queues.main()),
      defaults_(defaults),
      approved_(defaults),
      web_(std::make_unique<WebScreenServer>(services, defaults, approved_)) {
  approvals_ = approved_.observe([this] { observers_.notify(); });
  server_ = web_->observe([this] {
    observers_.notify();
    if (!quitDone_.empty() && web_->sessions().empty()) finishQuitAfter(Duration::zero());
  });
}

Controller::~Controller() = default;

void Controller::launch() {
  web_->bitrate = bitrate();
  web_->start();
}

void Controller::switchRole() {
  quit([this] {
    if (onSwitchMode) onSwitchMode();
  });
}

void Controller::quit(std::function<void()> done) {
  quitDone_.push_back(std::move(done));
  if (quitDone_.size() > 1) return;  // whoever comes second waits with the first
  web_->stopAll();
  // A device that does not read its goodbye must not keep the application from ending.
  finishQuitAfter(web_->sessions().empty() ? Duration::zero() : kGoodbyeLimit);
}

void Controller::finishQuitAfter(Duration delay) {
  // Never at once: `done` may destroy this object, which whoever reports a change is still using.
  quitTimer_ = main_->after(delay, [this] {
    const auto waiting = std::exchange(quitDone_, {});
    for (const auto& done : waiting) done();
  });
}

int Controller::bitrate() const {
  const std::int64_t stored = defaults_.integer("bitrate").value_or(kDefaultBitrate);
  return static_cast<int>(stored < 1 ? kDefaultBitrate : std::min(stored, kHighestBitrate));
}

// The operations below wait for what they stand on.

void Controller::toggleStreaming() {}

bool Controller::connect(const std::string& name) {
  return receivers().contains(name);
}

void Controller::connect(const std::string&, const platform::ServiceEndpoint&) {}

void Controller::autoConnect() {}

void Controller::disconnect() {}

void Controller::showOnboarding() {}

void Controller::finishOnboarding() {}

void Controller::requestScreenPermission() {}

const std::map<std::string, platform::ServiceEndpoint>& Controller::receivers() const {
  static const std::map<std::string, platform::ServiceEndpoint> none;
  return none;
}

bool Controller::localNetworkDenied() const {
  return false;
}

bool Controller::localNetworkOK() const {
  return false;
}

bool Controller::browsing() const {
  return false;
}

std::optional<std::string> Controller::lastReceiver() const {
  return defaults_.string("lastReceiver");
}

void Controller::setLastReceiver(const std::optional<std::string>& name) {
  if (name) {
    defaults_.set("lastReceiver", *name);
  } else {
    defaults_.remove("lastReceiver");
  }
}

bool Controller::cutAirDrop() const {
  return defaults_.boolean("cutAirDrop").value_or(true);
}

void Controller::setCutAirDrop(bool cut) {
  defaults_.set("cutAirDrop", cut);
}

bool Controller::smartAirDrop() const {
  return defaults_.boolean("smartAirDrop").value_or(true);
}

void Controller::setSmartAirDrop(bool smart) {
  defaults_.set("smartAirDrop", smart);
}

StatusMenu Controller::statusMenu() {
  return {};
}

SetupAssistant Controller::setupAssistant() {
  return {};
}

bool Controller::live() const {
  return std::ranges::any_of(web_->sessions(),
                             [](const auto& session) { return session->streaming(); });
}

Subscription Controller::observe(Observers::Observer observer) {
  return observers_.add(std::move(observer));
}

}  // namespace tessaline
