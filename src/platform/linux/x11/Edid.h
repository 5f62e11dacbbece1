#pragma once

#include <array>
#include <cstdint>

#include "platform/Display.h"
#include "platform/linux/x11/ModeTiming.h"

namespace tessaline::platform {

using Edid = std::array<std::uint8_t, 128>;

/// The EDID 1.3 block by which a desktop names the display and knows it again. Its name field holds
/// 13 ASCII characters; a mode too large for its timing field is left out.
[[nodiscard]] Edid makeEdid(const VirtualDisplayDescriptor& descriptor, const ModeTiming& timing);

}  // namespace tessaline::platform
