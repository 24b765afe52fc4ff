// Command lines of any content, one word per NUL- or newline-separated piece.

#include <cstddef>
#include <cstdint>

#include "support/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzentry::CommandLineBytes(data, size);
    return 0;
}
