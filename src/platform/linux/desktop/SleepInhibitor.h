#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/Activity.h"
#include "platform/linux/desktop/BusThread.h"

namespace tessaline::platform {

/// Keeps a Linux desktop awake while activities last: it asks the desktop's screen saver and its
/// session manager over the session bus, where both are missing the system's login manager, and on
/// X11 the server's own screen saver. What a service forgets when it starts anew is asked for
/// again. `begin` is for the main queue and never waits; the talking is done on a thread, "awake".
class SleepInhibitor {
 public:
  SleepInhibitor();
  /// Nothing is left inhibited. Activities that still exist do nothing from now on.
  ~SleepInhibitor();
  SleepInhibitor(const SleepInhibitor&) = delete;
  SleepInhibitor& operator=(const SleepInhibitor&) = delete;

  [[nodiscard]] std::unique_ptr<Activity> begin(ActivityOptions options, const std::string& reason);

 private:
  struct Wishes;
  class Handle;
  class Talker;

  const std::shared_ptr<Wishes> wishes_;  // shared with the handles and the thread
  std::unique_ptr<Talker> talker_;        // made for the first activity
};

}  // namespace tessaline::platform
