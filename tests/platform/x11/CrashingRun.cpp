// A run that makes a display named by its second argument on the X server of the first, says so in
// one line, and waits to be killed while it has it.

#include <unistd.h>

#include <cstdio>

#include "base/AsioQueue.h"
#include "platform/linux/x11/X11Desktop.h"

using namespace tessaline;
using namespace tessaline::platform;

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  AsioQueues queues;
  auto desktop = openX11Desktop(queues, argv[1]);
  if (!desktop) return 1;
  VirtualDisplayDescriptor descriptor;
  descriptor.name = argv[2];
  descriptor.maxPixelsWide = 640;
  descriptor.maxPixelsHigh = 480;
  const auto display = (*desktop)->createVirtualDisplay(descriptor);
  if (!display || !display->apply({false, {{640, 480, 60}}})) return 1;
  std::puts("made");
  std::fflush(stdout);
  for (;;) pause();
}
