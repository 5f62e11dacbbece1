#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/Queue.h"
#include "platform/linux/wayland/mutter/KeyboardLayout.h"
#include "platform/linux/wayland/mutter/MutterBus.h"
#include "platform/linux/wayland/mutter/MutterClipboard.h"

namespace tessaline::platform {

/// Types texts through a remote-desktop session, one at a time. Characters that the keyboard layout
/// has are keys. Mutter drops all others, so what is between the first and the last of those goes
/// over the clipboard, with Ctrl+V: programs with text fields take that; terminals, which want
/// another key for it, do not get these characters. It costs a tenth of a second each time, and
/// what was on the clipboard unless it was plain text. Main queue, owned by MutterDevices.
class MutterTyping {
 public:
  using KeyPress = std::function<void(std::uint32_t code, bool isKeysym)>;

  MutterTyping(Queues& queues, MutterBus& bus, const std::string& remoteSession, KeyPress press,
               KeyPress release);

  /// `done` runs when the text has been typed; not before, and the next one waits for it.
  void type(const std::string& text, std::function<void()> done);
  /// Characters that are not typed yet.
  [[nodiscard]] std::size_t left() const { return left_; }

 private:
  void begin();
  void typeKeys(std::u32string_view characters);
  void paste();
  void pasteKey();
  void pasted();
  void finish();

  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> background_;
  MutterBus& bus_;
  MutterBus::Proxy session_;
  std::optional<MutterClipboard> clipboard_;  // once needed
  const std::string path_;
  const KeyPress press_;
  const KeyPress release_;

  std::u32string text_;
  std::size_t left_ = 0;
  std::size_t pasteBegin_ = 0;
  std::size_t pasteEnd_ = 0;
  std::function<void()> done_;
  KeyboardLayout layout_;
  bool capsLock_ = false;
  bool pressed_ = false;  // the paste key, after which programs ask for the text
  Clock::time_point layoutRead_;
  Timer patience_;
  Timer restore_;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace tessaline::platform
