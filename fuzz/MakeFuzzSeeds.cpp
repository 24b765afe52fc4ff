// MakeFuzzSeeds OUT SAMPLES REGRESSION: writes the starting corpus of every
// fuzz target into OUT/<target>/: the bundled sample sector files, the first
// MiB of the disks they hold as raw images, the small hostile disks, a few
// command lines, and every saved finding from REGRESSION/<target>/.

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/HostileDisks.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: MakeFuzzSeeds OUT SAMPLES REGRESSION\n";
        return 2;
    }
    const fs::path out = argv[1], samples = argv[2], regression = argv[3];
    const auto overwrite = fs::copy_options::overwrite_existing;
    try {
        for (const char* target : {"SectorFileFuzz", "ImageReportFuzz", "CommandLineFuzz"}) {
            fs::create_directories(out / target);
            if (fs::is_directory(regression / target))
                for (const auto& entry : fs::directory_iterator(regression / target))
                    fs::copy_file(entry.path(), out / target / entry.path().filename(), overwrite);
        }
        for (const auto& entry : fs::directory_iterator(samples)) {
            if (entry.path().extension() != ".sf") continue;
            const std::string stem = entry.path().stem().string();
            fs::copy_file(entry.path(), out / "SectorFileFuzz" / (stem + ".sf"), overwrite);
            // The head of the disk the sector file holds, as a raw image.
            SectorFile file(entry.path().wstring(), true);
            const uint64_t count = std::min<uint64_t>(file.GetSectorCount(), (1 << 20) / file.GetBytesPerSector());
            std::vector<uint8_t> head(count * file.GetBytesPerSector());
            if (count != 0) file.Read(0, count, head.data());
            WriteFileBytes((out / "ImageReportFuzz" / (stem + ".img")).string(), head);
        }
        for (const hostile::Case& c : hostile::Cases())
            if (!c.largeFile)
                c.make((out / (c.kind == hostile::Kind::SectorFile ? "SectorFileFuzz" : "ImageReportFuzz") /
                        ("hostile-" + c.name)).string());
        int n = 0;
        for (const std::string line : {"-help", "-help+", "-all", "-device\n0", "-device=12\n-out\nreport.txt",
                                       "-file\nsamples/gpt-disk.sf", "-image\nsamples/mbr-disk.sf\n-sectorsize\n4096",
                                       "-sectorsize=512\n-image=samples/gpt-disk.sf", "-cmdfile\nsamples/mbr-disk.sf",
                                       "-internaluseonly\n-DontInitializeCom", "-device\n-1", "-out"})
            WriteFileBytes((out / "CommandLineFuzz" / ("line-" + std::to_string(n++))).string(),
                           std::vector<uint8_t>(line.begin(), line.end()));
    } catch (const std::exception& e) {
        std::cerr << "MakeFuzzSeeds: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
