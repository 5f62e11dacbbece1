// What a person at a Mutter desktop sees of its monitors and does with a mouse, for
// tests. Each line of standard input is an order and is answered with a line:
//   monitors            a JSON list of name, width and height (pixels), x and y (desktop), scale
//   move MONITOR X Y    the pointer goes to these pixels of the monitor: "done"
// or with "failed: " and the reason. Ends with its input.
#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
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
constexpr char kScreenCast[] = "org.gnome.Mutter.ScreenCast";
constexpr std::uint32_t kLogicalLayout = 1;  // positions are points, not pixels
constexpr auto kDeviceTime = 200ms;  // programs get to know a new pointer; nothing says when

struct Shown {
  std::string name;
  int x = 0, y = 0, width = 0, height = 0;
  double scale = 1;
};

class Settings {
 public:
  explicit Settings(sdbus::IConnection& bus)
      : proxy_(sdbus::createProxy(bus, kDisplays, "/org/gnome/Mutter/DisplayConfig")) {}

  std::vector<Shown> monitors() {
    std::vector<Monitor> monitors;
    std::uint32_t serial = 0;
    std::vector<LogicalMonitor> logical;
    Properties properties;
    proxy_->callMethod("GetCurrentState")
        .onInterface(kDisplays)
        .storeResultsTo(serial, monitors, logical, properties);
    const auto layout = properties.find("layout-mode");
    pointsLayout_ =
        layout != properties.end() && layout->second.get<std::uint32_t>() == kLogicalLayout;
    std::vector<Shown> shown;
    for (const auto& group : logical) {
      for (const auto& name : group.get<5>()) {
        const auto monitor = std::ranges::find_if(monitors, [&](const Monitor& candidate) {
          return candidate.get<0>().get<0>() == name.get<0>();
        });
        if (monitor == monitors.end()) continue;
        for (const auto& mode : monitor->get<1>()) {
          if (!mode.get<6>().contains("is-current")) continue;
          shown.push_back({name.get<0>(), group.get<0>(), group.get<1>(), mode.get<1>(),
                           mode.get<2>(), group.get<2>()});
        }
      }
    }
    return shown;
  }

  Shown find(const std::string& name) {
    for (auto& monitor : monitors()) {
      if (monitor.name == name) return monitor;
    }
    throw std::runtime_error("no monitor " + name);
  }

  [[nodiscard]] bool pointsLayout() const { return pointsLayout_; }

 private:
  std::unique_ptr<sdbus::IProxy> proxy_;
  bool pointsLayout_ = false;
};

/// A mouse. Absolute places need a stream that they refer to: that of the first monitor, at which
/// nobody looks. It does not clip them, so that they lead to all monitors.
class Mouse {
 public:
  Mouse(sdbus::IConnection& bus, const Shown& reference) : reference_(reference) {
    const auto remoteDesktop =
        sdbus::createProxy(bus, kRemoteDesktop, "/org/gnome/Mutter/RemoteDesktop");
    sdbus::ObjectPath path;
    remoteDesktop->callMethod("CreateSession").onInterface(kRemoteDesktop).storeResultsTo(path);
    session_ = sdbus::createProxy(bus, kRemoteDesktop, path);
    const std::string id =
        session_->getProperty("SessionId").onInterface(kSessionInterface).get<std::string>();
    const auto screenCast = sdbus::createProxy(bus, kScreenCast, "/org/gnome/Mutter/ScreenCast");
    screenCast->callMethod("CreateSession")
        .onInterface(kScreenCast)
        .withArguments(Properties{{"remote-desktop-session-id", sdbus::Variant(id)}})
        .storeResultsTo(path);
    sdbus::createProxy(bus, kScreenCast, path)
        ->callMethod("RecordMonitor")
        .onInterface(std::string(kScreenCast) + ".Session")
        .withArguments(reference.name, Properties())
        .storeResultsTo(stream_);
    session_->callMethod("Start").onInterface(kSessionInterface);
    notify(0, 0);
    std::this_thread::sleep_for(kDeviceTime);
  }

  void move(const Shown& monitor, bool pointsLayout, double x, double y) {
    const double divisor = pointsLayout ? monitor.scale : 1;
    notify(monitor.x + x / divisor, monitor.y + y / divisor);
  }

 private:
  static constexpr char kSessionInterface[] = "org.gnome.Mutter.RemoteDesktop.Session";

  void notify(double x, double y) {
    session_->callMethod("NotifyPointerMotionAbsolute")
        .onInterface(kSessionInterface)
        .withArguments(std::string(stream_), x - reference_.x, y - reference_.y);
  }

  Shown reference_;
  std::unique_ptr<sdbus::IProxy> session_;
  sdbus::ObjectPath stream_;
};

std::string asJson(const std::vector<Shown>& monitors) {
  std::ostringstream text;
  const char* separator = "[";
  for (const auto& monitor : monitors) {
    text << separator << R"({"name":")" << monitor.name << R"(","x":)" << monitor.x << R"(,"y":)"
         << monitor.y << R"(,"width":)" << monitor.width << R"(,"height":)" << monitor.height
         << R"(,"scale":)" << monitor.scale << "}";
    separator = ",";
  }
  return text.str() + (monitors.empty() ? "[]" : "]");
}

class Person {
 public:
  std::string obey(const std::string& order) {
    std::istringstream words(order);
    std::string verb, name;
    double x = 0, y = 0;
    words >> verb >> name >> x >> y;
    if (verb == "monitors") return asJson(settings_.monitors());
    if (verb == "move") {
      const Shown monitor = settings_.find(name);
      if (!mouse_) mouse_ = std::make_unique<Mouse>(*bus_, settings_.monitors().front());
      mouse_->move(monitor, settings_.pointsLayout(), x, y);
    } else {
      return "failed: not understood: " + order;
    }
    return "done";
  }

 private:
  std::unique_ptr<sdbus::IConnection> bus_ = sdbus::createSessionBusConnection();
  Settings settings_{*bus_};
  std::unique_ptr<Mouse> mouse_;
};

}  // namespace

int main() {
  try {
    Person person;
    for (std::string line; std::getline(std::cin, line);) {
      std::string answer;
      try {
        answer = person.obey(line);
      } catch (const std::exception& error) {
        answer = std::string("failed: ") + error.what();
      }
      std::cout << answer << std::endl;
    }
  } catch (const std::exception& error) {
    std::cerr << "mutter_control: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
