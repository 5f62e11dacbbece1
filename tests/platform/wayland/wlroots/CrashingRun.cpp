// Makes a display on sway, says so, and waits to be killed.

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "base/AsioQueue.h"
#include "platform/linux/wayland/wlroots/WlrootsDisplay.h"

int main() {
  using namespace tessaline;
  using namespace tessaline::platform;
  AsioQueues queues;
  auto probe = SessionProbe::look();
  if (!probe) return 1;
  const auto server =
      std::make_shared<WlrootsServer>(queues, std::move(*probe), [](const std::string&) {});
  VirtualDisplayDescriptor descriptor;
  descriptor.name = "Crash";
  WlrootsDisplay display(server, 0x8000'0001, descriptor);
  if (!display.apply({.modes = {{800, 600, 60}}})) return 1;
  while (!server->displays()->find(display.displayID())) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::cout << "made" << std::endl;
  for (;;) ::pause();
}
