#pragma once

#include <cstdint>
#include <string_view>

#include "base/Bytes.h"

namespace tessaline {

/// DJB2 over the UTF-8 bytes of `text`, in wrapping 32-bit arithmetic. A display's serial number:
/// it must stay the same between runs so that a desktop recognises the display again.
[[nodiscard]] std::uint32_t stableHash(std::string_view text);

/// 64-bit FNV-1a, for everything else that must hash alike across launches.
[[nodiscard]] std::uint64_t hashValueStable(ByteView bytes);
[[nodiscard]] std::uint64_t hashValueStable(std::string_view text);

}  // namespace tessaline
