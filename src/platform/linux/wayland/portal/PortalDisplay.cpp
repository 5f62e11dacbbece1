#include "platform/linux/wayland/portal/PortalDisplay.h"

#include <unistd.h>

#include <utility>

#include "base/Log.h"
#include "platform/linux/wayland/portal/EisInput.h"
#include "platform/linux/wayland/portal/NotifyInput.h"

namespace tessaline::platform {
namespace {

constexpr int kFramesPerSecond = 60;

}  // namespace

PortalDisplay::PortalDisplay(Stage& stage, DisplayID id, std::string name)
    : stage_(stage), id_(id), name_(std::move(name)) {}

PortalDisplay::~PortalDisplay() {
  end();
  stage_.forget(id_);
}

bool PortalDisplay::apply(const VirtualDisplaySettings& settings) {
  if (settings.modes.empty() || session_) return false;
  const int scale = settings.hiDPI ? 2 : 1;
  size_ = {static_cast<int>(settings.modes.front().width) * scale,
           static_cast<int>(settings.modes.front().height) * scale};
  const auto guarded = [alive = std::weak_ptr(alive_)](auto work) {
    return [alive, work](auto&&... arguments) {
      if (!alive.expired()) work(std::forward<decltype(arguments)>(arguments)...);
    };
  };
  session_ = PortalSession::start(
      stage_.portal(),
      {.onGranted = guarded([this](PortalSession::Lease lease) { granted(std::move(lease)); }),
       .onRefused = guarded([this] { refuse(); }),
       .onFailed = guarded([this](const std::string& reason) { fail(reason); })});
  return true;
}

VirtualDisplay::State PortalDisplay::state() const {
  return state_ == State::coming && session_ && session_->asking() ? State::asking : state_;
}

void PortalDisplay::granted(PortalSession::Lease lease) {
  lease_ = std::move(lease);
  if (lease_.devices == 0) {
    log("portal: " + name_ + " only shows pictures: input was not allowed on the desktop");
  }
  // A portal that says a size has made the display already; else it is made as wished.
  const bool chosen = lease_.size && *lease_.size != size_;
  const auto later = [main = stage_.queues().main(), alive = std::weak_ptr(alive_)](auto work) {
    main->async([alive, work] {
      if (!alive.expired()) work();
    });
  };
  auto cast = ScreenCast::open(
      stage_.queues(), {.node = lease_.node, .remote = std::exchange(lease_.remote, -1)},
      {.size = size_, .fixedSize = !chosen, .framesPerSecond = kFramesPerSecond}, id_,
      stage_.castPointer(),
      {.onFormat = [this](PixelSize size) { agreedOn(size); },
       // Later, as it ends the cast that says so.
       .onEnded = [this,
                   later](const std::string& reason) { later([this, reason] { fail(reason); }); }});
  if (!cast) {
    fail(cast.error());
    return;
  }
  cast_ = std::move(*cast);
}

void PortalDisplay::agreedOn(PixelSize size) {
  if (state_ != State::coming) return;
  stage_.show(id_, size, lease_.position);
  if (std::exchange(shown_, true)) return;
  auto input = EisInput::open(lease_, size);
  lease_.eis = -1;
  if (!input) input = std::make_unique<NotifyInput>(stage_.portal().bus, lease_, size);
  stage_.lend(id_, std::move(input));
}

void PortalDisplay::fail(const std::string& reason) {
  if (state_ == State::failed) return;
  log("portal: no display for " + name_ + (shown_ ? " any more: " : ": ") + reason);
  state_ = State::failed;
  end();
}

void PortalDisplay::refuse() {
  log("portal: no display for " + name_ + ": the user refused");
  state_ = State::refused;
  end();
}

void PortalDisplay::end() {
  stage_.hide(id_);  // what is held is released while the session lives
  cast_.reset();
  if (lease_.eis >= 0) ::close(std::exchange(lease_.eis, -1));
  PortalSession::letGo(std::exchange(session_, nullptr));
}

}  // namespace tessaline::platform
