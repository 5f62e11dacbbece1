#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/Geometry.h"
#include "base/Result.h"
#include "platform/linux/wayland/screencast/ScreenCast.h"

struct spa_pod;

namespace tessaline::platform {

/// The parameters that a screen cast negotiates with. The object holds their memory.
class CastParameters {
 public:
  CastParameters() = default;
  CastParameters(const CastParameters&) = delete;
  CastParameters& operator=(const CastParameters&) = delete;

  /// Every kind of picture that is understood, the best first.
  void offerFormats(const ScreenCast::Wish& wish);
  /// Buffers for an agreed format, and what is to come beside the pixels.
  void askForBuffers(bool graphicsMemory);

  [[nodiscard]] const spa_pod** list() { return list_.data(); }
  [[nodiscard]] std::uint32_t count() const { return static_cast<std::uint32_t>(list_.size()); }

 private:
  std::array<std::uint8_t, 4096> memory_{};
  std::vector<const spa_pod*> list_;
};

/// What both sides agreed on.
struct CastFormat {
  PixelSize size;
  bool graphicsMemory = false;

  [[nodiscard]] static Result<CastFormat> parse(const spa_pod* format);
};

}  // namespace tessaline::platform
