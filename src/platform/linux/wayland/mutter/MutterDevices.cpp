#include "platform/linux/wayland/mutter/MutterDevices.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <utility>

#include "base/Bytes.h"
#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using Names = MutterNames;

// Mutter 43 does not tell programs of the end of a touch that it handles together with its begin:
// to most of them the finger then stays down. It handles touches behind motions, which wait for its
// next picture, so it gets this time for that twice, and in between it has to answer.
constexpr auto kTouchPause = std::chrono::milliseconds(25);
constexpr std::uint32_t kPrimingSlot = 31;  // apart from those of real touches
constexpr std::uint32_t kContinuous = 8;  // a source of scrolling: by pixels, and it does not coast

bool inside(const PixelRect& bounds, PointerLocation at) {
  return at.x >= bounds.x && at.y >= bounds.y && at.x < double(bounds.x) + bounds.width &&
         at.y < double(bounds.y) + bounds.height;
}

std::size_t charactersIn(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

MutterDevices::MutterDevices(Queues& queues, MutterBus& bus,
                             std::shared_ptr<const DisplayTable> displays,
                             std::shared_ptr<WaylandPointer> pointer)
    : queues_(queues), bus_(bus), displays_(std::move(displays)), pointer_(std::move(pointer)) {}

template <typename... Arguments>
void MutterDevices::notify(const MutterSession* session, const char* method,
                           Arguments... arguments) {
  if (!session || !session->remote()) return;
  ++inFlight_;
  bus_.call<>(
      session->remote(), Names::kRemoteSession, method, alive_,
      [this](const BusFailure& /*failure*/) { --inFlight_; }, arguments...);
}

void MutterDevices::add(const MutterSession& session) {
  sessions_.push_back(&session);
  notify(&session, "NotifyPointerMotionRelative", 0.0, 0.0);
  notify(&session, "NotifyKeyboardKeycode", std::uint32_t{KEY_LEFTSHIFT}, true);
  notify(&session, "NotifyKeyboardKeycode", std::uint32_t{KEY_LEFTSHIFT}, false);
  // In the last pixel of a display that has just come, where nothing is yet.
  const auto display = displays_->find(session.display());
  if (!display) return;
  notify(&session, "NotifyTouchDown", session.streamPath(), kPrimingSlot,
         display->bounds.width - 1.0, display->bounds.height - 1.0);
  notify(&session, "NotifyTouchUp", kPrimingSlot);
}

void MutterDevices::remove(const MutterSession& session) {
  if (std::erase(sessions_, &session) == 0) return;
  for (auto it = held_.begin(); it != held_.end();) {
    if (it->second.session == &session) {
      it->second.release();
      it = held_.erase(it);
    } else {
      ++it;
    }
  }
  for (auto it = touches_.begin(); it != touches_.end();) {
    if (it->second == &session) {
      notify(&session, "NotifyTouchUp", it->first);
      it = touches_.erase(it);
    } else {
      ++it;
    }
  }
  if (touchingOn_ == &session) touched();
  if (typingOn_ == &session) {
    typing_.reset();
    typingOn_ = nullptr;
    if (std::exchange(typingNow_, false)) work();
  }
}

std::optional<MutterDevices::Target> MutterDevices::target(PointerLocation at) const {
  for (const auto* session : sessions_) {
    const auto display = displays_->find(session->display());
    if (!display || display->bounds.empty() || !inside(display->bounds, at)) continue;
    const PixelRect& bounds = display->bounds;
    return Target{session, at.x - bounds.x, at.y - bounds.y};
  }
  return std::nullopt;
}

const MutterSession* MutterDevices::keyboard() const {
  return sessions_.empty() ? nullptr : sessions_.front();
}

void MutterDevices::post(std::function<void()> action) {
  line_.push_back(std::move(action));
  work();
}

void MutterDevices::work() {
  while (!typingNow_ && !touchingOn_ && !line_.empty()) {
    const auto action = std::move(line_.front());
    line_.pop_front();
    action();
  }
}

void MutterDevices::move(PointerLocation to) {
  post([this, to] {
    const auto place = target(to);
    if (!place || !place->session->remote()) return;
    const DisplayID display = place->session->display();
    pointerOn_ = display;
    ++inFlight_;
    bus_.call<>(
        place->session->remote(), Names::kRemoteSession, "NotifyPointerMotionAbsolute", alive_,
        [this, display, x = place->x, y = place->y](const BusFailure& failure) {
          --inFlight_;
          const auto there = displays_->find(display);
          if (failure || !there || there->bounds.empty()) return;
          // The stream tells of it a moment later.
          pointer_->place(display, x * there->pixels.width / there->bounds.width,
                          y * there->pixels.height / there->bounds.height);
        },
        place->session->streamPath(), place->x, place->y);
  });
}

void MutterDevices::hold(const std::string& what, const MutterSession* session, bool down,
                         const char* method, std::uint32_t code) {
  const auto tell = [this, method, code](const MutterSession* on, bool pressed) {
    if (std::string_view(method) == "NotifyPointerButton") {
      notify(on, method, static_cast<std::int32_t>(code), pressed);
    } else {
      notify(on, method, code, pressed);
    }
  };
  const auto held = held_.find(what);
  if (!down) {
    if (held == held_.end()) return;  // its device has gone, and with it what was held
    tell(held->second.session, false);
    held_.erase(held);
  } else if (session && held == held_.end()) {
    tell(session, true);
    held_.emplace(what, Held{session, [tell, session] { tell(session, false); }});
  }
}

void MutterDevices::button(std::uint32_t code, bool down) {
  post([this, code, down] {
    const auto on = std::ranges::find_if(sessions_, [&](const auto* session) {
      return pointerOn_ && session->display() == *pointerOn_;
    });
    hold("button " + std::to_string(code), on == sessions_.end() ? keyboard() : *on, down,
         "NotifyPointerButton", code);
  });
}

void MutterDevices::scroll(double dx, double dy) {
  post([this, dx, dy] { notify(keyboard(), "NotifyPointerAxis", dx, dy, kContinuous); });
}

void MutterDevices::touchDown(std::uint32_t slot, PointerLocation at) {
  post([this, slot, at] {
    const auto place = target(at);
    if (!place || touches_.contains(slot)) return;
    if (!place->session->remote()) return;
    touches_[slot] = touchingOn_ = place->session;
    ++inFlight_;
    bus_.call<>(
        place->session->remote(), Names::kRemoteSession, "NotifyTouchDown", alive_,
        [this, session = place->session](const BusFailure& /*failure*/) {
          --inFlight_;
          if (touchingOn_ == session) pauseTouch(true);
        },
        place->session->streamPath(), slot, place->x, place->y);
  });
}

void MutterDevices::pauseTouch(bool again) {
  touching_ = queues_.main()->after(kTouchPause, [this, again] {
    if (!again || !touchingOn_->remote()) return touched();
    bus_.call<sdbus::Variant>(
        touchingOn_->remote(), Names::kProperties, "Get", alive_,
        [this, session = touchingOn_](const BusFailure& /*failure*/, const sdbus::Variant&) {
          if (touchingOn_ == session) pauseTouch(false);
        },
        std::string(Names::kRemoteSession), std::string("SessionId"));
  });
}

void MutterDevices::touched() {
  touching_.cancel();
  touchingOn_ = nullptr;
  work();
}

void MutterDevices::touchUp(std::uint32_t slot) {
  post([this, slot] {
    const auto touch = touches_.find(slot);
    if (touch == touches_.end()) return;
    notify(touch->second, "NotifyTouchUp", slot);
    touches_.erase(touch);
  });
}

void MutterDevices::key(std::uint32_t code, bool down) {
  post([this, code, down] {
    hold("key " + std::to_string(code), keyboard(), down, "NotifyKeyboardKeycode", code);
  });
}

void MutterDevices::type(const std::string& text) {
  const std::size_t characters = charactersIn(text);
  waitingCharacters_ += characters;
  post([this, text, characters] {
    waitingCharacters_ -= characters;
    const MutterSession* session = keyboard();
    if (!session || !session->remote()) return;
    if (typingOn_ != session) {
      const auto press = [this, session](bool down) {
        return [this, session, down](std::uint32_t code, bool isKeysym) {
          const char* method = isKeysym ? "NotifyKeyboardKeysym" : "NotifyKeyboardKeycode";
          hold((isKeysym ? "keysym " : "key ") + std::to_string(code), session, down, method, code);
        };
      };
      typing_ = std::make_unique<MutterTyping>(queues_, bus_, session->remotePath(), press(true),
                                               press(false));
      typingOn_ = session;
    }
    typingNow_ = true;
    typing_->type(text, [this] {
      typingNow_ = false;
      work();
    });
  });
}

std::size_t MutterDevices::pending() const {
  return inFlight_ + line_.size() + waitingCharacters_ + (typingNow_ ? typing_->left() : 0);
}

}  // namespace tessaline::platform
