#pragma once

#include <string>

namespace tessaline::ctl {

/// `text` as a QR code (error correction level M) drawn with half blocks, two modules to a
/// character. With `colours` it brings its own black and white and can be scanned from any
/// terminal; without, it relies on light letters on a dark ground. Empty when the text is too long.
[[nodiscard]] std::string qrText(const std::string& text, bool colours);

}  // namespace tessaline::ctl
