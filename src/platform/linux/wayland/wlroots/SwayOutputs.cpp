#include "platform/linux/wayland/wlroots/SwayOutputs.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

// A new output is in the list right after the command; where it is not, so often and so long.
constexpr int kMostLooks = 20;
constexpr std::chrono::milliseconds kBetweenLooks(50);

std::filesystem::path runtimeFolder() {
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  return folder ? folder : "";
}

std::string quoted(const std::string& name) {
  return '"' + name + '"';
}

/// What can be part of a command without changing its meaning.
bool isPlain(const std::string& name) {
  return !name.empty() && name.find_first_of("\"\\;,\n") == std::string::npos;
}

std::string position(const std::string& name, PixelPoint at) {
  return "output " + quoted(name) + " position " + std::to_string(at.x) + ' ' +
         std::to_string(at.y);
}

PixelRect boundsOf(const SwayOutputs::Wish& wish) {
  return {wish.origin->x, wish.origin->y, wish.pixels.width / wish.scale,
          wish.pixels.height / wish.scale};
}

}  // namespace

/// A display that is wanted and not there yet.
struct SwayOutputs::Order {
  DisplayID display = 0;
  Wish wish;
  Done done;
  std::vector<std::string> before;  // outputs, before there was a new one
  std::string name;
  bool cancelled = false;
};

SwayOutputs::SwayOutputs(const std::filesystem::path& socket, std::shared_ptr<Queue> queue,
                         Layout layout)
    : queue_(std::move(queue)),
      layout_(std::move(layout)),
      ledger_(runtimeFolder(), socket),
      commands_(socket, queue_) {}

SwayOutputs::~SwayOutputs() = default;

void SwayOutputs::removeLeftOver() {
  for (const auto& name : ledger_.takeOver()) {
    log("sway: removing " + name + ", which a run that crashed has left behind");
    removeOutput(name);
  }
}

void SwayOutputs::create(DisplayID display, const Wish& wish, Done done) {
  orders_.push_back(std::make_unique<Order>(Order{display, wish, std::move(done), {}, {}, false}));
  if (orders_.size() == 1) nextOrder();
}

void SwayOutputs::remove(DisplayID display) {
  for (const auto& order : orders_) {
    if (order->display == display) order->cancelled = true;
  }
  const auto found = names_.find(display);
  if (found == names_.end()) return;
  const std::string name = found->second;
  names_.erase(found);
  removeOutput(name);
}

void SwayOutputs::whenRemoved(std::function<void()> done) {
  onRemoved_ = std::move(done);
  if (removals_ == 0 && orders_.empty()) std::exchange(onRemoved_, nullptr)();
}

void SwayOutputs::nextOrder() {
  if (orders_.empty()) {
    if (removals_ == 0 && onRemoved_) std::exchange(onRemoved_, nullptr)();
    return;
  }
  rememberOutputs();
}

void SwayOutputs::rememberOutputs() {
  if (orders_.front()->cancelled) return finishOrder(Failure{"not wanted any more"});
  commands_.listOutputs([this](Result<std::vector<std::string>> names) {
    if (!names) return finishOrder(Failure{names.error()});
    orders_.front()->before = std::move(*names);
    createOutput();
  });
}

void SwayOutputs::createOutput() {
  if (orders_.front()->cancelled) return finishOrder(Failure{"not wanted any more"});
  commands_.run("create_output", [this](const std::optional<std::string>& error) {
    if (error) return finishOrder(Failure{*error});
    findOutput(kMostLooks);
  });
}

void SwayOutputs::findOutput(int attempt) {
  commands_.listOutputs([this, attempt](Result<std::vector<std::string>> names) {
    if (!names) return finishOrder(Failure{names.error()});
    Order& order = *orders_.front();
    // The last of several: another program may have made one in the same moment.
    const auto isNew = [&](const std::string& name) {
      return isPlain(name) && std::ranges::find(order.before, name) == order.before.end();
    };
    const auto found = std::find_if(names->rbegin(), names->rend(), isNew);
    if (found != names->rend()) {
      order.name = *found;
      return configureOutput();
    }
    if (attempt <= 1) return finishOrder(Failure{"sway made no output"});
    retry_ = queue_->after(kBetweenLooks, [this, attempt] { findOutput(attempt - 1); });
  });
}

void SwayOutputs::configureOutput() {
  const Order& order = *orders_.front();
  if (const auto failure = ledger_.add(order.name)) {
    log("sway: after a crash " + order.name + " would stay: " + failure->text);
  }
  if (order.cancelled) return finishOrder(Failure{"not wanted any more"});
  commands_.run(configuration(order.name, order.wish),
                [this](const std::optional<std::string>& error) {
                  if (error) return finishOrder(Failure{*error});
                  finishOrder(orders_.front()->name);
                });
}

std::string SwayOutputs::configuration(const std::string& name, const Wish& wish) const {
  std::string commands;
  const bool placed = wish.origin && !overlapsOthers(name, boundsOf(wish));
  if (placed) {
    // Outputs that sway has placed by itself would make way for one with a place of its own.
    for (const auto& output : layout_()) {
      if (output.name == name || !isPlain(output.name)) continue;
      commands += position(output.name, {output.bounds.x, output.bounds.y}) + "; ";
    }
  }
  commands += "output " + quoted(name) + " mode --custom " + std::to_string(wish.pixels.width) +
              'x' + std::to_string(wish.pixels.height) + '@' +
              std::to_string(std::lround(wish.refreshRate)) + "Hz scale " +
              std::to_string(wish.scale) + "; output " + quoted(name) + " enable";
  // Without one sway puts it right of all others.
  if (placed) commands += "; " + position(name, *wish.origin);
  return commands;
}

bool SwayOutputs::overlapsOthers(const std::string& name, const PixelRect& bounds) const {
  return std::ranges::any_of(layout_(), [&](const OutputLayout::Output& output) {
    return output.name != name && !intersected(output.bounds, bounds).empty();
  });
}

void SwayOutputs::finishOrder(Result<std::string> name) {
  const Order& order = *orders_.front();
  if (!order.name.empty() && (order.cancelled || !name)) removeOutput(order.name);
  if (!order.cancelled) {
    if (name) names_[order.display] = *name;
    order.done(std::move(name));  // what it asks for waits behind this order
  }
  orders_.erase(orders_.begin());
  nextOrder();
}

void SwayOutputs::removeOutput(const std::string& name) {
  const auto removed = [this, name](const std::optional<std::string>& error) {
    if (error)
      log("sway: " + name + " stays: " + *error);
    else
      ledger_.remove(name);
    --removals_;
    if (orders_.empty() && removals_ == 0 && onRemoved_) std::exchange(onRemoved_, nullptr)();
  };
  ++removals_;
  commands_.run("output " + quoted(name) + " unplug",
                [this, name, removed](const std::optional<std::string>& error) {
                  if (!error) return removed(error);
                  // An output that has gone by itself leaves nothing to remove; an old sway cannot
                  // remove one, but switch it off.
                  commands_.run("output " + quoted(name) + " disable", removed);
                });
}

}  // namespace tessaline::platform
