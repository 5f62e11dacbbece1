#include "platform/linux/discovery/Daemon.h"

#include <avahi-common/error.h>

#include <utility>

namespace tessaline::platform {
namespace {

// Between attempts to reach a bus that is away, or a daemon that broke the connection.
constexpr auto kRetry = std::chrono::seconds(2);

}  // namespace

Daemon::Daemon(std::shared_ptr<Queue> queue) : queue_(queue), events_(std::move(queue)) {}

Daemon::~Daemon() = default;

void Daemon::connect() {
  // Without a daemon the client waits for one; without a bus there is no client.
  int error = 0;
  client_.reset(avahi_client_new(events_.api(), AVAHI_CLIENT_NO_FAIL, stateChanged, this, &error));
  if (client_) return;
  lose(avahi_strerror(error));
  renewLater();
}

// Called from inside the client, also from its making: what it means is worked out later.
void Daemon::stateChanged(AvahiClient* client, AvahiClientState state, void* self) {
  auto& daemon = *static_cast<Daemon*>(self);
  daemon.queue_->async([weak = daemon.weak_from_this(), client, state] {
    if (const auto alive = weak.lock()) alive->apply(client, state);
  });
}

void Daemon::apply(const AvahiClient* client, AvahiClientState state) {
  if (client != client_.get()) return;
  switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
    case AVAHI_CLIENT_S_REGISTERING:
    case AVAHI_CLIENT_S_COLLISION:
      connected_ = true;
      settled_ = state == AVAHI_CLIENT_S_RUNNING;
      if (std::exchange(saidWaiting_, false)) {
        returnLog_.write("Discovery works: the Avahi daemon is there");
      }
      onChange();
      break;
    case AVAHI_CLIENT_CONNECTING:
      lose("it is not running");
      break;
    case AVAHI_CLIENT_FAILURE:
      lose(avahi_strerror(avahi_client_errno(client_.get())));
      client_.reset();
      renewLater();
      break;
  }
}

void Daemon::lose(const std::string& reason) {
  if (!std::exchange(saidWaiting_, true)) {
    lossLog_.write("Discovery waits for the Avahi daemon (" + reason +
                   "): until then other computers are not found");
  }
  connected_ = settled_ = false;
  onChange();
}

void Daemon::renewLater() {
  retry_ = queue_->after(kRetry, [weak = weak_from_this()] {
    if (const auto alive = weak.lock()) alive->connect();
  });
}

}  // namespace tessaline::platform
