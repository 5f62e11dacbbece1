#include "receiver/ScreenController.h"

#include <utility>

#include "protocol/Proto.h"
#include "shell/DeviceIdentity.h"
#include "shell/LoginItem.h"

namespace tessaline {
namespace {

constexpr std::string_view kScreenConfiguredKey = "screenConfigured";
constexpr auto kWaiting = "Waiting for your main Mac…";
constexpr auto kConnecting = "Connecting…";
// What a hello has room for; the identity is a UUID unless somebody has edited the settings.
constexpr std::size_t kLongestDeviceID = 255;  // bytes

}  // namespace

ScreenController::ScreenController(Services services, UserDefaults& defaults)
    : services_(services),
      defaults_(defaults),
      keepAwake_(services.workspace, defaults),
      status_(kWaiting) {}

ScreenController::~ScreenController() {
  services_.windows.onEscape = nullptr;
}

void ScreenController::start() {
  if (!defaults_.boolean(kScreenConfiguredKey).value_or(false)) {
    LoginItem::set(services_.workspace, true);
    defaults_.set(kScreenConfiguredKey, true);
  }
  keepAwake_.apply();
  services_.windows.showHome(home());

  decoder_ = services_.receiver.decoding.createDecompressionSession(
      {.onPicture = [display = services_.windows.videoDisplay()](auto picture) {
        display->show(std::move(picture));
      }});
  receiver_ = std::make_unique<Receiver>(
      services_.receiver,
      Receiver::Identity{services_.workspace.computerName(),
                         DeviceIdentity::id(defaults_).substr(0, kLongestDeviceID)});
  wire();
  receiver_->start();
}

void ScreenController::wire() {
  // The receiver is this object's and silent on the main queue from its end on: `this` is safe.
  receiver_->onPortTaken = [this] {
    setStatus("Another program uses port " + std::to_string(Proto::videoPort) +
              " of this computer.");
  };
  receiver_->screenMetrics = [this] { return services_.windows.screenMetrics(); };
  receiver_->onConnect = [this](const std::string&) { connected(); };
  receiver_->onDisconnect = [this] { disconnected(); };
  // Straight from the network's queue to the decoder's, and from there to the display: whatever
  // the main thread is painting, no picture waits for it.
  receiver_->onSample = [decoder = decoder_](platform::VideoSample sample) {
    decoder->decode(std::move(sample));
  };
  receiver_->onFlush = [decoder = decoder_] { decoder->flush(); };
  receiver_->onVideoSize = [this](PixelSize size) { videoSize_ = size; };
  receiver_->onCursorShape = [this](std::shared_ptr<const platform::PointerImage> image,
                                    PointerShape shape) {
    services_.windows.setPointerImage(std::move(image));
    pointer_ = shape;
    // Positions travel beside the stream: one may be here before its shape, and be the last.
    placeCursor();
  };
  receiver_->onCursorMove = [this](double x, double y, bool visible) {
    cursorX_ = x;
    cursorY_ = y;
    cursorVisible_ = visible;
    placeCursor();
  };
  services_.windows.onEscape = [this] { receiver_->closeConnection(); };
}

void ScreenController::connected() {
  // Another stream's, when this one replaces it.
  cursorVisible_ = false;
  placeCursor();
  services_.windows.hideHome();
  services_.windows.showFull();
  if (!activity_) {
    activity_ = services_.workspace.beginActivity(
        {.idleDisplaySleepDisabled = true, .latencyCritical = true}, "Tessaline");
  }
  setStatus(kConnecting);
}

void ScreenController::disconnected() {
  cursorVisible_ = false;
  placeCursor();
  services_.windows.hideFull();
  activity_.reset();
  status_ = kWaiting;
  services_.windows.showHome(home());
  observers_.notify();
}

void ScreenController::placeCursor() {
  if (!cursorVisible_ || !pointer_) {
    services_.windows.placePointer(std::nullopt);
    return;
  }
  services_.windows.placePointer(
      placePointer(videoSize_, services_.windows.viewSize(), *pointer_, cursorX_, cursorY_));
}

void ScreenController::reopen() {
  if (receiver_) services_.windows.showHome(home());
}

void ScreenController::quit(std::function<void()> done) {
  services_.windows.onEscape = nullptr;
  services_.windows.hideFull();
  services_.windows.hideHome();
  activity_.reset();
  if (!receiver_) {
    services_.receiver.queues.main()->async(std::move(done));
    return;
  }
  receiver_->stop(std::move(done));
}

void ScreenController::toggleLogin(bool on) {
  LoginItem::set(services_.workspace, on);
  services_.windows.updateHome(home());  // what has become of it
}

void ScreenController::toggleAwake(bool on) {
  keepAwake_.setPreferred(on);
  services_.windows.updateHome(home());
}

void ScreenController::switchRole() {
  const auto callback = onSwitchMode;  // may destroy the controller
  if (callback) callback();
}

void ScreenController::setStatus(std::string status) {
  status_ = std::move(status);
  services_.windows.updateHome(home());
  observers_.notify();
}

Subscription ScreenController::observe(Observers::Observer observer) {
  return observers_.add(std::move(observer));
}

HomeScreen ScreenController::home() {
  HomeScreen screen;
  screen.title = "Ready to be your extra screen";
  screen.line = "Leave this window open. Your main Mac does the rest.";
  screen.status = status_;
  screen.openAtLogin = {"Open Tessaline at login", LoginItem::enabled(services_.workspace),
                        [this](bool on) { toggleLogin(on); }};
  screen.keepAwake = {"Keep this Mac awake, so it's always ready", keepAwake_.preferred(),
                      [this](bool on) { toggleAwake(on); }};
  const auto address = services_.receiver.network.localIPv4Address();
  if (address) screen.address = "This Mac: " + *address;
  if (services_.mainModeSupported) {
    screen.switchRole = {"Is this the Mac you work on?", "Use this Mac as the main Mac instead",
                         [this] { switchRole(); }};
  }
  const std::string name = services_.workspace.computerName();
  screen.steps = {
      {"Open Tessaline on your main Mac", "Same app, same Wi-Fi. Choose “This is my main Mac”."},
      {"Pick “" + name + "”", "From the smiling screen in your main Mac's menu bar."},
      {"That's it", "This screen fills up with your extra desktop. Press Esc to come back here."}};
  return screen;
}

}  // namespace tessaline
