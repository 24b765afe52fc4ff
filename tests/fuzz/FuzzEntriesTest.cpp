// Every saved fuzz finding (tests/regression/<target>/), replayed through the
// same calls the fuzz targets make: each must end completed or in a clean
// error, never in another exception or (under the sanitizers) a memory fault.
// The hostile disks take the same calls in HostileDiskTest.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "support/FuzzEntries.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

TEST(FuzzRegressionTest, SavedFindingsEndCleanly) {
    namespace fs = std::filesystem;
    ScratchFolder dir("layscan-fuzz-replay");
    size_t replayed = 0;
    for (const std::string target : {"SectorFileFuzz", "ImageReportFuzz", "CommandLineFuzz"}) {
        const fs::path folder = fs::path(LAYSCAN_SOURCE_DIR) / "tests" / "regression" / target;
        std::vector<fs::path> files;
        if (fs::is_directory(folder))
            for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        for (const fs::path& file : files) {
            SCOPED_TRACE(file.string());
            const std::vector<uint8_t> bytes = golden::Bytes(file.string());
            if (target == "SectorFileFuzz")
                EXPECT_NO_THROW(fuzzentry::SectorFileBytes(bytes.data(), bytes.size(), dir.File("input.sf")));
            else if (target == "ImageReportFuzz")
                EXPECT_NO_THROW(fuzzentry::ImageReportBytes(bytes.data(), bytes.size()));
            else
                EXPECT_NO_THROW(fuzzentry::CommandLineBytes(bytes.data(), bytes.size()));
            ++replayed;
        }
    }
    if (replayed == 0) GTEST_SKIP() << "no saved findings";
}
