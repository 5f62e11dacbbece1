#include "base/Log.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace tessaline {

void log(std::string_view message) {
  std::string line = "[Tessaline] ";
  line += message;
  std::ranges::replace_if(
      line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
  syslog(LOG_USER | LOG_INFO, "%s", line.c_str());
  line += '\n';
  // One write keeps lines of several threads whole; a closed standard error is nobody's concern.
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace tessaline
