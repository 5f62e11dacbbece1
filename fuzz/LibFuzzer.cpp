#include <cstddef>

#include "Targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessaline::fuzz::FUZZ_TARGET({data, size});
  return 0;
}
