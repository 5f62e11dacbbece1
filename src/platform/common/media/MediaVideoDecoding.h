#pragma once

#include <memory>

#include "base/Queue.h"
#include "platform/VideoDecoding.h"

namespace tessaline::platform {

/// H.264 decoding by libavcodec (by the machine's hardware where there is any) and PNG by libpng.
/// `queues` must outlive the result and the sessions that it makes.
[[nodiscard]] std::unique_ptr<VideoDecoding> createVideoDecoding(Queues& queues);

}  // namespace tessaline::platform
