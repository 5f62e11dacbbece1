#include "app/MainRole.h"

#include <algorithm>

namespace tessaline {
namespace {

// Probes go out once a second and a session keeps that many answers.
constexpr std::size_t kDecodeTimesCounted = 300;

/// The value that `share` of `values` do not exceed; 0 without any.
double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  const auto rank =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), rank, values.end());
  return *rank;
}

ControlBus::Screen describe(const Session& session) {
  const auto& all = session.decodeTimes();
  const std::vector<double> decodeTimes(
      all.end() - static_cast<std::ptrdiff_t>(std::min(all.size(), kDecodeTimesCounted)),
      all.end());
  const auto counters = session.link().counters();
  const PixelSize size = session.pictureSize();
  return {.name = session.name(),
          .streaming = session.streaming(),
          .width = size.width,
          .height = size.height,
          .measurements = {.latencyMedian = quantile(session.latency(), 0.5),
                           .latency95th = quantile(session.latency(), 0.95),
                           .decodeTime = quantile(decodeTimes, 0.5),
                           .frames = counters.frames,
                           .bytes = counters.bytes,
                           .droppedMessages = counters.dropped}};
}

}  // namespace

MainRole::MainRole(Queues& queues, UserDefaults& defaults, System system,
                   platform::Workspace& workspace, ControllerWindows& windows)
    : defaults_(defaults),
      system_(std::move(system)),
      touch_(queues.main(), defaults, *system_.desktop),
      arrangement_(defaults),
      certificate_({.queues = queues,
                    .network = *system_.network,
                    .processes = system_.processes,
                    .http = system_.http,
                    .security = system_.security},
                   defaults, TLSIdentity(system_.support, system_.security)),
      controller_(
          {.session = {queues, *system_.desktop, *system_.coding, *system_.network, &touch_,
                       &arrangement_},
           .discovery = *system_.discovery,
           .workspace = workspace,
           .commands = system_.commands,
           .screenAccess = system_.desktop->captureAccess(),
           .windows = windows,
           .touch = touch_,
           .tls = TLSIdentity(system_.support, system_.security),
           .refreshCertificate = [this](auto done) { certificate_.refresh(std::move(done)); }},
          defaults) {
  controller_.onSwitchMode = [this] {
    if (onSwitchMode) onSwitchMode();
  };
  controller_.onTerminate = [this] {
    if (onTerminate) onTerminate();
  };
}

void MainRole::start() {
  controller_.launch();
}

void MainRole::reopen() {
  controller_.showOnboarding();
  if (onReopen) onReopen();
}

void MainRole::quit(std::function<void()> done) {
  controller_.quit(std::move(done));
}

ControlBus::Service MainRole::service() const {
  const WebScreenServer& web = controller_.web();
  ControlBus::Service service{.link = web.url(),
                              .key = web.key(),
                              .encrypted = web.encrypted(),
                              .screens = {},
                              .computers = {},
                              .statusText = controller_.statusMenu().header.status};
  if (const auto& session = controller_.session()) service.screens.push_back(describe(*session));
  for (const auto& session : web.sessions()) service.screens.push_back(describe(*session));
  for (const auto& [name, endpoint] : controller_.receivers()) service.computers.push_back(name);
  return service;
}

Result<std::string> MainRole::startScreen(const std::string& name) {
  const auto& receivers = controller_.receivers();
  if (receivers.empty()) return Failure{"No computer on the network offers its screen."};
  std::string target = name;
  if (target.empty()) target = controller_.lastReceiver().value_or(receivers.begin()->first);
  if (!controller_.connect(target)) return Failure{"There is no screen “" + target + "” now."};
  return target;
}

void MainRole::stopScreens() {
  controller_.disconnect();
  controller_.web().stopAll();
}

void MainRole::setBitrate(int bitsPerSecond) {
  defaults_.set("bitrate", static_cast<std::int64_t>(bitsPerSecond));
  controller_.web().bitrate = controller_.bitrate();
}

}  // namespace tessaline
