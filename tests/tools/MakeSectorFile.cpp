// make_sector_file: turns a raw disk image into a compressed sector file that
// holds only the image's non-zero sectors (the rest read back as zeros).
//
//   make_sector_file [-sectorsize N] [-version V] IMAGE OUTPUT

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "support/SectorFileWriter.h"

int main(int argc, char** argv) {
    uint32_t sectorSize = 512, version = 4;
    std::vector<std::string> paths;
    bool valid = true;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if ((arg == "-sectorsize" || arg == "-version") && i + 1 < argc)
            (arg == "-sectorsize" ? sectorSize : version) = uint32_t(std::strtoul(argv[++i], nullptr, 10));
        else if (!arg.empty() && arg[0] != '-') paths.push_back(arg);
        else valid = false;
    }
    if (!valid || paths.size() != 2 || sectorSize == 0 || sectorSize > 65536 || version > 4) {
        std::cerr << "usage: make_sector_file [-sectorsize N] [-version V] IMAGE OUTPUT\n";
        return 2;
    }
    try {
        SectorFileWriter writer(sectorSize, 0);
        writer.SetVersion(version).SetCompressed(true).SetOmitZeroSectors(true);
        // The disk's sector count is known once the whole image has been read.
        const uint64_t sectors = writer.AddImage(paths[0]);
        writer.SetSectorCount(sectors).Save(paths[1]);
        std::cout << paths[1] << ": " << sectors << " sectors, " << writer.GetMappedCount() << " stored\n";
    } catch (const std::exception& e) {
        std::cerr << "make_sector_file: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
