#include "app/ctl/QrText.h"

#include <qrencode.h>

#include <memory>

namespace tessaline::ctl {
namespace {

// Modules of empty space around the code: readers want four, and find it with two on paper-white.
constexpr int kQuietZone = 2;

constexpr const char* kWhiteOnBlack = "\033[38;2;255;255;255;48;2;0;0;0m";
constexpr const char* kReset = "\033[0m";

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

}  // namespace

std::string qrText(const std::string& text, bool colours) {
  const std::unique_ptr<QRcode, FreeCode> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M));
  if (!code) return {};
  const int width = code->width;
  const auto light = [&](int x, int y) {
    if (y >= width + kQuietZone) return false;  // below the last row of half blocks
    if (x < 0 || y < 0 || x >= width || y >= width) return true;
    return (code->data[y * width + x] & 1) == 0;
  };
  std::string drawn;
  for (int y = -kQuietZone; y < width + kQuietZone; y += 2) {
    if (colours) drawn += kWhiteOnBlack;
    for (int x = -kQuietZone; x < width + kQuietZone; ++x) {
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
