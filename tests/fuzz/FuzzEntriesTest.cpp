// Every saved fuzz finding and every small hostile disk, replayed through the
// same calls the fuzz targets make: each must end completed or in a clean
// error, never in another exception or (under the sanitizers) a memory fault.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/FuzzEntries.h"
#include "support/HostileDisks.h"
#include "support/ScratchFolder.h"

namespace {

namespace fs = std::filesystem;

std::vector<uint8_t> FileBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// The saved inputs of one fuzz target, in name order.
std::vector<fs::path> Findings(const std::string& target) {
    std::vector<fs::path> files;
    const fs::path dir = fs::path(LAYSCAN_SOURCE_DIR) / "tests" / "regression" / target;
    if (fs::is_directory(dir))
        for (const auto& entry : fs::directory_iterator(dir)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

TEST(FuzzRegressionTest, SavedFindingsEndCleanly) {
    ScratchFolder dir("layscan-fuzz-replay");
    size_t replayed = 0;
    for (const std::string target : {"SectorFileFuzz", "ImageReportFuzz", "CommandLineFuzz"}) {
        for (const fs::path& file : Findings(target)) {
            SCOPED_TRACE(file.string());
            const std::vector<uint8_t> bytes = FileBytes(file);
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

// The hostile disks in process: the tool's run over them is tested from
// outside; here the sanitizer build sees every access they cause.
TEST(FuzzRegressionTest, HostileDisksEndCleanlyInProcess) {
    ScratchFolder dir("layscan-fuzz-hostile");
    for (const hostile::Case& c : hostile::Cases()) {
        if (c.largeFile) continue;
        SCOPED_TRACE(c.name);
        const std::string path = dir.File(c.name);
        c.make(path);
        const std::vector<uint8_t> bytes = FileBytes(path);
        fuzzentry::End end{};
        if (c.kind == hostile::Kind::SectorFile) {
            EXPECT_NO_THROW(end = fuzzentry::SectorFileBytes(bytes.data(), bytes.size(), dir.File("input.sf")));
            // A file the tool refuses to open is exactly one that ends in a clean error here.
            EXPECT_EQ(end == fuzzentry::End::CleanError, c.consoleFragment == hostile::kFileFailed);
        } else {
            EXPECT_NO_THROW(end = fuzzentry::ImageReportBytes(bytes.data(), bytes.size()));
        }
    }
}

}  // namespace
