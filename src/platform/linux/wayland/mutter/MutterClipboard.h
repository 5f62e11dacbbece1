#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/linux/wayland/mutter/MutterBus.h"

namespace tessaline::platform {

/// The desktop's clipboard, lent for texts that are to be pasted. What was on it comes back as far
/// as it was text; anything else that a program had put there, a picture or the formatting of the
/// text, is lost. Main queue, owned by MutterTyping; ends before its bus.
class MutterClipboard {
 public:
  /// `background` is where reading what is on the clipboard may wait for its program.
  MutterClipboard(std::shared_ptr<Queue> main, std::shared_ptr<Queue> background, MutterBus& bus,
                  const std::string& remoteSession);

  /// Puts `text` there; `done` runs with whether that worked.
  void offer(std::string text, std::function<void(bool)> done);
  /// Puts back what was there before the first offer.
  void restore();

  /// A program has read what was offered.
  std::function<void()> onRead;

 private:
  void set(const std::string& text, std::function<void(bool)> done);
  void save(std::function<void()> done);
  void ownerChanged(const std::map<std::string, sdbus::Variant>& options);
  void write(std::uint32_t serial);

  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> background_;
  MutterBus& bus_;
  MutterBus::Proxy session_;
  std::optional<std::string> theirType_;  // a type of text that another program offers
  std::optional<std::string> saved_;      // what was there
  bool lent_ = false;
  std::string text_;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace tessaline::platform
