// Sector files of any content: open, then read every mapped sector.

#include <filesystem>
#include <unistd.h>

#include "support/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // One scratch file per process, so that parallel fuzz jobs never share one.
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("layscan-fuzz-" + std::to_string(getpid()) + ".sf")).string();
    fuzzentry::SectorFileBytes(data, size, path);
    return 0;
}
