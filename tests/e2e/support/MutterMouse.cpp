// What a person at a Mutter desktop sees of its monitors and does with a mouse, for
// tests. Each line of standard input is an order and is answered with a line:
//   monitors            a JSON list of name, width and height (pixels), x and y (desktop), scale,
//   and
//                       whether places on the desktop are points
//   move MONITOR X Y    the pointer goes to this place of the desktop, as seen from the top left of
//                       the monitor, which is the same one each time: "done"
// or with "failed: " and the reason. Ends with its input.
#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Properties = std::map<std::string, sdbus::Variant>;
using Name = sdbus::Struct<std::string, std::string, std::string, std::string>;
using Mode = sdbus::Struct<std::string, std::int32_t, std::int32_t, double, double,
                           std::vector<double>, Properties>;
using Monitor = sdbus::Struct<Name, std::vector<Mode>, Properties>;
using LogicalMonitor = sdbus::Struct<std::int32_t, std::int32_t, double, std::uint32_t, bool,
                                     std::vector<Name>, Properties>;

constexpr char kDisplays[] = "org.gnome.Mutter.DisplayConfig";
constexpr char kRemoteDesktop[] = "org.gnome.Mutter.RemoteDesktop";
constexpr char kRemoteSession[] = "org.gnome.Mutter.RemoteDesktop.Session";
constexpr char kScreenCast[] = "org.gnome.Mutter.ScreenCast";
constexpr std::uint32_t kLogicalLayout = 1;  // positions are points, not pixels
constexpr auto kDeviceTime = 200ms;  // programs get to know a new pointer; nothing says when

std::string monitors(sdbus::IConnection& bus) {
  std::uint32_t serial = 0;
  std::vector<Monitor> monitors;
  std::vector<LogicalMonitor> logical;
  Properties properties;
  sdbus::createProxy(bus, kDisplays, "/org/gnome/Mutter/DisplayConfig")
      ->callMethod("GetCurrentState")
      .onInterface(kDisplays)
      .storeResultsTo(serial, monitors, logical, properties);
  const auto layout = properties.find("layout-mode");
  const bool points =
      layout != properties.end() && layout->second.get<std::uint32_t>() == kLogicalLayout;
  std::ostringstream json;
  json << "[";
  const char* separator = "";
  for (const auto& group : logical) {
    for (const auto& monitor : monitors) {
      // No two of these tests' monitors show the same: a group is one monitor.
      const std::string name = monitor.get<0>().get<0>();
      if (name != group.get<5>().at(0).get<0>()) continue;
      for (const auto& mode : monitor.get<1>()) {
        if (!mode.get<6>().contains("is-current")) continue;
        json << separator << R"({"name":")" << name << R"(","x":)" << group.get<0>() << R"(,"y":)"
             << group.get<1>() << R"(,"width":)" << mode.get<1>() << R"(,"height":)"
             << mode.get<2>() << R"(,"scale":)" << group.get<2>() << R"(,"points":)"
             << std::boolalpha << points << "}";
        separator = ",";
      }
    }
  }
  return json.str() + "]";
}

/// A mouse. Absolute places need a stream that they refer to: that of a monitor, at which nobody
/// looks. It does not clip them, so that they lead to all monitors.
class Mouse {
 public:
  Mouse(sdbus::IConnection& bus, const std::string& monitor) {
    sdbus::ObjectPath path;
    sdbus::createProxy(bus, kRemoteDesktop, "/org/gnome/Mutter/RemoteDesktop")
        ->callMethod("CreateSession")
        .onInterface(kRemoteDesktop)
        .storeResultsTo(path);
    session_ = sdbus::createProxy(bus, kRemoteDesktop, path);
    const std::string id =
        session_->getProperty("SessionId").onInterface(kRemoteSession).get<std::string>();
    sdbus::createProxy(bus, kScreenCast, "/org/gnome/Mutter/ScreenCast")
        ->callMethod("CreateSession")
        .onInterface(kScreenCast)
        .withArguments(Properties{{"remote-desktop-session-id", sdbus::Variant(id)}})
        .storeResultsTo(path);
    sdbus::createProxy(bus, kScreenCast, path)
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

int main() {
  const auto bus = sdbus::createSessionBusConnection();
  std::unique_ptr<Mouse> mouse;
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string verb, monitor;
    double x = 0, y = 0;
    words >> verb >> monitor >> x >> y;
    try {
      if (verb == "monitors") {
        std::cout << monitors(*bus) << std::endl;
        continue;
      }
      if (!mouse) mouse = std::make_unique<Mouse>(*bus, monitor);
      mouse->move(x, y);
      std::cout << "done" << std::endl;
    } catch (const std::exception& error) {
      std::cout << "failed: " << error.what() << std::endl;
    }
  }
}
