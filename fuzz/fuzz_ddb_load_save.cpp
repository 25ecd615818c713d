// libFuzzer target: kestrel_fuzz::ddb_load_save on each input.
#include "fuzz_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kestrel_fuzz::ddb_load_save(data, size);
  return 0;
}
