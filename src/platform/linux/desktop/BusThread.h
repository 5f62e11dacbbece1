#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/desktop/SdBus.h"

namespace tessaline::platform {

/// A thread that serves connections to message buses, so that no bus and no program behind it makes
/// anyone else wait. Its owner derives what it does from Client, whose operations all run on the
/// thread; nothing of sdbus-c++ throws out of here.
class BusThread {
 public:
  using Clock = std::chrono::steady_clock;

  class Client {
   public:
    virtual ~Client() = default;
    /// Called after whatever woke the thread, first when it starts. The time when it is to be
    /// called at the latest.
    virtual Clock::time_point update() = 0;
    /// The connections to wait for; they may change in `update` only.
    virtual std::vector<sdbus::IConnection*> connections() = 0;
    /// A connection broke; it is served no more.
    virtual void lost(sdbus::IConnection& connection) = 0;
    /// The last call.
    virtual void finish() = 0;
  };

  /// `client` outlives the thread. `name` is what a debugger shows.
  BusThread(std::string name, Client& client);
  /// Calls `finish` and waits for it.
  ~BusThread();
  BusThread(const BusThread&) = delete;
  BusThread& operator=(const BusThread&) = delete;

  /// Has `update` called soon. From any thread.
  void wake();

 private:
  void run(const std::string& name);
  void wait(Clock::time_point until);
  void serve(sdbus::IConnection& connection);

  Client& client_;
  const int wakeUp_;  // an eventfd
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace tessaline::platform
