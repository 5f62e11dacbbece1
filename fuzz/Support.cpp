#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "Targets.h"
#include "base/Log.h"
#include "support/TemporaryFolder.h"

namespace tessaline {

// Takes the place of the real one: thousands of inputs a second are nothing for the system's log.
void log(std::string_view /*message*/) {}

namespace fuzz {

void require(bool kept) {
  if (!kept) std::abort();
}

std::vector<ByteView> records(ByteView input) {
  constexpr std::uint8_t kSeparator = 0x1E;
  std::vector<ByteView> found;
  for (;;) {
    const auto end = std::ranges::find(input, kSeparator);
    found.emplace_back(input.begin(), end);
    if (end == input.end()) return found;
    input = {end + 1, input.end()};
  }
}

const std::filesystem::path& scratchFolder() {
  static const test::TemporaryFolder folder = [] {
    std::error_code ignored;
    if (std::filesystem::is_directory("/dev/shm", ignored)) ::setenv("TMPDIR", "/dev/shm", 0);
    return test::TemporaryFolder();
  }();
  return folder.path();
}

}  // namespace fuzz
}  // namespace tessaline
