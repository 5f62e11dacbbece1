#include "platform/linux/wayland/mutter/MutterTyping.h"

#include <linux/input-event-codes.h>

#include <utility>

#include "base/Utf8.h"
#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using Names = MutterNames;

constexpr auto kLayoutAge = 1s;    // after which it is read anew
constexpr auto kPasting = 700ms;   // for the program that is to paste
constexpr auto kAfterRead = 40ms;  // until it has handled what it read
constexpr auto kLendingTime = 3s;  // the clipboard stays lent for more of the same text

}  // namespace

MutterTyping::MutterTyping(Queues& queues, MutterBus& bus, const std::string& remoteSession,
                           KeyPress press, KeyPress release)
    : main_(queues.main()),
      background_(queues.thread("tessaline.typing")),
      bus_(bus),
      session_(bus.proxy(Names::kRemoteDesktop, remoteSession)),
      path_(remoteSession),
      press_(std::move(press)),
      release_(std::move(release)) {}

void MutterTyping::type(const std::string& text, std::function<void()> done) {
  text_ = decodeUtf8(text);
  left_ = text_.size();
  done_ = std::move(done);
  const auto alive = std::weak_ptr<int>(alive_);
  bus_.call<sdbus::Variant>(
      session_.get(), Names::kProperties, "Get", alive_,
      [this, alive](const BusFailure& failure, const sdbus::Variant& value) {
        capsLock_ = !failure && value.containsValueOfType<bool>() && value.get<bool>();
        if (layoutRead_ != Clock::time_point() && main_->now() - layoutRead_ < kLayoutAge) {
          return begin();
        }
        background_->async([this, alive, main = main_] {
          auto layout = KeyboardLayout::read();
          main->async([this, alive, layout = std::move(layout)] {
            if (alive.expired()) return;
            if (layout) layout_ = *layout;
            layoutRead_ = main_->now();
            begin();
          });
        });
      },
      std::string(Names::kRemoteSession), std::string("CapsLockState"));
}

void MutterTyping::begin() {
  pasteBegin_ = 0;
  pasteEnd_ = text_.size();
  const auto hasKey = [&](std::size_t i) {
    return layout_.keysym(text_[i], capsLock_).has_value();
  };
  while (pasteBegin_ < pasteEnd_ && hasKey(pasteBegin_)) ++pasteBegin_;
  while (pasteBegin_ < pasteEnd_ && hasKey(pasteEnd_ - 1)) --pasteEnd_;
  typeKeys(std::u32string_view(text_).substr(0, pasteBegin_));
  if (pasteBegin_ == pasteEnd_) return finish();
  paste();
}

void MutterTyping::typeKeys(std::u32string_view characters) {
  for (const char32_t c : characters) {
    const auto keysym = layout_.keysym(c, capsLock_);
    if (!keysym) continue;
    press_(*keysym, true);
    release_(*keysym, true);
  }
  left_ -= characters.size();
}

void MutterTyping::paste() {
  restore_.cancel();
  if (!clipboard_) {
    clipboard_.emplace(main_, background_, bus_, path_);
    clipboard_->onRead = [this] {
      if (pressed_) patience_ = main_->after(kAfterRead, [this] { pasted(); });
    };
  }
  pressed_ = false;
  const auto piece = std::u32string_view(text_).substr(pasteBegin_, pasteEnd_ - pasteBegin_);
  clipboard_->offer(encodeUtf8(piece), [this](bool offered) {
    if (!offered) return pasted();
    pasteKey();
    patience_ = main_->after(kPasting, [this] { pasted(); });
  });
}

void MutterTyping::pasteKey() {
  // The key of the letter, wherever it is; a layout without it has it where others do.
  const auto letter = layout_.keysym(U'v', capsLock_);
  const std::uint32_t key = letter ? *layout_.keysym(U'v', false) : KEY_V;
  press_(KEY_LEFTCTRL, false);
  press_(key, letter.has_value());
  release_(key, letter.has_value());
  release_(KEY_LEFTCTRL, false);
  pressed_ = true;
}

void MutterTyping::pasted() {
  patience_.cancel();
  pressed_ = false;
  left_ -= pasteEnd_ - pasteBegin_;
  restore_ = main_->after(kLendingTime, [this] { clipboard_->restore(); });
  typeKeys(std::u32string_view(text_).substr(pasteEnd_));
  finish();
}

void MutterTyping::finish() {
  std::exchange(done_, nullptr)();
}

}  // namespace tessaline::platform
