#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/Display.h"
#include "platform/linux/wayland/DisplayTable.h"
#include "platform/linux/wayland/mutter/MonitorLayout.h"
#include "platform/linux/wayland/mutter/MutterBus.h"

namespace tessaline::platform {

/// Mutter's monitors: finds the one of each extra display, puts it where it belongs, and keeps the
/// table of displays. Mutter does not say which virtual monitor is whose, so the displays come one
/// after the other: what appears meanwhile with the agreed size is the one. Main queue, owned by
/// the desktop; bus and table outlive it.
class MutterMonitors {
 public:
  struct Request {
    bool hiDPI = false;
    std::optional<PixelPoint> origin;
    std::function<void()> start;                ///< its turn: make the monitor
    std::function<void()> onListed;             ///< it is in the table
    std::function<void(std::string)> onFailed;  ///< it is given up
  };

  MutterMonitors(std::shared_ptr<Queue> main, MutterBus& bus, std::shared_ptr<DisplayTable> table);

  /// Reads the layout, waiting for it for a moment: what fails here fails the whole desktop.
  [[nodiscard]] std::optional<std::string> begin();

  void add(DisplayID display, Request request);
  /// The monitor of `display` has, or will have, this size.
  void agreed(DisplayID display, PixelSize size);
  /// Its monitor is gone, or going.
  void remove(DisplayID display);

  [[nodiscard]] bool hasPoints() const { return layout_.points; }

 private:
  struct Own {
    Request request;
    std::optional<PixelSize> size;          // agreed
    std::optional<MonitorLayout::Key> key;  // once it has appeared
    bool settled = false;                   // where it is to be, as far as Mutter has it
  };

  void next();
  void refresh();
  void gotLayout(MonitorLayout layout);
  void findWaiting();
  void bind(DisplayID display, Own& own, const MonitorLayout::Key& key);
  [[nodiscard]] bool changedByUs(const MonitorLayout& before) const;
  void arrange(bool restore);
  void apply(const MonitorLayout& wanted);
  void settle();
  void updateTable();
  [[nodiscard]] std::vector<MonitorWish> wishes() const;
  [[nodiscard]] DisplayID otherDisplay(const MonitorLayout::Key& key);
  void giveUp(const std::string& reason);

  const std::shared_ptr<Queue> main_;
  MutterBus& bus_;
  const std::shared_ptr<DisplayTable> table_;
  MutterBus::Proxy proxy_;
  MonitorLayout layout_;  // as Mutter has it
  MonitorLayout kept_;    // as it was when everything had its place
  std::map<DisplayID, Own> own_;
  std::deque<DisplayID> line_;           // the first one's monitor is being made
  bool started_ = false;                 // the first one of the line
  std::set<MonitorLayout::Key> before_;  // the monitors before that
  std::set<MonitorLayout::Key> everOwn_;
  std::map<MonitorLayout::Key, DisplayID> others_;
  DisplayID lastOther_ = 0;
  bool asking_ = false;    // a state is on its way
  bool askAgain_ = false;  // and is outdated
  bool applying_ = false;  // a change is on its way
  int attempts_ = 0;       // at this change
  bool saidRefused_ = false;
  Timer patience_;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace tessaline::platform
