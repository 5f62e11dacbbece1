#include "platform/linux/desktop/LoginEntry.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/desktop/ApplicationFolders.h"

namespace tessaline::platform {
namespace {

namespace fs = std::filesystem;

/// One argument of an Exec line: quoted for the line, then once more as a string of the file. A
/// percent sign would begin a field code.
std::string quoted(const std::string& argument) {
  std::string line = "\"";
  for (const char c : argument) {
    switch (c) {
      case '"':
      case '`':
      case '$':
        line += std::string("\\\\") + c;
        break;
      case '\\':
        line += R"(\\\\)";
        break;
      case '%':
        line += "%%";
        break;
      case '\n':
        line += "\\n";
        break;
      case '\t':
        line += "\\t";
        break;
      case '\r':
        line += "\\r";
        break;
      default:
        line += c;
    }
  }
  return line + "\"";
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return ::fsync(descriptor) == 0;
}

}  // namespace

fs::path LoginEntry::file(std::string_view label) {
  return ApplicationFolders::fromEnvironment().autostart / (std::string(label) + ".desktop");
}

bool LoginEntry::exists(std::string_view label) {
  std::error_code error;
  return fs::exists(file(label), error);
}

std::string LoginEntry::text(const std::string& executable) {
  return "[Desktop Entry]\nType=Application\nName=Tessaline\nIcon=app.tessaline\nExec=" +
         quoted(executable) + "\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
}

void LoginEntry::write(std::string_view label, const std::string& executable) {
  const fs::path target = file(label);
  std::error_code error;
  fs::create_directories(target.parent_path(), error);
  std::string temporary = target.string() + ".XXXXXX";
  const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return;
  const bool complete = writeAll(descriptor, text(executable));
  ::close(descriptor);
  if (complete) fs::rename(temporary, target, error);
  if (!complete || error) fs::remove(temporary, error);
}

void LoginEntry::remove(std::string_view label) {
  std::error_code error;
  fs::remove(file(label), error);
}

}  // namespace tessaline::platform
