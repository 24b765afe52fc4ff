#pragma once
// What -verify checks on the volume boot record of every partition that holds
// a FAT12/16, FAT32, NTFS or exFAT boot sector: signature, sector size, where
// the volume says it starts, how large it says it is, its backup boot
// sectors, the exFAT boot checksum and the FAT32 FSInfo signatures, and
// whether the partition's type fits. ReadVolumeBootFacts reads the few
// sectors this needs; the check itself reads only the facts.

#include <cstdint>
#include <optional>
#include <vector>

#include "Utility/Layscan/Model/ConsistencyFinding.h"

class SectorProvider;

struct VolumeBootFacts {
    uint64_t index = 0;  // the partition's place in the model (a GPT entry index)
    uint64_t startLba = 0;
    uint64_t sectorCount = 0;
    std::optional<uint8_t> mbrType;  // none on a GPT disk
    bool isGptBasicData = false;
    uint32_t diskSectorSize = 0;
    uint64_t diskSectorCount = 0;
    std::vector<uint8_t> boot;  // the partition's first sector
    // FAT32: the sector the BPB names as its backup; NTFS: the sector after
    // the volume's last. Empty when it lies beyond the disk or its read failed.
    uint64_t backupLba = 0;
    std::vector<uint8_t> backupBoot;
    std::vector<uint8_t> fsInfo;  // FAT32 only
    // exFAT only: the main and backup boot regions, 24 sectors of the
    // volume's own sector size.
    std::vector<uint8_t> exFatRegions;
};

// Takes the partition's first sector as the model holds it and reads what
// its kind of boot sector needs besides.
VolumeBootFacts ReadVolumeBootFacts(SectorProvider& sectors, std::vector<uint8_t> firstSector, uint64_t index,
                                    uint64_t startLba, uint64_t sectorCount, std::optional<uint8_t> mbrType,
                                    bool isGptBasicData);

ConsistencyFindings CheckVolumeBoot(const VolumeBootFacts& facts);

// The exFAT boot checksum over the given sectors (main boot region sectors 0
// to 10), skipping VolumeFlags and PercentInUse of sector 0.
uint32_t ExFatBootChecksum(const uint8_t* bytes, uint64_t size);
