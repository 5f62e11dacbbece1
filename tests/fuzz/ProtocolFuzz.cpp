#include <algorithm>
#include <cstdlib>

#include "protocol/Cursor.h"
#include "protocol/Framing.h"
#include "protocol/Hello.h"
#include "protocol/ParameterSets.h"

/// Everything that reads bytes of the stream; whatever can be read must be what would be written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tessaline;
  const ByteView bytes(data, size);
  if (const auto hello = Hello::decoded(bytes, "screen")) {
    if (hello->scale < 1 || hello->deviceID.empty()) std::abort();
  }
  if (const auto sets = ParameterSetPair::decoded(bytes)) {
    const Bytes again = ParameterSetPair::encoded(sets->sequence, sets->picture);
    if (!std::equal(again.begin(), again.end(), bytes.begin())) std::abort();
  }
  if (const auto update = CursorUpdate::decoded(bytes); update && bytes[7] <= 1) {
    const auto again = update->datagram();
    if (!std::equal(again.begin(), again.end(), bytes.begin())) std::abort();
  }
  (void)framing::acceptedLength(bytes, framing::kMainReaderLimit);
  return 0;
}
