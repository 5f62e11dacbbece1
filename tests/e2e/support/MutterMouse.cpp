// A mouse at a Mutter desktop, for tests: mutter_mouse MONITOR. Each line of standard input, X Y,
// leads the pointer to this place of the desktop, as seen from the top left of the monitor, and is
// answered with "done". Ends with its input, and where Mutter refuses.
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "platform/linux/desktop/SdBus.h"

namespace {

namespace bus = tessaline::platform::bus;
using namespace std::chrono_literals;
using Properties = std::map<std::string, sdbus::Variant>;

constexpr char kRemoteDesktop[] = "org.gnome.Mutter.RemoteDesktop";
constexpr char kRemoteSession[] = "org.gnome.Mutter.RemoteDesktop.Session";
constexpr char kScreenCast[] = "org.gnome.Mutter.ScreenCast";
constexpr auto kDeviceTime = 200ms;  // programs get to know a new pointer; nothing says when

/// A mouse. Absolute places need a stream that they refer to: that of a monitor, at which nobody
/// looks. It does not clip them, so that they lead to all monitors.
class Mouse {
 public:
  Mouse(sdbus::IConnection& connection, const std::string& monitor) {
    sdbus::ObjectPath path;
    bus::createProxy(connection, kRemoteDesktop, "/org/gnome/Mutter/RemoteDesktop")
        ->callMethod("CreateSession")
        .onInterface(kRemoteDesktop)
        .storeResultsTo(path);
    session_ = bus::createProxy(connection, kRemoteDesktop, path);
    const std::string id =
        session_->getProperty("SessionId").onInterface(kRemoteSession).get<std::string>();
    bus::createProxy(connection, kScreenCast, "/org/gnome/Mutter/ScreenCast")
        ->callMethod("CreateSession")
        .onInterface(kScreenCast)
        .withArguments(Properties{{"remote-desktop-session-id", sdbus::Variant(id)}})
        .storeResultsTo(path);
    bus::createProxy(connection, kScreenCast, path)
        ->callMethod("RecordMonitor")
        .onInterface(std::string(kScreenCast) + ".Session")
        .withArguments(monitor, Properties())
        .storeResultsTo(stream_);
    session_->callMethod("Start").onInterface(kRemoteSession);
    move(0, 0);
    std::this_thread::sleep_for(kDeviceTime);
  }

  void move(double x, double y) {
    session_->callMethod("NotifyPointerMotionAbsolute")
        .onInterface(kRemoteSession)
        .withArguments(std::string(stream_), x, y);
  }

 private:
  std::unique_ptr<sdbus::IProxy> session_;
  sdbus::ObjectPath stream_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  const auto connection = sdbus::createSessionBusConnection();
  Mouse mouse(*connection, argv[1]);
  for (double x = 0, y = 0; std::cin >> x >> y;) {
    mouse.move(x, y);
    std::cout << "done" << std::endl;
  }
}
