#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/LimitedLog.h"
#include "base/Queue.h"
#include "platform/linux/discovery/AvahiEvents.h"
#include "platform/linux/discovery/AvahiObjects.h"

namespace tessaline::platform {

/// The connection to the Avahi daemon over the system's D-Bus, made anew whenever one of the two
/// went away. Lives on the discovery queue, owned by the discovery.
class Daemon : public std::enable_shared_from_this<Daemon> {
 public:
  explicit Daemon(std::shared_ptr<Queue> queue);
  ~Daemon();
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  /// What `client` or `publisher` return has changed: objects of a client that is not returned any
  /// more are freed before this comes back.
  std::function<void()> onChange;

  void connect();

  /// To find others; none while there is no daemon.
  [[nodiscard]] AvahiClient* client() const { return connected_ ? client_.get() : nullptr; }
  /// To be found; none also while the daemon is still settling its host's name.
  [[nodiscard]] AvahiClient* publisher() const { return settled_ ? client() : nullptr; }

 private:
  static void stateChanged(AvahiClient* client, AvahiClientState state, void* self);
  void apply(const AvahiClient* client, AvahiClientState state);
  void lose(const std::string& reason);
  void renewLater();

  const std::shared_ptr<Queue> queue_;
  AvahiEvents events_;
  ClientObject client_;
  bool connected_ = false;
  bool settled_ = false;
  bool saidWaiting_ = false;
  LimitedLog lossLog_;
  LimitedLog returnLog_;
  Timer retry_;
};

}  // namespace tessaline::platform
