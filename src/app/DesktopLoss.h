#pragma once

namespace tessaline {

/// What happens when the desktop that shows the windows goes away under the event loop. Qt then
/// calls `std::exit` on the spot, with every thread of ours running; this ends the process with one
/// line in the log and no destructors instead. Virtual displays have gone with their server.
class DesktopLoss {
 public:
  /// While such an object lives, any `std::exit` counts as the desktop's loss. Main thread.
  DesktopLoss();
  ~DesktopLoss();
  DesktopLoss(const DesktopLoss&) = delete;
  DesktopLoss& operator=(const DesktopLoss&) = delete;

  /// Writes the log line, once for the process, whoever notices first.
  static void report();
  /// True for the first who asks, whose own line then takes the place of that one.
  [[nodiscard]] static bool claim();
};

}  // namespace tessaline
