#pragma once

#include <optional>
#include <string>

#include "base/Bytes.h"
#include "base/Geometry.h"

namespace tessaline {

/// What a display device tells the main computer about itself.
struct Hello {
  int width = 0;   ///< pixels
  int height = 0;  ///< pixels
  SizeMM sizeMM;   ///< 0 × 0 when the device does not know
  int scale = 1;   ///< pixels per point
  std::string deviceID;
  std::string deviceName;
  std::optional<std::string> key;  ///< the link key, from browsers only

  /// The payload of a hello message. Sizes carry their low 16 bits. A scale outside 0…255 and an
  /// identifier of 256 bytes or more are programmer's mistakes.
  [[nodiscard]] Bytes encoded() const;

  /// Reads a hello payload, older and shorter forms included; nothing when it is shorter than
  /// 8 bytes. The screen's name is the one it advertises, and stands in for a missing identifier.
  [[nodiscard]] static std::optional<Hello> decoded(ByteView payload,
                                                    const std::string& serviceName);
};

}  // namespace tessaline
