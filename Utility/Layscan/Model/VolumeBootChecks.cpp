#include "Utility/Layscan/Model/VolumeBootChecks.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/OnDisk/BpbKind.h"

namespace {

const wchar_t* const kBootSector = L"Volume boot record";
constexpr uint64_t kMiB = 1024 * 1024;
constexpr uint32_t kExFatRegionSectors = 24;

uint64_t Le(const std::vector<uint8_t>& bytes, size_t offset, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width && offset + i < bytes.size(); ++i) value |= uint64_t{bytes[offset + i]} << (8 * i);
    return value;
}

BpbKind KindOf(const std::vector<uint8_t>& boot) { return DetectBpbKind(boot.data(), boot.size()); }

const wchar_t* NameOf(BpbKind kind) {
    switch (kind) {
        case BpbKind::Fat32:
            return L"FAT32";
        case BpbKind::Fat1216:
            return L"FAT12/16";
        case BpbKind::Ntfs:
            return L"NTFS";
        case BpbKind::ExFat:
            return L"exFAT";
        default:
            return L"";
    }
}

// exFAT sectors are 2^9 to 2^12 bytes; a shift outside that reads as 512.
uint32_t ExFatSectorSize(const std::vector<uint8_t>& boot) {
    const uint64_t shift = Le(boot, 0x6C, 1);
    return shift >= 9 && shift <= 12 ? 1u << shift : 512u;
}

// Reads `bytes` bytes from `lba` on, or nothing when they do not all lie on
// the disk or cannot be read: the disk's report is complete by now, and a
// sector only these checks want must not take the other findings with it.
std::vector<uint8_t> ReadBytes(SectorProvider& sectors, uint64_t lba, uint64_t bytes) {
    const uint64_t size = sectors.GetBytesPerSector(), count = sectors.GetSectorCount();
    const uint64_t n = (bytes + size - 1) / size;
    if (size == 0 || lba >= count || n > count - lba) return {};
    std::vector<uint8_t> data(n * size);
    try {
        sectors.Read(lba, n, data.data());
    } catch (const std::exception&) {
        return {};
    }
    data.resize(bytes);
    return data;
}

// Why a sector the checks wanted is not there.
std::wstring WhyMissing(const VolumeBootFacts& f, uint64_t lba) {
    return lba >= f.diskSectorCount ? L"which lies beyond the disk" : L"which could not be read";
}

}  // namespace

uint32_t ExFatBootChecksum(const uint8_t* bytes, uint64_t size) {
    uint32_t sum = 0;
    for (uint64_t i = 0; i < size; ++i) {
        if (i == 106 || i == 107 || i == 112) continue;  // VolumeFlags and PercentInUse change in use
        sum = ((sum & 1) ? 0x80000000u : 0u) + (sum >> 1) + bytes[i];
    }
    return sum;
}

VolumeBootFacts ReadVolumeBootFacts(SectorProvider& sectors, std::vector<uint8_t> firstSector, uint64_t index,
                                    uint64_t startLba, uint64_t sectorCount, std::optional<uint8_t> mbrType,
                                    bool isGptBasicData) {
    VolumeBootFacts f;
    f.index = index;
    f.startLba = startLba;
    f.sectorCount = sectorCount;
    f.mbrType = mbrType;
    f.isGptBasicData = isGptBasicData;
    f.diskSectorSize = sectors.GetBytesPerSector();
    f.diskSectorCount = sectors.GetSectorCount();
    f.boot = std::move(firstSector);
    if (f.boot.size() < 512) return f;
    switch (KindOf(f.boot)) {
        case BpbKind::Fat32: {
            const uint64_t backup = Le(f.boot, 0x32, 2), fsInfo = Le(f.boot, 0x30, 2);
            if (backup != 0 && backup != 0xFFFF) {
                f.backupLba = startLba + backup;
                f.backupBoot = ReadBytes(sectors, f.backupLba, f.diskSectorSize);
            }
            if (fsInfo != 0 && fsInfo != 0xFFFF) f.fsInfo = ReadBytes(sectors, startLba + fsInfo, f.diskSectorSize);
            break;
        }
        case BpbKind::Ntfs: {
            // The backup sits in the sector after the volume's last, counted
            // in the volume's own sectors.
            const uint64_t bytesPerSector = std::max<uint64_t>(Le(f.boot, 0x0B, 2), 1);
            f.backupLba = startLba + Le(f.boot, 0x28, 8) * bytesPerSector / f.diskSectorSize;
            if (f.backupLba >= startLba) f.backupBoot = ReadBytes(sectors, f.backupLba, f.diskSectorSize);
            break;
        }
        case BpbKind::ExFat:
            f.exFatRegions = ReadBytes(sectors, startLba, uint64_t{kExFatRegionSectors} * ExFatSectorSize(f.boot));
            break;
        default:
            break;
    }
    return f;
}

