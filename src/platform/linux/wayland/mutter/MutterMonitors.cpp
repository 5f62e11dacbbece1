#include "platform/linux/wayland/mutter/MutterMonitors.h"

#include <algorithm>
#include <utility>

#include "base/Log.h"
#include "platform/linux/wayland/mutter/MutterLayoutWire.h"
#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using Names = MutterNames;

constexpr auto kFirstLook = 2s;  // for the layout, before the desktop is there
// For a monitor, from its turn on: longer than a screen cast is patient, which can say why.
constexpr auto kAppearing = 15s;
constexpr int kMaxAttempts = 4;  // at a layout, which others change too
constexpr int kMaxSide = 16384;  // pixels

std::set<MonitorLayout::Key> keysOf(const MonitorLayout& layout) {
  std::set<MonitorLayout::Key> keys;
  for (const auto& monitor : layout.monitors) keys.insert(monitor.key);
  return keys;
}

bool sensible(PixelSize size) {
  return size.width > 0 && size.height > 0 && size.width <= kMaxSide && size.height <= kMaxSide;
}

}  // namespace

MutterMonitors::MutterMonitors(std::shared_ptr<Queue> main, MutterBus& bus,
                               std::shared_ptr<DisplayTable> table)
    : main_(std::move(main)),
      bus_(bus),
      table_(std::move(table)),
      proxy_(bus.proxy(Names::kDisplayConfig, Names::kDisplayConfigPath)) {
  bus_.handle<>(proxy_.get(), Names::kDisplayConfig, "MonitorsChanged", alive_,
                [this] { refresh(); });
  bus_.listen(proxy_.get());
}

std::optional<std::string> MutterMonitors::begin() {
  auto layout = readLayoutNow(proxy_.get(), kFirstLook);
  if (!layout) return layout.error();
  layout_ = std::move(*layout);
  kept_ = layout_;
  updateTable();
  return std::nullopt;
}

void MutterMonitors::add(DisplayID display, Request request) {
  own_[display].request = std::move(request);
  line_.push_back(display);
  next();
}

void MutterMonitors::next() {
  if (started_ || line_.empty()) return;
  started_ = true;
  before_ = keysOf(layout_);
  patience_ = main_->after(kAppearing, [this] { giveUp("its monitor does not appear"); });
  own_[line_.front()].request.start();
}

void MutterMonitors::agreed(DisplayID display, PixelSize size) {
  const auto own = own_.find(display);
  if (own == own_.end()) return;
  own->second.size = size;
  if (!line_.empty() && line_.front() == display && !sensible(size)) {
    return giveUp("its monitor would have " + std::to_string(size.width) + "x" +
                  std::to_string(size.height) + " pixels");
  }
  refresh();
}

void MutterMonitors::remove(DisplayID display) {
  own_.erase(display);
  const bool first = !line_.empty() && line_.front() == display;
  std::erase(line_, display);
  if (first && std::exchange(started_, false)) patience_.cancel();
  updateTable();
  next();
}

void MutterMonitors::giveUp(const std::string& reason) {
  const DisplayID display = line_.front();
  const auto failed = own_[display].request.onFailed;
  remove(display);
  failed(reason);
}

void MutterMonitors::refresh() {
  if (asking_) {
    askAgain_ = true;
    return;
  }
  asking_ = true;
  readLayout(bus_, proxy_.get(), alive_, [this](Result<MonitorLayout> layout) {
    asking_ = false;
    if (std::exchange(askAgain_, false)) return refresh();
    if (layout) gotLayout(std::move(*layout));
  });
}

void MutterMonitors::gotLayout(MonitorLayout layout) {
  const MonitorLayout before = std::exchange(layout_, std::move(layout));
  const bool sameMonitors = keysOf(before) == keysOf(layout_);
  for (auto& [display, own] : own_) {
    if (own.key && !layout_.find(*own.key)) own.key.reset();  // its session tells of its end
  }
  findWaiting();
  if (applying_) return;  // what comes of that is looked at then
  const bool waits = std::ranges::any_of(
      own_, [](const auto& own) { return own.second.key && !own.second.settled; });
  if (sameMonitors && !waits) {
    kept_ = layout_;  // where the user has put them
  } else if (waits || !sameMonitors) {
    attempts_ = 0;
    return arrange(waits || changedByUs(before));
  }
  updateTable();
}

