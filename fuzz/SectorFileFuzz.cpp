// Sector files of any content: open, then read every mapped sector.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "support/FuzzEntries.h"

namespace {

// One scratch file per process, so that parallel fuzz jobs never share one.
const std::string& ScratchPath() {
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("layscan-fuzz-" + std::to_string(getpid()) + ".sf")).string();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzentry::SectorFileBytes(data, size, ScratchPath());
    return 0;
}
