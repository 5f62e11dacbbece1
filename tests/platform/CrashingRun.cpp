// A run that makes a display, says so in one line, and waits to be killed while it has it: on sway,
// or named by its second argument on the X server of the first. A program of its own, as forking a
// threaded one is no basis for a test of crashes.

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "base/AsioQueue.h"
#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"
#include "platform/linux/x11/X11Desktop.h"
#include "support/Eventually.h"

using namespace tessaline;
using namespace tessaline::platform;

int main(int argc, char** argv) {
  AsioQueues queues;
  auto desktop = argc == 3 ? openX11Desktop(queues, argv[1]) : openWlrootsDesktop(queues);
  if (!desktop) return 1;
  VirtualDisplayDescriptor descriptor;
  descriptor.name = argc == 3 ? argv[2] : "Crash";
  descriptor.maxPixelsWide = 640;
  descriptor.maxPixelsHigh = 480;
  const auto display = (*desktop)->createVirtualDisplay(descriptor);
  if (!display || !display->apply({false, {{640, 480, 60}}})) return 1;
  const auto listed = [&] {
    auto displays = (*desktop)->shareableDisplays();
    return std::ranges::count(*displays, display->displayID(), &DisplayInfo::id) == 1;
  };
  if (!test::eventually(listed)) return 1;
  std::cout << "made" << std::endl;
  for (;;) ::pause();
}
