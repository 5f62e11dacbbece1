#include "control/Controller.h"

#include <algorithm>
#include <utility>

#include "base/Log.h"
#include "shell/LoginItem.h"
#include "streaming/Messages.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kDefaultBitrate = 25'000'000;  // bit/s
constexpr std::int64_t kHighestBitrate = 60'000'000;  // what an encoder is ever given
constexpr auto kGoodbyeLimit = 1s;
constexpr std::int64_t kCertificateInterval = 900;  // seconds between looks at it
constexpr auto kReconnect = 2s;                     // after an end without a reason
constexpr auto kBlockedReconnect = 5s;              // the user needs time to find the settings

constexpr std::string_view kLastReceiver = "lastReceiver";
constexpr std::string_view kOnboarded = "onboarded";
constexpr std::string_view kMainConfigured = "mainConfigured";
constexpr std::string_view kNotPermitted =
    "Allow Screen Recording first (Setup Assistant, step 1).";

}  // namespace

Controller::Controller(ControllerServices services, UserDefaults& defaults)
    : services_(std::move(services)),
      main_(services_.session.queues.main()),
      defaults_(defaults),
      approved_(defaults),
      permission_(services_.screenAccess, services_.workspace, main_, defaults),
      airDrop_(services_.commands, services_.session.queues, defaults),
      search_(services_.discovery, services_.session.network, main_),
      web_(
          std::make_unique<WebScreenServer>(services_.session, defaults, approved_, services_.tls)),
      self_(std::make_shared<Controller*>(this)) {
  approvals_ = approved_.observe([this] { changed(); });
  server_ = web_->observe([this] { sessionsChanged(); });
  search_.onChange = [this] { changed(); };
  search_.onResults = [this] { autoConnect(); };
  airDrop_.onChange = [this] { changed(); };
}

Controller::~Controller() = default;

