#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/Display.h"
#include "platform/linux/wayland/wlroots/OutputLayout.h"
#include "platform/linux/wayland/wlroots/OutputLedger.h"
#include "platform/linux/wayland/wlroots/SwayCommands.h"

namespace tessaline::platform {

/// Makes headless outputs of sway for extra displays and removes them, also those of a run that
/// crashed. Lives on one AsioQueue.
class SwayOutputs {
 public:
  struct Wish {
    PixelSize pixels;
    int scale = 1;
    double refreshRate = 60;           // Hz
    std::optional<PixelPoint> origin;  // points of the layout; none: right of all others
  };
  /// The outputs that are switched on now.
  using Layout = std::function<std::vector<OutputLayout::Output>()>;
  /// The name of the new output, once sway has taken all that was wished; or why there is none.
  using Done = std::function<void(Result<std::string> name)>;

  SwayOutputs(const std::filesystem::path& socket, std::shared_ptr<Queue> queue, Layout layout);
  ~SwayOutputs();

  /// Removes what crashed runs left behind.
  void removeLeftOver();
  void create(DisplayID display, const Wish& wish, Done done);
  /// Also one that is on its way: its `done` does not run then.
  void remove(DisplayID display);
  /// Whether an output is being made, so that a new one may be it.
  [[nodiscard]] bool busy() const { return !orders_.empty(); }
  /// Runs `done` once nothing is to be removed any more, at once if nothing is.
  void whenRemoved(std::function<void()> done);

 private:
  struct Order;

  void nextOrder();
  void rememberOutputs();
  void createOutput();
  void findOutput(int attempt);
  void configureOutput();
  void finishOrder(Result<std::string> name);
  void removeOutput(const std::string& name);
  [[nodiscard]] std::string configuration(const std::string& name, const Wish& wish) const;
  [[nodiscard]] bool overlapsOthers(const std::string& name, const PixelRect& bounds) const;

  const std::shared_ptr<Queue> queue_;
  const Layout layout_;
  OutputLedger ledger_;
  SwayCommands commands_;
  std::map<DisplayID, std::string> names_;
  std::vector<std::unique_ptr<Order>> orders_;  // the first is being carried out
  int removals_ = 0;                            // on their way
  std::function<void()> onRemoved_;
  Timer retry_;
};

}  // namespace tessaline::platform
