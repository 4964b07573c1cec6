// libFuzzer entry point; QOR_FUZZ_TARGET names the harness at compile time.
#include "FuzzHarness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return qorfuzz::QOR_FUZZ_TARGET(data, size);
}
