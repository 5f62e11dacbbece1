#pragma once

namespace tessaline::platform {

/// What an activity asks of the system while it lasts.
struct ActivityOptions {
  bool idleDisplaySleepDisabled = false;  ///< the screen stays lit although nobody touches anything
  bool idleSystemSleepDisabled = false;
  bool latencyCritical = false;  ///< a hint: systems that save energy by grouping timers should not
};

/// Something that the computer must stay awake for. It lasts as long as this object, however it
/// ends. Main queue; making and destroying one never blocks, and a system that cannot do what it
/// asks for says so in the log.
class Activity {
 public:
  virtual ~Activity() = default;
};

}  // namespace tessaline::platform
