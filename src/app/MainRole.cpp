#include "app/MainRole.h"

namespace tessaline {

MainRole::MainRole(Queues& queues, UserDefaults& defaults, System system)
    : system_(std::move(system)),
      controller_(SessionServices{queues, *system_.desktop, *system_.coding, *system_.network},
                  defaults) {
  controller_.onSwitchMode = [this] {
    if (onSwitchMode) onSwitchMode();
  };
}

void MainRole::start() {
  controller_.launch();
}

void MainRole::reopen() {
  if (onReopen) onReopen();
}

void MainRole::quit(std::function<void()> done) {
  controller_.quit(std::move(done));
}

ControlBus::Service MainRole::service() const {
  const WebScreenServer& web = controller_.web();
  ControlBus::Service service{web.url(), web.key(), web.encrypted(), {}};
  for (const auto& session : web.sessions()) {
    const PixelSize size = session->pictureSize();
    service.screens.push_back({session->name(), session->streaming(), size.width, size.height});
  }
  return service;
}

}  // namespace tessaline
