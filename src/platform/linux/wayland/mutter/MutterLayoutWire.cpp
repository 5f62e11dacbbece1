#include "platform/linux/wayland/mutter/MutterLayoutWire.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using Names = MutterNames;
using Values = std::map<std::string, sdbus::Variant>;
using WireKey = sdbus::Struct<std::string, std::string, std::string, std::string>;
using WireMode = sdbus::Struct<std::string, std::int32_t, std::int32_t, double, double,
                               std::vector<double>, Values>;
using WireMonitor = sdbus::Struct<WireKey, std::vector<WireMode>, Values>;
using WirePlace = sdbus::Struct<std::int32_t, std::int32_t, double, std::uint32_t, bool,
                                std::vector<WireKey>, Values>;
using WireMember = sdbus::Struct<std::string, std::string, Values>;
using WireWish =
    sdbus::Struct<std::int32_t, std::int32_t, double, std::uint32_t, bool, std::vector<WireMember>>;

MonitorLayout::Key keyOf(const WireKey& key) {
  return {key.get<0>(), key.get<1>(), key.get<2>(), key.get<3>()};
}

template <typename Value>
std::optional<Value> valueAt(const Values& values, const char* name) {
  const auto found = values.find(name);
  if (found == values.end() || !found->second.containsValueOfType<Value>()) return std::nullopt;
  return found->second.get<Value>();
}

std::optional<MonitorLayout::Mode> currentMode(const WireMonitor& monitor) {
  for (const WireMode& mode : monitor.get<1>()) {
    if (!valueAt<bool>(mode.get<6>(), "is-current").value_or(false)) continue;
    return MonitorLayout::Mode{mode.get<0>(), {mode.get<1>(), mode.get<2>()}, mode.get<5>()};
  }
  return std::nullopt;
}

MonitorLayout layoutFrom(std::uint32_t serial, const std::vector<WireMonitor>& monitors,
                         const std::vector<WirePlace>& places, const Values& properties) {
  MonitorLayout layout;
  layout.serial = serial;
  layout.points =
      valueAt<std::uint32_t>(properties, "layout-mode").value_or(0) == Names::kLogicalLayout;
  for (const WirePlace& place : places) {
    for (const WireKey& member : place.get<5>()) {
      const auto monitor = std::ranges::find_if(
          monitors, [&](const auto& candidate) { return candidate.template get<0>() == member; });
      if (monitor == monitors.end()) continue;
      auto mode = currentMode(*monitor);
      if (!mode) continue;
      layout.monitors.push_back({keyOf(member), std::move(*mode), place.get<0>(), place.get<1>(),
                                 place.get<2>(), place.get<3>(), place.get<4>()});
    }
  }
  return layout;
}

std::vector<WireWish> wishesFrom(const MonitorLayout& layout) {
  std::vector<WireWish> wishes;
  std::map<std::pair<int, int>, std::size_t> at;  // monitors that show the same stand together
  for (const auto& monitor : layout.monitors) {
    const auto [found, isNew] = at.emplace(std::pair(monitor.x, monitor.y), wishes.size());
    if (isNew) {
      wishes.emplace_back(monitor.x, monitor.y, monitor.scale, monitor.transform, monitor.primary,
                          std::vector<WireMember>());
    }
    wishes[found->second].get<5>().emplace_back(monitor.key.connector, monitor.mode.id, Values());
  }
  return wishes;
}

}  // namespace

Result<MonitorLayout> readLayoutNow(sdbus::IProxy* proxy, std::chrono::milliseconds patience) {
  try {
    if (!proxy) return Failure{"the session bus has gone"};
    std::uint32_t serial = 0;
    std::vector<WireMonitor> monitors;
    std::vector<WirePlace> places;
    Values properties;
    proxy->callMethod("GetCurrentState")
        .onInterface(Names::kDisplayConfig)
        .withTimeout(patience)
        .storeResultsTo(serial, monitors, places, properties);
    return layoutFrom(serial, monitors, places, properties);
  } catch (const sdbus::Error& error) {
    return Failure{error.getMessage()};
  }
}

void readLayout(MutterBus& bus, sdbus::IProxy* proxy, MutterBus::Owner owner,
                std::function<void(Result<MonitorLayout>)> done) {
  bus.call<std::uint32_t, std::vector<WireMonitor>, std::vector<WirePlace>, Values>(
      proxy, Names::kDisplayConfig, "GetCurrentState", std::move(owner),
      [done = std::move(done)](const BusFailure& failure, std::uint32_t serial,
                               const std::vector<WireMonitor>& monitors,
                               const std::vector<WirePlace>& places, const Values& properties) {
        if (failure) return done(Failure{*failure});
        done(layoutFrom(serial, monitors, places, properties));
      });
}

void applyLayout(MutterBus& bus, sdbus::IProxy* proxy, MutterBus::Owner owner,
                 const MonitorLayout& layout, std::function<void(const BusFailure&)> done) {
  bus.call<>(proxy, Names::kDisplayConfig, "ApplyMonitorsConfig", std::move(owner), std::move(done),
             layout.serial, Names::kTemporary, wishesFrom(layout), Values());
}

}  // namespace tessaline::platform
