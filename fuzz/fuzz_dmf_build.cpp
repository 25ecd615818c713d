// libFuzzer target: kestrel_fuzz::dmf_build on each input.
#include "fuzz_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kestrel_fuzz::dmf_build(data, size);
  return 0;
}
