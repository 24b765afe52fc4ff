#pragma once
// View of a GUID partition table header: the first 92 bytes of its sector,
// read little-endian on every call. Bound at an offset of a header buffer;
// the view describes the whole 512-byte sector.

#include <cstdint>
#include <string>

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"
#include "Utility/Layscan/OnDisk/Guid.h"

class OnDiskGptHeader : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSectorBytes = 512;
    static constexpr uint32_t kRevision1_0 = 0x00010000;

    OnDiskGptHeader(BufferHandle bh, uint64_t offset);
    OnDiskGptHeader(const OnDiskGptHeader&) = delete;
    OnDiskGptHeader& operator=(const OnDiskGptHeader&) = delete;

    // The header has no nested views: every call fails.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    void GetSignature(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    uint32_t GetRevision() const { return GetUInt32(8); }
    uint32_t GetHeaderSize() const { return GetUInt32(12); }
    uint32_t GetHeaderCrc32() const { return GetUInt32(16); }
    void GetReserved1(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    uint64_t GetMyLba() const { return GetUInt64(24); }
    uint64_t GetAlternateLba() const { return GetUInt64(32); }
    uint64_t GetFirstUsableLba() const { return GetUInt64(40); }
    uint64_t GetLastUsableLba() const { return GetUInt64(48); }
    void GetDiskGUID(uint8_t* destination, uint64_t startIndex, uint64_t count) const;
    uint64_t GetPartitionEntryLba() const { return GetUInt64(72); }
    uint32_t GetNumberOfPartitionEntries() const { return GetUInt32(80); }
    uint32_t GetSizeOfPartitionEntry() const { return GetUInt32(84); }
    uint32_t GetPartitionEntryArrayCrc32() const { return GetUInt32(88); }

    Guid GetDiskGuid() const;
    // The 8 signature bytes read "EFI PART".
    bool IsSignatureValid() const;
    // "1.0" for revision 0x00010000, "Unknown" for anything else.
    std::wstring GetRevisionText() const;
};
