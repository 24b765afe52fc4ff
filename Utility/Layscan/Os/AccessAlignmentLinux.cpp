#include <cstdint>
#include <fstream>
#include <optional>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Os/AccessAlignment.h"
#include "Utility/Layscan/Os/DriveList.h"

using nsLayout::StorageAccessAlignmentDescriptor;

namespace {

const char* const sysfsRootOfThisMachine = "/sys";

// An attribute file holds one decimal number and a line end. Anything else
// (missing file, sign, junk, a value beyond 32 bits) is unreadable.
std::optional<uint32_t> ReadAttribute(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    char text[32];
    in.read(text, sizeof(text));
    const std::streamsize length = in.gcount();
    uint64_t value = 0;
    std::streamsize digits = 0;
    for (; digits < length && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        value = value * 10 + static_cast<uint64_t>(text[digits] - '0');
        if (value > UINT32_MAX) return std::nullopt;
    }
    if (digits == 0) return std::nullopt;
    for (std::streamsize i = digits; i < length; ++i)
        if (text[i] != '\n') return std::nullopt;
    if (length == static_cast<std::streamsize>(sizeof(text))) return std::nullopt;
    return static_cast<uint32_t>(value);
}

std::string BaseName(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

void ReadSysfsAccessAlignment(const std::string& sysfsRoot, const std::string& diskName,
                              StorageAccessAlignmentDescriptor& descriptor) {
    descriptor = StorageAccessAlignmentDescriptor{};
    if (diskName.empty() || diskName.find('/') != std::string::npos || diskName == "." || diskName == "..") return;
    const std::string disk = sysfsRoot + "/block/" + diskName + "/";
    const auto logical = ReadAttribute(disk + "queue/logical_block_size");
    const auto physical = ReadAttribute(disk + "queue/physical_block_size");
    const auto offset = ReadAttribute(disk + "alignment_offset");
    if (!logical || !physical || !offset) return;
    descriptor.Version = 1;
    descriptor.Size = sizeof(StorageAccessAlignmentDescriptor);
    descriptor.BytesPerLogicalSector = *logical;
    descriptor.BytesPerPhysicalSector = *physical;
    descriptor.BytesOffsetForSectorAlignment = *offset;
}

void QueryAccessAlignment(uint16_t diskNumber, StorageAccessAlignmentDescriptor& descriptor) {
    descriptor = StorageAccessAlignmentDescriptor{};
    for (const DriveSlot& drive : ListPhysicalDrives()) {
        if (drive.number != diskNumber) continue;
        ReadSysfsAccessAlignment(sysfsRootOfThisMachine, BaseName(Narrow(drive.path)), descriptor);
        return;
    }
}
