#include <gtest/gtest.h>

#include <sstream>

#include "Utility/Layscan/Os/AccessAlignment.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

using nsLayout::StorageAccessAlignmentDescriptor;

// Each line of tests/golden/sysfs-alignment.txt is a disk of a fake sysfs tree,
// its logical and physical block size and alignment offset ("-" leaves the file
// out, '' is empty, \n a line end), and the descriptor's seven fields read from
// a descriptor of leftovers; a disk that cannot be read fully leaves Version 0.
// The last disks have no files, or name none (an empty name, "..", a path).
TEST(SysfsAccessAlignment, ReadsTheThreeAttributesOrNothing) {
    ScratchFolder sysfs("SysfsAccessAlignment");
    golden::ExpectOutcomes("sysfs-alignment.txt", [&](const std::string& line) {
        std::istringstream in(line);
        std::string disk, value;
        in >> disk;
        disk = golden::Replaced(disk, "''", "");
        for (const char* file : {"queue/logical_block_size", "queue/physical_block_size", "alignment_offset"})
            if (in >> value && value != "-") {
                std::filesystem::create_directories(sysfs.Path() / "block" / disk / "queue");
                sysfs.Write("block/" + disk + "/" + file, golden::Replaced(golden::Replaced(value, "''", ""), "\\n", "\n"));
            }
        StorageAccessAlignmentDescriptor d = {7, 99, 64, 3, 4096, 4096, 1};
        ReadSysfsAccessAlignment(sysfs.Path().string(), disk, d);
        std::string fields;
        for (uint32_t field : {d.Version, d.Size, d.BytesPerCacheLine, d.BytesOffsetForCacheAlignment,
                               d.BytesPerLogicalSector, d.BytesPerPhysicalSector, d.BytesOffsetForSectorAlignment})
            fields += " " + std::to_string(field);
        return fields;
    });
}
