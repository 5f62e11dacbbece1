#include "base/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace tessaline {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";

Failure failure(const fs::path& file, int error) {
  return {file.string() + ": " + std::strerror(error)};
}

/// The errno of the step that failed, or 0.
int writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return ::fsync(descriptor) == 0 ? 0 : errno;
}

}  // namespace

std::optional<Failure> makePrivateFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (!error && ::chmod(folder.c_str(), 0700) != 0) error = {errno, std::generic_category()};
  if (error) return failure(folder, error.value());
  return std::nullopt;
}

std::optional<Failure> replacePrivateFile(const fs::path& file, std::string_view text) {
  const std::string temporary = file.string() + ".new";
  const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (descriptor < 0) return failure(file, errno);
  int error = writeAll(descriptor, text);
  if (::close(descriptor) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(temporary.c_str(), file.c_str()) != 0) error = errno;
  if (error == 0) return std::nullopt;
  ::unlink(temporary.c_str());
  return failure(file, error);
}

std::optional<std::string> readTrimmed(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  const auto first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string::npos) return std::nullopt;
  return text.substr(first, text.find_last_not_of(kWhiteSpace) + 1 - first);
}

}  // namespace tessaline
