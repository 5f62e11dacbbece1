#pragma once

#include <memory>
#include <string>

#include "base/LimitedLog.h"
#include "base/Queue.h"
#include "platform/linux/discovery/AvahiObjects.h"

namespace tessaline::platform {

/// One service that this computer offers, published whenever there is a daemon to do it. While
/// another host has its name it carries a number. Lives on the discovery queue.
class Publication : public std::enable_shared_from_this<Publication> {
 public:
  Publication(std::shared_ptr<Queue> queue, const std::string& name, std::string type,
              std::uint16_t port);

  /// The daemon's client from now on; none: there is no daemon, or it may not publish yet.
  void use(AvahiClient* client);

 private:
  static void stateChanged(AvahiEntryGroup* group, AvahiEntryGroupState state, void* self);
  void apply(AvahiEntryGroupState state);
  void publish();
  void retryLater(int error);

  const std::shared_ptr<Queue> queue_;
  const std::string wanted_;
  const std::string type_;
  const std::uint16_t port_;
  std::string name_;  // that it has now
  AvahiClient* client_ = nullptr;
  EntryGroupObject group_;
  LimitedLog takenLog_;
  int saidError_ = 0;  // why it could not be published, as logged
  Timer retry_;
};

}  // namespace tessaline::platform
