#include "web/TLSIdentity.h"

#include <fstream>
#include <iterator>

#include "base/PrivateFile.h"

namespace tessaline {

std::optional<std::string> TLSIdentity::hostName() const {
  return readTrimmed(host());
}

TLSIdentity::Identity TLSIdentity::load() const {
  std::ifstream stream(p12(), std::ios::binary);
  const std::string bundle{std::istreambuf_iterator<char>(stream), {}};
  const auto secret = readTrimmed(password());
  if (bundle.empty() || !secret) return nullptr;
  auto identity = security_->importIdentity(viewBytes(bundle), *secret);
  return identity ? *identity : nullptr;
}

}  // namespace tessaline
