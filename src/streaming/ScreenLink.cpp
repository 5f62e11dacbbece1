#include "streaming/ScreenLink.h"

namespace tessaline {

ScreenLink::~ScreenLink() = default;

bool ScreenLink::send(std::uint8_t type, ByteView payload) {
  return send(type, std::make_shared<const Bytes>(payload.begin(), payload.end()));
}

}  // namespace tessaline
