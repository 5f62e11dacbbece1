// The screen role with its real windows, network and decoder, on free ports, for a test that looks
// at its display. Arguments: a folder for its settings, and "opengl" or "raster".
#include <QApplication>
#include <cstdio>
#include <string_view>

#include "app/QtMainQueue.h"
#include "base/AsioQueue.h"
#include "platform/common/media/MediaVideoDecoding.h"
#include "receiver/FreePorts.h"
#include "receiver/OpenGLVideoView.h"
#include "receiver/RasterVideoView.h"
#include "receiver/ScreenController.h"
#include "receiver/ScreenWindows.h"
#include "support/FakeDiscovery.h"
#include "support/FakePlatform.h"

namespace tessaline {
namespace {

int run(const char* folder, bool opengl) {
  AsioQueues queues(std::make_shared<QtMainQueue>());
  UserDefaults defaults(std::string(folder) + "/defaults.json");
  const auto decoding = platform::createVideoDecoding(queues);
  test::FreePorts network;
  test::FakeDiscovery discovery;
  test::FakeWorkspace workspace;
  std::unique_ptr<VideoView> view;
  if (opengl) {
    view = std::make_unique<OpenGLVideoView>(queues, *decoding);
  } else {
    view = std::make_unique<RasterVideoView>(queues, *decoding);
  }
  ScreenWindows windows(std::move(view));
  ScreenController controller({{queues, network, discovery, *decoding}, workspace, windows, true},
                              defaults);
  controller.start();
  const Timer ports = queues.main()->every(std::chrono::milliseconds(10), [&] {
    if (network.streamPort == 0 || network.datagramPort == 0) return;
    std::printf("ports %d %d.\n", network.streamPort.exchange(0), network.datagramPort.load());
    std::fflush(stdout);
  });
  const auto subscription = controller.observe([&] {
    std::printf("status: %s awake %d login %d\n", controller.status().c_str(), workspace.activities,
                workspace.atLogin);
    std::fflush(stdout);
  });
  return QCoreApplication::exec();
}

}  // namespace
}  // namespace tessaline

int main(int argc, char** argv) {
  if (argc != 3) return EXIT_FAILURE;
  int one = 1;
  QApplication application(one, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  return tessaline::run(argv[1], std::string_view(argv[2]) == "opengl");
}