void Controller::launch() {
  hotkey_.registerAction(services_.session.desktop,
                         action([](Controller& controller) { controller.toggleStreaming(); }));
  web_->bitrate = bitrate();
  web_->onActivity = airDrop_.activityReporter();
  web_->start();
  if (services_.refreshCertificate) {
    refreshCertificate();
    const auto interval = defaults_.integer("certificateInterval").value_or(kCertificateInterval);
    certificate_ = main_->every(std::chrono::seconds(std::clamp<std::int64_t>(interval, 1, 86'400)),
                                [this] { refreshCertificate(); });
  }
  search_.start();
  if (!defaults_.boolean(kOnboarded).value_or(false)) showOnboarding();
  if (!defaults_.boolean(kMainConfigured).value_or(false)) {
    // Once: whoever turns it off later is not asked again.
    LoginItem::set(services_.workspace, true);
    defaults_.set(kMainConfigured, true);
  }
}

void Controller::refreshCertificate() {
  services_.refreshCertificate([this_ = std::weak_ptr(self_)](bool changed) {
    const auto controller = this_.lock();
    if (controller && changed) (*controller)->web_->reloadTLS();
  });
}

void Controller::toggleStreaming() {
  if (session_ || !web_->sessions().empty()) {
    disconnect();
    web_->stopAll();
  } else if (const auto target = startTarget()) {
    connect(*target);
  }
}

std::optional<std::string> Controller::startTarget() const {
  if (auto last = lastReceiver()) return last;
  if (receivers().empty()) return std::nullopt;
  return receivers().begin()->first;
}

bool Controller::connect(const std::string& name) {
  const auto found = receivers().find(name);
  if (found == receivers().end()) return false;
  const auto endpoint = found->second;
  connect(name, endpoint);
  return true;
}

void Controller::connect(const std::string& name, const platform::ServiceEndpoint& endpoint) {
  if (!quitDone_.empty()) return;
  if (!permission_.granted()) {
    lastError_ = kNotPermitted;
    showOnboarding();
    changed();
    return;
  }
  if (session_) {
    replaced_.push_back(std::exchange(session_, nullptr));
    const auto replaced = replaced_.back();
    replaced->stop();
  }
  userStopped_ = false;
  reconnect_ = {};
  lastError_.reset();
  setLastReceiver(name);
  airDrop_.connecting();

  const auto session = Session::toScreen(services_.session, name, endpoint, bitrate());
  const std::weak_ptr this_ = self_;
  const std::weak_ptr weak = session;
  session->approve = [this_](const Hello& hello, std::function<void(bool)> completion) {
    if (const auto controller = this_.lock()) {
      (*controller)->approved_.ask(hello, std::move(completion));
    }
  };
  session->onActivity = airDrop_.activityReporter();
  session->onStateChange = [this_, weak] {
    const auto controller = this_.lock();
    const auto changed = weak.lock();
    if (controller && changed) (*controller)->stateChanged(*changed);
  };
  session->onEnd = [this_, weak](const std::optional<std::string>& reason) {
    const auto controller = this_.lock();
    const auto over = weak.lock();
    if (controller && over) (*controller)->ended(over, reason);
  };
  session_ = session;
  activeName_ = name;
  streaming_ = false;
  session->start();
  sessionsChanged();
}

void Controller::stateChanged(const Session& session) {
  if (&session != session_.get()) return;
  streaming_ = session.streaming();
  if (streaming_) search_.noteReached();
  changed();
}

void Controller::ended(const std::shared_ptr<Session>& session,
                       const std::optional<std::string>& reason) {
  if (reason) log(session->name() + ": " + *reason);
  std::erase(replaced_, session);
  if (session == session_) sessionEnded(reason);
  sessionsChanged();
}

void Controller::sessionEnded(const std::optional<std::string>& reason) {
  session_.reset();
  activeName_.reset();
  streaming_ = false;
  if (reason) {
    lastError_ = reason;
    if (*reason == Messages::localNetwork) search_.noteDenied();
    if (*reason == Messages::refused) userStopped_ = true;  // it said no: it is not asked again
  }
  if (web_->sessions().empty()) airDrop_.lastSessionEnded();
  if (userStopped_ || (reason && *reason != Messages::localNetwork)) return;
  reconnect_ = main_->after(reason ? kBlockedReconnect : kReconnect, [this] { autoConnect(); });
}

void Controller::sessionsChanged() {
  airDrop_.setSessions(session_ || !web_->sessions().empty());
  if (!quitDone_.empty() && allEnded()) finishQuitAfter(Duration::zero());
  changed();
}

void Controller::autoConnect() {
  if (session_ || userStopped_ || !permission_.granted()) return;
  if (const auto name = lastReceiver()) connect(*name);
}

void Controller::disconnect() {
  userStopped_ = true;
  if (const auto session = session_) session->stop();
}

void Controller::showOnboarding() {
  services_.windows.setRegular(true);
  services_.windows.showOnboarding();
}

void Controller::finishOnboarding() {
  defaults_.set(kOnboarded, true);
  services_.windows.closeOnboarding();
  services_.windows.setRegular(false);
  autoConnect();
}

void Controller::requestScreenPermission() {
  permissionAsked_ = true;
  permission_.request();
  changed();
}

void Controller::switchRole() {
  quit([this] {
    if (onSwitchMode) onSwitchMode();
  });
}

void Controller::quit(std::function<void()> done) {
  quitDone_.push_back(std::move(done));
  if (quitDone_.size() > 1) return;  // whoever comes second waits with the first
  disconnect();
  web_->stopAll();
  linkReleased_ = false;
  airDrop_.release([this] {
    linkReleased_ = true;
    if (allEnded()) finishQuitAfter(Duration::zero());
  });
  // A device that does not read its goodbye must not keep the application from ending.
  if (!allEnded()) finishQuitAfter(kGoodbyeLimit);
}

bool Controller::allEnded() const {
  return !session_ && replaced_.empty() && web_->sessions().empty() && linkReleased_;
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

std::optional<std::string> Controller::lastReceiver() const {
  return defaults_.string(kLastReceiver);
}

void Controller::setLastReceiver(const std::optional<std::string>& name) {
  if (name == lastReceiver()) return;
  if (name) {
    defaults_.set(kLastReceiver, *name);
  } else {
    defaults_.remove(kLastReceiver);
  }
  changed();
}

void Controller::setCutAirDrop(bool cut) {
  airDrop_.setCut(cut);
  changed();
}

void Controller::setSmartAirDrop(bool smart) {
  airDrop_.setSmart(smart);
  changed();
}

std::vector<std::string> Controller::streamingNames() const {
  std::vector<std::string> names;
  if (session_ && session_->streaming()) names.push_back(session_->name());
  for (const auto& session : web_->sessions()) {
    if (session->streaming()) names.push_back(session->name());
  }
  return names;
}

bool Controller::live() const {
  return !streamingNames().empty();
}

Subscription Controller::observe(Observers::Observer observer) {
  return observers_.add(std::move(observer));
}

std::function<void()> Controller::action(std::function<void(Controller&)> operation) const {
  return [this_ = std::weak_ptr(self_), operation = std::move(operation)] {
    if (const auto controller = this_.lock()) operation(**controller);
  };
}

}  // namespace tessaline
