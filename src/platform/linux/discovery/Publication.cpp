#include "platform/linux/discovery/Publication.h"

#include <avahi-common/error.h>

#include <utility>

#include "base/Log.h"
#include "platform/linux/discovery/ServiceNames.h"

namespace tessaline::platform {
namespace {

constexpr auto kRetry = std::chrono::seconds(5);  // after the daemon refused
constexpr int kMaxLocalNames = 64;  // tried at once, when other programs here have them

}  // namespace

Publication::Publication(std::shared_ptr<Queue> queue, const std::string& name, std::string type,
                         std::uint16_t port)
    : queue_(std::move(queue)),
      wanted_(fitServiceName(name)),
      type_(std::move(type)),
      port_(port) {}

void Publication::use(AvahiClient* client) {
  if (client == client_) return;
  group_.reset();
  retry_.cancel();
  client_ = client;
  if (!client_) return;
  name_ = wanted_;
  publish();
}

void Publication::publish() {
  if (!group_) group_.reset(avahi_entry_group_new(client_, stateChanged, this));
  if (!group_) {
    retryLater(avahi_client_errno(client_));
    return;
  }
  avahi_entry_group_reset(group_.get());
  int error = AVAHI_ERR_COLLISION;
  for (int attempt = 0; error == AVAHI_ERR_COLLISION && attempt < kMaxLocalNames; ++attempt) {
    if (attempt > 0) name_ = alternativeServiceName(name_);
    error = avahi_entry_group_add_service(group_.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, {},
                                          name_.c_str(), type_.c_str(), nullptr, nullptr, port_,
                                          nullptr);
  }
  if (error == AVAHI_OK) error = avahi_entry_group_commit(group_.get());
  if (error != AVAHI_OK) retryLater(error);
}

// Called from inside the group, also from its making: what it means is worked out later.
void Publication::stateChanged(AvahiEntryGroup* group, AvahiEntryGroupState state, void* self) {
  auto& publication = *static_cast<Publication*>(self);
  publication.queue_->async([weak = publication.weak_from_this(), group, state] {
    const auto alive = weak.lock();
    if (alive && alive->group_.get() == group) alive->apply(state);
  });
}

void Publication::apply(AvahiEntryGroupState state) {
  switch (state) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED:
      saidError_ = AVAHI_OK;
      if (name_ != wanted_)
        takenLog_.write("\"" + wanted_ + "\" is taken: advertised as \"" + name_ + "\"");
      break;
    case AVAHI_ENTRY_GROUP_COLLISION:
      name_ = alternativeServiceName(name_);
      publish();
      break;
    case AVAHI_ENTRY_GROUP_FAILURE:
      retryLater(avahi_client_errno(client_));
      break;
    case AVAHI_ENTRY_GROUP_UNCOMMITED:
    case AVAHI_ENTRY_GROUP_REGISTERING:
      break;
  }
}

void Publication::retryLater(int error) {
  if (std::exchange(saidError_, error) != error) {
    log("\"" + name_ + "\" cannot be advertised now: " + avahi_strerror(error));
  }
  group_.reset();
  retry_ = queue_->after(kRetry, [weak = weak_from_this()] {
    const auto alive = weak.lock();
    if (alive && alive->client_) alive->publish();
  });
}

}  // namespace tessaline::platform
