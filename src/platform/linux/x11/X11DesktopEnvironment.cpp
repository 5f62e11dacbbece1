#include "platform/linux/x11/X11DesktopEnvironment.h"

#include <csignal>

#include "base/Log.h"
#include "platform/linux/x11/X11CaptureWorker.h"
#include "platform/linux/x11/X11Desktop.h"
#include "platform/linux/x11/X11VirtualDisplay.h"

namespace tessaline::platform {
namespace {

// X resource identifiers have 29 bits: from here on a number cannot be mistaken for an output,
// which is what names every display but the virtual ones.
constexpr DisplayID kVirtualDisplays = 0x8000'0000;

void ignoreBrokenPipes() {
  struct sigaction current {};
  if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
    std::signal(SIGPIPE, SIG_IGN);
  }
}

}  // namespace

Result<std::unique_ptr<DesktopEnvironment>> openX11Desktop(Queues& queues,
                                                           const std::string& displayName) {
  ignoreBrokenPipes();
  return X11DesktopEnvironment::open(queues, displayName);
}

X11DesktopEnvironment::X11DesktopEnvironment(std::shared_ptr<Queue> main)
    : main_(std::move(main)), lastDisplay_(kVirtualDisplays) {}

Result<std::unique_ptr<DesktopEnvironment>> X11DesktopEnvironment::open(
    Queues& queues, const std::string& displayName) {
  std::unique_ptr<X11DesktopEnvironment> environment(new X11DesktopEnvironment(queues.main()));
  auto onLost = [self = environment.get(), main = queues.main(),
                 alive = std::weak_ptr<int>(environment->alive_)] {
    main->async([self, alive] {
      if (!alive.expired()) self->serverLost();
    });
  };
  auto server = X11Server::open(queues, displayName, std::move(onLost));
  if (!server) return Failure{server.error()};
  environment->server_ = std::move(*server);
  return std::unique_ptr<DesktopEnvironment>(std::move(environment));
}

void X11DesktopEnvironment::serverLost() {
  lost_ = true;
  log("X11: the X server has gone");
  if (onLost) onLost();
}

std::unique_ptr<VirtualDisplay> X11DesktopEnvironment::createVirtualDisplay(
    const VirtualDisplayDescriptor& descriptor) {
  const auto refuse = [&](const std::string& reason) {
    log("X11: no display for " + descriptor.name + ": " + reason);
    return nullptr;
  };
  const PixelSize size{static_cast<int>(descriptor.maxPixelsWide),
                       static_cast<int>(descriptor.maxPixelsHigh)};
  if (const auto problem = server_->obstacle(size)) return refuse(*problem);
  return std::make_unique<X11VirtualDisplay>(server_, ++lastDisplay_, descriptor);
}

Result<std::vector<DisplayInfo>> X11DesktopEnvironment::shareableDisplays() {
  if (lost_) return Failure{"the X server has gone"};
  return server_->directory().list();
}

std::unique_ptr<HotKeyRegistration> X11DesktopEnvironment::registerHotKey(
    const HotKey& hotKey, std::function<void()> action) {
  return server_->hotKeys()->add(hotKey, std::move(action));
}

std::unique_ptr<CaptureStream> X11DesktopEnvironment::createCaptureStream(
    DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
    CaptureStream::Callbacks callbacks) {
  const auto entry = server_->directory().find(display);
  return std::make_unique<WorkerCaptureStream>(std::make_shared<X11CaptureWorker>(
      server_->displayName(), entry ? entry->target : DisplayTarget{}, configuration, main_,
      std::move(queue), std::move(callbacks)));
}

}  // namespace tessaline::platform
