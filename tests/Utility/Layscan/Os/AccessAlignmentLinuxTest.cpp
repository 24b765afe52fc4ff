#include <gtest/gtest.h>

#include <optional>

#include "Utility/Layscan/Os/AccessAlignment.h"
#include "support/ScratchFolder.h"

using nsLayout::StorageAccessAlignmentDescriptor;

// A fake sysfs tree: each disk's logical and physical block size and alignment
// offset (nullopt leaves an attribute out). Every read overwrites the leftovers
// it starts from; a disk that cannot be read fully leaves Version 0.
TEST(SysfsAccessAlignment, ReadsTheThreeAttributesOrNothing) {
    ScratchFolder sysfs("SysfsAccessAlignment");
    const struct {
        const char* disk;
        std::optional<std::string> logical, physical, offset;
        bool valid;
    } cases[] = {
        {"sda", "512\n", "512\n", "0\n", true},
        {"sdb", "512\n", "4096\n", "3584\n", true},
        {"loop3", "4096", "4096", "0", true},  // no line end
        {"sdc", "4294967295\n", "512\n", "0\n", true},
        {"nological", std::nullopt, "512\n", "0\n", false},
        {"nophysical", "512\n", std::nullopt, "0\n", false},
        {"nooffset", "512\n", "512\n", std::nullopt, false},
        {"negative", "512\n", "4096\n", "-1\n", false},
        {"empty", "", "512\n", "0\n", false},
        {"junk", "512 bytes\n", "512\n", "0\n", false},
        {"toolarge", "4294967296\n", "512\n", "0\n", false},
        {"endless", std::string(4096, '1'), "512\n", "0\n", false},
    };
    for (const auto& c : cases) {
        std::filesystem::create_directories(sysfs.Path() / "block" / c.disk / "queue");
        const std::string dir = std::string("block/") + c.disk + "/";
        if (c.logical) sysfs.Write(dir + "queue/logical_block_size", *c.logical);
        if (c.physical) sysfs.Write(dir + "queue/physical_block_size", *c.physical);
        if (c.offset) sysfs.Write(dir + "alignment_offset", *c.offset);
    }
    for (const auto& c : cases) {
        StorageAccessAlignmentDescriptor d = {7, 99, 64, 3, 4096, 4096, 1};
        ReadSysfsAccessAlignment(sysfs.Path().string(), c.disk, d);
        const std::vector<uint32_t> fields = {d.Version, d.Size, d.BytesPerCacheLine, d.BytesOffsetForCacheAlignment,
                                              d.BytesPerLogicalSector, d.BytesPerPhysicalSector,
                                              d.BytesOffsetForSectorAlignment};
        if (!c.valid) {
            EXPECT_EQ(fields[0], 0u) << c.disk;
            EXPECT_EQ(fields[4], 0u) << c.disk;
            continue;
        }
        const uint32_t logical = std::stoul(*c.logical), physical = std::stoul(*c.physical), offset = std::stoul(*c.offset);
        EXPECT_EQ(fields, (std::vector<uint32_t>{1, 28, 0, 0, logical, physical, offset})) << c.disk;
    }
    for (const char* disk : {"sdz", "", "..", "../block/junk"}) {
        StorageAccessAlignmentDescriptor d = {7, 99, 64, 3, 4096, 4096, 1};
        ReadSysfsAccessAlignment(sysfs.Path().string(), disk, d);
        EXPECT_EQ(d.Version, 0u) << disk;
        EXPECT_EQ(d.BytesPerLogicalSector, 0u) << disk;
    }
}
