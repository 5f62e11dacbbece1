#include "platform/linux/wayland/wlroots/WlrootsSession.h"

#include <utility>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

// From sway's "yes" to a display as it was asked for; a few milliseconds where all is well.
constexpr std::chrono::seconds kPatience(3);
// For what is known of each output when the connection is new.
constexpr std::chrono::seconds kFirstLayout(2);

std::string sizeText(PixelSize size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace

WlrootsSession::WlrootsSession(SessionProbe probe, std::shared_ptr<Queue> queue,
                               std::shared_ptr<DisplayTable> displays)
    : queue_(std::move(queue)),
      displays_(std::move(displays)),
      connection_(std::move(probe.connection)),
      layout_(std::make_unique<OutputLayout>(*connection_, [this] { updateTable(); })),
      seat_(std::make_shared<VirtualSeat>(*connection_, queue_, [this] { return extent(); })),
      outputs_(std::make_unique<SwayOutputs>(probe.commands, queue_, [this] {
        return layout_ ? layout_->outputs() : std::vector<OutputLayout::Output>();
      })) {
  // A compositor that hangs is one that goes, later.
  static_cast<void>(connection_->roundtrip(kFirstLayout));
}

void WlrootsSession::begin(std::function<void(std::string reason)> onLost) {
  onLost_ = std::move(onLost);
  const auto weak = weak_from_this();
  connection_->watch(
      *queue_,
      [weak] {
        if (const auto self = weak.lock()) self->seat_->resume();
      },
      [weak](const std::string& reason) {
        if (const auto self = weak.lock()) self->lose(reason);
      });
  outputs_->removeLeftOver();
}

void WlrootsSession::close(std::function<void()> done) {
  onLost_ = nullptr;
  seat_->close();
  while (!extras_.empty()) removeDisplay(extras_.begin()->first);
  if (!outputs_) return done();
  outputs_->whenRemoved(std::move(done));
}

void WlrootsSession::addDisplay(Display display) {
  if (!outputs_) return display.state->store(VirtualDisplay::State::failed);
  const DisplayID id = display.id;
  const auto wish = display.wish;
  extras_.insert_or_assign(id, Extra{std::move(display), {}, false, {}});
  // Programs hear of new devices before the first event that way.
  seat_->attach();
  outputs_->create(id, wish,
                   [this, id](Result<std::string> name) { outputMade(id, std::move(name)); });
}

void WlrootsSession::outputMade(DisplayID display, Result<std::string> name) {
  if (!name) return giveUp(display, name.error());
  Extra& extra = extras_.at(display);
  extra.output = *name;
  extra.patience = queue_->after(kPatience, [weak = weak_from_this(), display] {
    const auto self = weak.lock();
    if (!self || self->extras_.at(display).listed) return;
    const Extra& late = self->extras_.at(display);
    self->giveUp(display, late.output + " did not become " + sizeText(late.display.wish.pixels));
  });
  updateTable();
}

void WlrootsSession::giveUp(DisplayID display, const std::string& reason) {
  const Display& asked = extras_.at(display).display;
  log("sway: no display for " + asked.name + ": " + reason);
  asked.state->store(VirtualDisplay::State::failed);
  removeDisplay(display);
}

void WlrootsSession::removeDisplay(DisplayID display) {
  if (extras_.erase(display) == 0) return;
  if (outputs_) outputs_->remove(display);
  if (extras_.empty()) seat_->detach();
  updateTable();
}

void WlrootsSession::lose(const std::string& reason) {
  seat_->close();
  outputs_.reset();
  layout_.reset();
  connection_.reset();
  for (auto& [id, extra] : extras_) extra.display.state->store(VirtualDisplay::State::failed);
  extras_.clear();
  updateTable();
  if (const auto onLost = std::exchange(onLost_, nullptr)) onLost(reason);
}

void WlrootsSession::updateTable() {
  std::vector<DisplayInfo> displays;
  std::map<DisplayID, std::string> names;
  const auto outputs = layout_ ? layout_->outputs() : std::vector<OutputLayout::Output>();
  // What comes while one is being made is that one, until its name is known.
  const bool making = outputs_ && outputs_->busy();
  for (const auto& output : outputs) {
    if (Extra* const extra = extraAt(output.name)) {
      extra->listed = output.pixels == extra->display.wish.pixels;
      if (!extra->listed) continue;
      displays.push_back({extra->display.id, output.bounds, output.pixels, false});
      names[extra->display.id] = output.name;
    } else if (!making || others_.contains(output.global)) {
      others_.insert(output.global);
      displays.push_back({output.global, output.bounds, output.pixels, false});
      names[output.global] = output.name;
    }
  }
  {
    const std::lock_guard lock(mutex_);
    names_ = std::move(names);
  }
  displays_->replace(std::move(displays));
}

WlrootsSession::Extra* WlrootsSession::extraAt(const std::string& output) {
  for (auto& [id, extra] : extras_) {
    if (extra.output == output) return &extra;
  }
  return nullptr;
}

PixelRect WlrootsSession::extent() const {
  PixelRect all;
  if (!layout_) return all;
  for (const auto& output : layout_->outputs()) {
    all = all.empty() ? output.bounds : united(all, output.bounds);
  }
  return all;
}

std::string WlrootsSession::outputName(DisplayID display) const {
  const std::lock_guard lock(mutex_);
  const auto found = names_.find(display);
  return found == names_.end() ? std::string() : found->second;
}

}  // namespace tessaline::platform