ConsistencyFindings CheckVolumeBoot(const VolumeBootFacts& f) {
    ConsistencyFindings out;
    if (f.boot.size() < 512) return out;
    const BpbKind kind = KindOf(f.boot);
    const std::wstring at = L"the partition at LBA " + FindingDecimal(f.startLba);
    auto add = [&](std::wstring text) { out.push_back({kBootSector, f.index, std::move(text)}); };
    if (kind == BpbKind::Fallback) {
        if (f.isGptBasicData)
            add(L"Basic data partition at LBA " + FindingDecimal(f.startLba) +
                L" holds no recognised boot sector, but its first sector is not blank.");
        return out;
    }
    if (kind == BpbKind::None) return out;
    const std::wstring name = std::wstring(NameOf(kind)) + L" boot sector of " + at;
    const bool isExFat = kind == BpbKind::ExFat;

    const uint64_t signature = Le(f.boot, 510, 2);
    if (signature != 0xAA55)
        add(name + L" has the signature " + FindingHex(signature, 4) + L" at byte 510, not 0xAA55.");

    const uint64_t bytesPerSector = isExFat ? ExFatSectorSize(f.boot) : Le(f.boot, 0x0B, 2);
    if (bytesPerSector != f.diskSectorSize)
        add(name + L" says " + FindingDecimal(bytesPerSector) + L" bytes per sector, the disk's sectors have " +
            FindingDecimal(f.diskSectorSize) + L".");

    if (!isExFat) {
        const uint64_t hidden = Le(f.boot, 0x1C, 4);
        if (hidden != f.startLba)
            add(name + L" gives " + FindingDecimal(hidden) + L" hidden sectors, not the partition's start " +
                FindingDecimal(f.startLba) + L"; the volume cannot boot from there.");
    } else {
        const uint64_t offset = Le(f.boot, 0x40, 8);
        if (offset != 0 && offset != f.startLba)
            add(name + L" gives the partition offset " + FindingDecimal(offset) + L", not the partition's start " +
                FindingDecimal(f.startLba) + L".");
    }

    // Sizes compared in bytes: the volume's sectors need not be the disk's.
    uint64_t volumeSectors = 0;
    if (kind == BpbKind::Ntfs)
        volumeSectors = Le(f.boot, 0x28, 8) + 1;  // the backup sector lies after the last
    else if (isExFat)
        volumeSectors = Le(f.boot, 0x48, 8);
    else
        volumeSectors = Le(f.boot, 0x13, 2) != 0 ? Le(f.boot, 0x13, 2) : Le(f.boot, 0x20, 4);
    const uint64_t volumeBytes = volumeSectors * bytesPerSector, partitionBytes = f.sectorCount * f.diskSectorSize;
    if (volumeBytes > partitionBytes)
        add(name + L" spans " + FindingDecimal(volumeBytes) + L" bytes, more than the partition's " +
            FindingDecimal(partitionBytes) + L": the sectors beyond the partition's end belong to the file system.");
    else if (partitionBytes - volumeBytes > kMiB)
        add(name + L" spans " + FindingDecimal(volumeBytes) + L" bytes of the partition's " +
            FindingDecimal(partitionBytes) + L": " + FindingDecimal(partitionBytes - volumeBytes) +
            L" bytes are unused.");

    if (kind == BpbKind::Fat32 && f.backupLba != 0) {
        if (f.backupBoot.empty())
            add(name + L" names LBA " + FindingDecimal(f.backupLba) + L" for its backup, " +
                WhyMissing(f, f.backupLba) + L".");
        else if (f.backupBoot != f.boot)
            add(name + L" differs from its backup at LBA " + FindingDecimal(f.backupLba) + L".");
    }
    if (kind == BpbKind::Ntfs) {
        if (f.backupBoot.empty())
            add(name + L" has no backup at LBA " + FindingDecimal(f.backupLba) + L", " + WhyMissing(f, f.backupLba) +
                L".");
        else if (f.backupBoot != f.boot)
            add(name + L" differs from its backup at LBA " + FindingDecimal(f.backupLba) +
                L", after the volume's last sector.");
    }
    if (kind == BpbKind::Fat32 && !f.fsInfo.empty()) {
        const uint64_t lead = Le(f.fsInfo, 0, 4), middle = Le(f.fsInfo, 484, 4), trail = Le(f.fsInfo, 508, 4);
        if (lead != 0x41615252 || middle != 0x61417272 || trail != 0xAA550000)
            add(name + L": its FSInfo sector at LBA " + FindingDecimal(f.startLba + Le(f.boot, 0x30, 2)) +
                L" has the signatures " + FindingHex(lead, 8) + L", " + FindingHex(middle, 8) + L", " +
                FindingHex(trail, 8) + L", not 0x41615252, 0x61417272, 0xAA550000.");
    }
    if (isExFat && !f.exFatRegions.empty()) {
        const uint64_t size = ExFatSectorSize(f.boot), half = size * kExFatRegionSectors / 2;
        const uint32_t sum = ExFatBootChecksum(f.exFatRegions.data(), 11 * size);
        bool matches = true;
        for (uint64_t i = 0; i < size; i += 4) matches = matches && Le(f.exFatRegions, 11 * size + i, 4) == sum;
        if (!matches)
            add(name + L" has a boot checksum sector (sector 11) that does not hold the checksum " +
                FindingHex(sum, 8) + L" of sectors 0 to 10 (it begins " +
                FindingHex(Le(f.exFatRegions, 11 * size, 4), 8) + L").");
        if (!std::equal(f.exFatRegions.begin(), f.exFatRegions.begin() + half, f.exFatRegions.begin() + half))
            add(name +
                L" has a backup boot region (sectors 12 to 23) that differs from the main one (sectors 0 to 11).");
    }

    if (f.mbrType) {
        const uint8_t t = *f.mbrType;
        const bool isFat = kind == BpbKind::Fat32 || kind == BpbKind::Fat1216;
        const bool fatOnlyType = t == 0x01 || t == 0x04 || t == 0x06 || t == 0x0B || t == 0x0C || t == 0x0E;
        if ((t == 0x07 && isFat) || (fatOnlyType && !isFat))
            add(L"Partition at LBA " + FindingDecimal(f.startLba) + L" has the MBR type " + FindingHex(t, 2) +
                L" but holds " + NameOf(kind) + L".");
    }
    return out;
}
