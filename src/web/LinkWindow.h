#pragma once

#include "shell/CentredWindow.h"
#include "web/WebScreenServer.h"

namespace tessaline {

/// Shows how any device becomes a screen: the link, its QR code, and the button that replaces both.
/// Outlived by the server. Main thread.
class LinkWindow final : public CentredWindow {
 public:
  explicit LinkWindow(WebScreenServer& server);
};

}  // namespace tessaline
