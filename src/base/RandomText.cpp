#include "base/RandomText.h"

#include <openssl/rand.h>

#include <array>
#include <cstdint>
#include <cstdlib>

#include "base/Bytes.h"
#include "base/Log.h"

namespace tessaline {
namespace {

Bytes secureRandom(std::size_t count) {
  Bytes bytes(count);
  if (RAND_bytes(bytes.data(), static_cast<int>(count)) != 1) {
    log("the system's random source failed");
    std::abort();
  }
  return bytes;
}

}  // namespace

std::string randomText(std::size_t length, std::string_view alphabet) {
  std::string text;
  text.reserve(length);
  for (const std::uint8_t byte : secureRandom(length)) text += alphabet[byte % alphabet.size()];
  return text;
}

std::string randomUuid() {
  Bytes bytes = secureRandom(16);
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 15];
  }
  return text;
}

}  // namespace tessaline
