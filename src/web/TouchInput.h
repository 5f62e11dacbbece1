#pragma once

#include <memory>
#include <optional>

#include "base/LimitedLog.h"
#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/DesktopEnvironment.h"
#include "streaming/Session.h"

namespace tessaline {

/// Turns the input messages of browser screens into input events on this computer, aimed at the
/// display that the browser shows. The pointer is borrowed: shortly after the last touch it is back
/// where it was before the first. One for all sessions, because there is one pointer. Lives on the
/// main queue, owned by the main role; the desktop outlives it.
class TouchInput final : public DeviceInput {
 public:
  TouchInput(std::shared_ptr<Queue> main, UserDefaults& defaults,
             platform::DesktopEnvironment& desktop);
  /// Returns a borrowed pointer at once.
  ~TouchInput() override;
  TouchInput(const TouchInput&) = delete;
  TouchInput& operator=(const TouchInput&) = delete;

  /// The "touchControl" setting; on unless it says otherwise.
  [[nodiscard]] bool enabled() const override;
  void setEnabled(bool enabled);

  /// Applies one message. Values that make no sense fall back or drop the message; input that the
  /// desktop cannot take in fast enough is dropped too.
  void handle(const ScreenLink::Input& message, platform::DisplayID display) override;
  [[nodiscard]] std::optional<UnitRect> focusedTextField(platform::DisplayID display) override;

 private:
  [[nodiscard]] bool allowed();
  /// False when too much input waits already.
  [[nodiscard]] bool hasRoom();
  void noteFlood();
  void click(platform::MouseButton button, int clicks, platform::PointerLocation at);
  void scroll(const ScreenLink::Input& message, platform::PointerLocation at);
  void type(const ScreenLink::Input& message);
  void press(const ScreenLink::Input& message);
  void borrowPointer(platform::PointerLocation at);
  void returnPointerAfter(Duration delay);
  void returnPointer();

  const std::shared_ptr<Queue> main_;
  UserDefaults& defaults_;
  platform::DesktopEnvironment& desktop_;
  platform::InputEvents& events_;
  bool asked_ = false;  // whether the user was asked to trust this process
  LimitedLog flood_;
  platform::DisplayID touched_ = 0;  // where the last message was aimed at
  bool borrowed_ = false;
  std::optional<platform::PointerLocation> saved_;      // nothing: the desktop does not tell
  std::optional<platform::PointerLocation> returning_;  // there once nothing is pending any more
  Timer restore_;
};

}  // namespace tessaline
