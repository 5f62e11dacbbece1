#include "platform/linux/wayland/screencast/ScreenCast.h"

#include <unistd.h>

namespace tessaline::platform {

Result<std::unique_ptr<ScreenCast>> ScreenCast::open(Queues& /*queues*/, Source source,
                                                     const Wish& /*wish*/, DisplayID /*display*/,
                                                     std::shared_ptr<WaylandPointer> /*pointer*/,
                                                     Callbacks /*callbacks*/) {
  if (source.remote >= 0) ::close(source.remote);
  return Failure{"screen casts are not available in this build"};
}

}  // namespace tessaline::platform
