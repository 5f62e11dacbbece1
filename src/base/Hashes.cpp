#include "base/Hashes.h"

namespace tessaline {

std::uint32_t stableHash(std::string_view text) {
  std::uint32_t hash = 5381;
  for (const std::uint8_t byte : viewBytes(text)) hash = hash + (hash << 5) + byte;
  return hash;
}

std::uint64_t hashValueStable(ByteView bytes) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001B3;
  return hash;
}

std::uint64_t hashValueStable(std::string_view text) {
  return hashValueStable(viewBytes(text));
}

}  // namespace tessaline
