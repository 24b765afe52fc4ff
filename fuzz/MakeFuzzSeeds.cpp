// MakeFuzzSeeds OUT SAMPLES REGRESSION: writes the starting corpus of every
// fuzz target into OUT/<target>/: the bundled sample sector files, the first
// MiB of the disks they hold as raw images, the small hostile disks, a few
// command lines, and every saved finding from REGRESSION/<target>/.

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/HostileDisks.h"

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kMaxSeedBytes = 1 << 20;

void WriteBytes(const fs::path& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
}

// The head of the disk a sector file holds, as a raw image.
std::vector<uint8_t> ImageHead(const fs::path& sectorFile) {
    SectorFile file(sectorFile.wstring(), true);
    const uint64_t size = file.GetBytesPerSector();
    const uint64_t count = std::min<uint64_t>(file.GetSectorCount(), kMaxSeedBytes / size);
    std::vector<uint8_t> bytes(count * size);
    if (count != 0) file.Read(0, count, bytes.data());
    return bytes;
}

const char* const kCommandLines[] = {
    "-help",
    "-help+",
    "-all",
    "-device\n0",
    "-device=12\n-out\nreport.txt",
    "-file\nsamples/gpt-disk.sf",
    "-image\nsamples/mbr-disk.sf\n-sectorsize\n4096",
    "-sectorsize=512\n-image=samples/gpt-disk.sf",
    "-cmdfile\nsamples/mbr-disk.sf",
    "-internaluseonly\n-DontInitializeCom",
    "-device\n-1",
    "-out",
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: MakeFuzzSeeds OUT SAMPLES REGRESSION\n";
        return 2;
    }
    const fs::path out = argv[1], samples = argv[2], regression = argv[3];
    try {
        for (const char* target : {"SectorFileFuzz", "ImageReportFuzz", "CommandLineFuzz"}) {
            fs::create_directories(out / target);
            if (fs::is_directory(regression / target))
                for (const auto& entry : fs::directory_iterator(regression / target))
                    fs::copy_file(entry.path(), out / target / entry.path().filename(),
                                  fs::copy_options::overwrite_existing);
        }
        for (const auto& entry : fs::directory_iterator(samples)) {
            if (entry.path().extension() != ".sf") continue;
            const std::string stem = entry.path().stem().string();
            fs::copy_file(entry.path(), out / "SectorFileFuzz" / (stem + ".sf"), fs::copy_options::overwrite_existing);
            WriteBytes(out / "ImageReportFuzz" / (stem + ".img"), ImageHead(entry.path()));
        }
        for (const hostile::Case& c : hostile::Cases()) {
            if (c.largeFile) continue;
            const std::string target = c.kind == hostile::Kind::SectorFile ? "SectorFileFuzz" : "ImageReportFuzz";
            c.make((out / target / ("hostile-" + c.name)).string());
        }
        int n = 0;
        for (const std::string line : kCommandLines)
            WriteBytes(out / "CommandLineFuzz" / ("line-" + std::to_string(n++)),
                       std::vector<uint8_t>(line.begin(), line.end()));
    } catch (const std::exception& e) {
        std::cerr << "MakeFuzzSeeds: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
