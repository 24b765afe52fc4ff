#pragma once
// The disks the tool is run on whole by several suites: the two samples (as
// the raw image of their whole disk, and the sector file itself), the hostile
// disks but the largest, and the image corpus when ../shared holds it.

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/FileBytes.h"
#include "support/HostileDisks.h"
#include "support/VolumeImages.h"

namespace suitedisks {

// A disk of the suite: how it is given to the tool, and a maker that writes it
// to a path (false: not on this machine).
struct Disk {
    std::string name, mode;
    uint32_t sectorSize;
    std::function<bool(const std::string& path)> make;
};

inline std::vector<Disk> All() {
    std::vector<Disk> disks;
    for (const std::string sample : {"mbr-disk.sf", "gpt-disk.sf"}) {
        const std::string from = LAYSCAN_SOURCE_DIR "/samples/" + sample;
        // The sample as the raw image of its whole disk, and the file itself re-saved.
        disks.push_back({"sample " + sample, "-image", 0, [=](const std::string& p) {
                             SectorFile file(Widen(from), true);
                             std::vector<uint8_t> bytes(file.GetSectorCount() * file.GetBytesPerSector());
                             file.Read(0, file.GetSectorCount(), bytes.data());
                             return WriteFileBytes(p, bytes), true;
                         }});
        disks.push_back({"re-saved sample " + sample, "-file", 0,
                         [=](const std::string& p) { return std::filesystem::copy_file(from, p); }});
    }
    for (const hostile::Case& c : hostile::Cases())
        if (!c.largeFile)
            disks.push_back({"hostile " + c.name, c.kind == hostile::Kind::SectorFile ? "-file" : "-image", c.sectorSize,
                             [make = c.make](const std::string& p) { return make(p), true; }});
    for (const std::string name : {"gpt", "dos+bsd", "fat", "small-fat32", "exfat", "ntfs", "fat32_xp_label1",
                                   "fat32_xp_none", "fat16_noheads", "bitlocker-win7"}) {
        disks.push_back({"corpus " + name, "-image", 0, [=](const std::string& p) {
                             testimages::ScratchFile unpacked(name + ".img");
                             return testimages::UnpackCorpus(name, unpacked) &&
                                    std::filesystem::copy_file(unpacked.Path(), p);
                         }});
    }
    return disks;
}

}  // namespace suitedisks
