#include "platform/linux/discovery/ServiceNames.h"

#include <avahi-common/alternative.h>
#include <avahi-common/malloc.h>

#include <algorithm>
#include <memory>

#include "base/Bytes.h"

namespace tessaline::platform {
namespace {

constexpr std::size_t kLongest = 63;  // bytes of a DNS label

bool isControl(char character) {
  const auto code = static_cast<unsigned char>(character);
  return code < 0x20 || code == 0x7F;
}

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::string fitServiceName(std::string_view wanted) {
  std::string name = repairUtf8(viewBytes(wanted));
  std::replace_if(name.begin(), name.end(), isControl, ' ');
  if (name.size() > kLongest) {
    std::size_t length = kLongest;
    while (continuesCharacter(name[length])) --length;
    name.resize(length);
  }
  return name;
}

bool isServiceName(std::string_view name) {
  return !name.empty() && fitServiceName(name) == name;
}

std::string alternativeServiceName(const std::string& name) {
  const std::unique_ptr<char, decltype(&avahi_free)> text(
      avahi_alternative_service_name(name.c_str()), avahi_free);
  return text ? text.get() : name;
}

}  // namespace tessaline::platform
