// A libFuzzer target over one reader entry; the build names the entry (VARKEL_FUZZ_ENTRY).
#include "reader_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return reader_fuzzing::VARKEL_FUZZ_ENTRY(data, size);
}