void MutterMonitors::findWaiting() {
  if (!started_ || line_.empty()) return;
  const DisplayID display = line_.front();
  Own& own = own_[display];
  if (!own.size) return;
  for (const auto& monitor : layout_.monitors) {
    if (before_.contains(monitor.key) || monitor.key.vendor != Names::kVirtualVendor ||
        monitor.mode.size != *own.size) {
      continue;
    }
    own.key = monitor.key;
    everOwn_.insert(monitor.key);
    patience_.cancel();
    started_ = false;
    line_.pop_front();
    return next();
  }
}

bool MutterMonitors::changedByUs(const MonitorLayout& before) const {
  const auto old = keysOf(before);
  const auto now = keysOf(layout_);
  const auto ours = [&](const auto& keys, const auto& without) {
    return std::ranges::all_of(
        keys, [&](const auto& key) { return without.contains(key) || everOwn_.contains(key); });
  };
  return ours(old, now) && ours(now, old);
}

std::vector<MonitorWish> MutterMonitors::wishes() const {
  std::vector<MonitorWish> wishes;
  for (const auto& [display, own] : own_) {
    if (own.key) {
      wishes.push_back({*own.key, own.request.hiDPI, own.request.origin, own.settled});
    }
  }
  return wishes;
}

void MutterMonitors::arrange(bool restore) {
  const MonitorLayout wanted = arrangedLayout(layout_, restore ? &kept_ : nullptr, wishes());
  if (wanted.monitors == layout_.monitors) return settle();
  apply(wanted);
}

void MutterMonitors::apply(const MonitorLayout& wanted) {
  applying_ = true;
  ++attempts_;
  applyLayout(bus_, proxy_.get(), alive_, wanted, [this, wanted](const BusFailure& failure) {
    // The reply is as old as the state it refers to: look at what there is now.
    readLayout(bus_, proxy_.get(), alive_, [=, this](Result<MonitorLayout> layout) {
      applying_ = false;
      if (!layout) return;
      const bool newer = layout->serial != wanted.serial;
      layout_ = std::move(*layout);
      findWaiting();
      if (failure && newer && attempts_ < kMaxAttempts) return arrange(true);
      if (failure && !std::exchange(saidRefused_, true)) {
        log("Mutter: displays stay where the desktop puts them: " + *failure);
      }
      settle();
    });
  });
}

void MutterMonitors::settle() {
  kept_ = layout_;
  std::vector<std::function<void()>> listed;
  for (auto& [display, own] : own_) {
    if (own.key && layout_.find(*own.key) && !std::exchange(own.settled, true)) {
      listed.push_back(own.request.onListed);
    }
  }
  updateTable();
  for (const auto& tell : listed) tell();
}

DisplayID MutterMonitors::otherDisplay(const MonitorLayout::Key& key) {
  DisplayID& id = others_[key];
  if (id == 0) id = ++lastOther_;
  return id;
}

void MutterMonitors::updateTable() {
  std::vector<DisplayInfo> displays;
  std::set<std::pair<int, int>> places;  // monitors that show the same are one display
  for (const auto& monitor : layout_.monitors) {
    const auto own = std::ranges::find_if(
        own_, [&](const auto& entry) { return entry.second.key == monitor.key; });
    const bool comes =
        started_ && !before_.contains(monitor.key) && monitor.key.vendor == Names::kVirtualVendor;
    const bool goes = own == own_.end() && everOwn_.contains(monitor.key);
    if (comes || goes || (own != own_.end() && !own->second.settled)) continue;
    if (!places.emplace(monitor.x, monitor.y).second) continue;
    const DisplayID id = own == own_.end() ? otherDisplay(monitor.key) : own->first;
    const bool turned = monitor.transform % 2 != 0;
    const PixelSize size = monitor.mode.size;
    displays.push_back({id, layout_.bounds(monitor),
                        turned ? PixelSize{size.height, size.width} : size, monitor.primary});
  }
  table_->replace(std::move(displays));
}

}  // namespace tessaline::platform
