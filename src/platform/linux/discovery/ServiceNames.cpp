#include "platform/linux/discovery/ServiceNames.h"

#include <avahi-common/alternative.h>
#include <avahi-common/malloc.h>

#include <memory>

#include "base/Bytes.h"
#include "base/SafeText.h"

namespace tessaline::platform {
namespace {

constexpr std::size_t kLongest = 63;  // bytes of a DNS label

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::string fitServiceName(std::string_view wanted) {
  std::string name = withoutControls(repairUtf8(viewBytes(wanted)), ' ');
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
