#include "platform/linux/desktop/ComputerName.h"

#include <unistd.h>

#include <array>
#include <fstream>
#include <string_view>

namespace tessaline::platform {
namespace {

constexpr std::string_view kPrettyName = "PRETTY_HOSTNAME=";

/// A value as the shell would read it, as far as system programs write such values.
std::string unquoted(std::string_view value) {
  const char quote = !value.empty() && (value[0] == '"' || value[0] == '\'') ? value[0] : '\0';
  std::string text;
  for (std::size_t i = quote ? 1 : 0; i < value.size(); ++i) {
    if (quote && value[i] == quote) break;
    if (value[i] == '\\' && quote != '\'' && i + 1 < value.size()) ++i;
    text += value[i];
  }
  return text;
}

std::string prettyName() {
  std::ifstream file("/etc/machine-info");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(kPrettyName)) {
      return unquoted(std::string_view(line).substr(kPrettyName.size()));
    }
  }
  return {};
}

std::string hostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  const std::string_view text(name.data());
  return text == "(none)" ? std::string() : std::string(text);  // what the kernel calls no name
}

}  // namespace

std::string readComputerName() {
  for (std::string name : {prettyName(), hostName()}) {
    if (!name.empty()) return name;
  }
  return "Mac";
}

}  // namespace tessaline::platform
