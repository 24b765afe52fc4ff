// Raw disk images of any content, reported with every section.

#include <cstddef>
#include <cstdint>

#include "support/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzentry::ImageReportBytes(data, size);
    return 0;
}
