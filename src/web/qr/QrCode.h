#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessaline {

/// A text as a QR code of error correction level M: a square of modules. Readers want space that is
/// light around it, which whoever draws it adds. A plain value.
class QrCode {
 public:
  /// Nothing when the text is too long for any code.
  [[nodiscard]] static std::optional<QrCode> encode(const std::string& text);

  /// Modules on a side.
  [[nodiscard]] int width() const { return width_; }
  /// Outside the code everything is light.
  [[nodiscard]] bool dark(int x, int y) const {
    return x >= 0 && y >= 0 && x < width_ && y < width_ &&
           modules_[static_cast<std::size_t>(y * width_ + x)];
  }

 private:
  QrCode(int width, std::vector<bool> modules) : width_(width), modules_(std::move(modules)) {}

  int width_;
  std::vector<bool> modules_;
};

}  // namespace tessaline
