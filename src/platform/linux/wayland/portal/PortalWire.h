#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/desktop/BusThread.h"
#include "platform/linux/wayland/portal/PortalBus.h"

namespace tessaline::platform {

/// PortalBus's side of the thread "portal": the connection, made when it is first needed and anew
/// when it broke, and the registration of this process under its application's name, which has to
/// come before anything else that the portal hears. Work waits until then.
class PortalBus::Wire final : private BusThread::Client {
 public:
  /// What is told; on the bus's thread.
  struct Listener {
    std::function<void(std::string token, std::uint32_t response, PortalValues values)> onResponse;
    std::function<void(std::string path)> onSessionClosed;
    std::function<void(std::string session)> onShortcut;
    std::function<void(std::string reason)> onGone;
    std::function<void()> onBack;
  };
  struct Call {
    std::string path;
    Method method;
    Write write;
    Read read;  ///< none: nobody waits for the reply
    std::function<void(std::optional<std::string> error)> done;
  };

  explicit Wire(Listener listener);
  ~Wire() override = default;

  /// From any thread.
  void post(Call call);

 private:
  BusThread::Clock::time_point update() override;
  std::vector<sdbus::IConnection*> connections() override;
  void lost(sdbus::IConnection& connection) override;
  void finish() override;

  void connect();
  void listen();
  void introduce();
  void drop(const std::string& reason);
  void sendWaiting();
  void send(Call& call);
  void ownerChanged(sdbus::Message& message);

  const Listener listener_;
  std::mutex mutex_;
  std::deque<Call> posted_;  // guarded by mutex_
  // The rest belongs to the thread.
  std::deque<Call> waiting_;
  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IProxy> portal_;
  enum class Introduction { none, asked, done } introduction_ = Introduction::none;
  bool broken_ = false;
  bool wasThere_ = false;
  bool away_ = false;  // a portal was there and has gone
  BusThread::Clock::time_point nextAttempt_{};
  BusThread thread_;  // last: it starts at once
};

}  // namespace tessaline::platform
