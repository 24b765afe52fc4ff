#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "Utility/Layscan/AccessAlignment.h"
#include "support/ScratchFolder.h"

namespace {

// One disk's three attributes in a fake sysfs tree; nullopt leaves one out.
void AddDisk(const ScratchFolder& sysfs, const std::string& disk, std::optional<std::string> logical,
             std::optional<std::string> physical, std::optional<std::string> offset) {
    std::filesystem::create_directories(sysfs.Path() / "block" / disk / "queue");
    const std::string dir = "block/" + disk + "/";
    if (logical) sysfs.Write(dir + "queue/logical_block_size", *logical);
    if (physical) sysfs.Write(dir + "queue/physical_block_size", *physical);
    if (offset) sysfs.Write(dir + "alignment_offset", *offset);
}

// Leftovers that every read must overwrite.
const StorageAccessAlignmentDescriptor leftovers = {7, 99, 64, 3, 4096, 4096, 1};

}  // namespace

TEST(SysfsAccessAlignment, ReadsTheThreeAttributes) {
    ScratchFolder sysfs("SysfsAccessAlignment");
    const struct {
        const char* disk;
        const char *logical, *physical, *offset;
        uint32_t expectLogical, expectPhysical, expectOffset;
    } cases[] = {
        {"sda", "512\n", "512\n", "0\n", 512, 512, 0},
        {"sdb", "512\n", "4096\n", "3584\n", 512, 4096, 3584},
        {"loop3", "4096", "4096", "0", 4096, 4096, 0},  // no line end
        {"sdc", "4294967295\n", "512\n", "0\n", 4294967295u, 512, 0},
    };
    for (const auto& c : cases) AddDisk(sysfs, c.disk, c.logical, c.physical, c.offset);
    for (const auto& c : cases) {
        StorageAccessAlignmentDescriptor d = leftovers;
        ReadSysfsAccessAlignment(sysfs.Path().string(), c.disk, d);
        const uint32_t fields[] = {d.Version, d.Size, d.BytesPerCacheLine, d.BytesOffsetForCacheAlignment,
                                   d.BytesPerLogicalSector, d.BytesPerPhysicalSector,
                                   d.BytesOffsetForSectorAlignment};
        const uint32_t expected[] = {1, 28, 0, 0, c.expectLogical, c.expectPhysical, c.expectOffset};
        for (int i = 0; i < 7; ++i) EXPECT_EQ(fields[i], expected[i]) << c.disk << " field " << i;
    }
}

TEST(SysfsAccessAlignment, UnreadableAttributesLeaveTheDescriptorInvalid) {
    ScratchFolder sysfs("SysfsAccessAlignment");
    const struct {
        const char* disk;
        std::optional<std::string> logical, physical, offset;
    } cases[] = {
        {"nological", std::nullopt, "512\n", "0\n"}, {"nophysical", "512\n", std::nullopt, "0\n"},
        {"nooffset", "512\n", "512\n", std::nullopt}, {"negative", "512\n", "4096\n", "-1\n"},
        {"empty", "", "512\n", "0\n"},                {"junk", "512 bytes\n", "512\n", "0\n"},
        {"toolarge", "4294967296\n", "512\n", "0\n"}, {"endless", std::string(4096, '1'), "512\n", "0\n"},
    };
    for (const auto& c : cases) AddDisk(sysfs, c.disk, c.logical, c.physical, c.offset);
    for (const char* disk : {"nological", "nophysical", "nooffset", "negative", "empty", "junk", "toolarge",
                             "endless", "sdz", "", "..", "../block/junk"}) {
        StorageAccessAlignmentDescriptor d = leftovers;
        ReadSysfsAccessAlignment(sysfs.Path().string(), disk, d);
        EXPECT_EQ(d.Version, 0u) << disk;
        EXPECT_EQ(d.BytesPerLogicalSector, 0u) << disk;
    }
}
