#include "app/ctl/QrText.h"

#include "web/qr/QrCode.h"

namespace tessaline::ctl {
namespace {

// Modules of empty space around the code: readers want four, and find it with two on paper-white.
constexpr int kQuietZone = 2;

constexpr const char* kWhiteOnBlack = "\033[38;2;255;255;255;48;2;0;0;0m";
constexpr const char* kReset = "\033[0m";

}  // namespace

std::string qrText(const std::string& text, bool colours) {
  const auto code = QrCode::encode(text);
  if (!code) return {};
  const int end = code->width() + kQuietZone;
  // Below the last row of half blocks lies the terminal's own ground.
  const auto light = [&](int x, int y) { return y < end && !code->dark(x, y); };
  std::string drawn;
  for (int y = -kQuietZone; y < end; y += 2) {
    if (colours) drawn += kWhiteOnBlack;
    for (int x = -kQuietZone; x < end; ++x) {
      const bool upper = light(x, y);
      const bool lower = light(x, y + 1);
      drawn += upper ? (lower ? "█" : "▀") : (lower ? "▄" : " ");
    }
    if (colours) drawn += kReset;
    drawn += '\n';
  }
  return drawn;
}

}  // namespace tessaline::ctl
