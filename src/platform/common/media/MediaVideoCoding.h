#pragma once

#include <memory>

#include "base/Queue.h"
#include "platform/VideoCoding.h"

namespace tessaline::platform {

/// Video coding by libavcodec (a hardware encoder where the machine has one, else libx264) and PNG
/// by libpng. `queues` must outlive the result and the sessions that it makes.
[[nodiscard]] std::unique_ptr<VideoCoding> createVideoCoding(Queues& queues);

}  // namespace tessaline::platform
