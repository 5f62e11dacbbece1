#pragma once

#include "platform/ControlEndpoint.h"

namespace tessaline::ctl {

/// Prints once a second how each stream fares, until the application ends or a signal ends this
/// program; answers the exit code.
[[nodiscard]] int watchStreams(platform::ControlClient& client);

}  // namespace tessaline::ctl
