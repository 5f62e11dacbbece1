#include "web/qr/QrCode.h"

#include <qrencode.h>

#include <memory>

namespace tessaline {

std::optional<QrCode> QrCode::encode(const std::string& text) {
  struct FreeCode {
    void operator()(QRcode* code) const { QRcode_free(code); }
  };
  const std::unique_ptr<QRcode, FreeCode> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M));
  if (!code) return std::nullopt;
  std::vector<bool> modules;
  for (int i = 0; i < code->width * code->width; ++i) modules.push_back((code->data[i] & 1) != 0);
  return QrCode(code->width, std::move(modules));
}

}  // namespace tessaline
