#include "platform/linux/wayland/portal/PortalAccess.h"

#include <unistd.h>

#include "base/Log.h"

namespace tessaline::platform {

void PortalAccess::request() {
  PortalSession::Portal portal = portal_();
  portal.consent->forgetRefusal();
  if (question_ || portal.consent->granted()) return;
  // Nothing of a session may be destroyed from within its own callback but by its end.
  const auto over = [this] { PortalSession::letGo(std::move(question_)); };
  question_ = PortalSession::start(std::move(portal),
                                   {.onGranted =
                                        [over](const PortalSession::Lease& lease) {
                                          if (lease.remote >= 0) ::close(lease.remote);
                                          if (lease.eis >= 0) ::close(lease.eis);
                                          over();
                                        },
                                    .onRefused =
                                        [over] {
                                          log("portal: the user refused extra displays");
                                          over();
                                        },
                                    .onFailed =
                                        [over](const std::string& reason) {
                                          log("portal: the user could not be asked: " + reason);
                                          over();
                                        }});
}

}  // namespace tessaline::platform
