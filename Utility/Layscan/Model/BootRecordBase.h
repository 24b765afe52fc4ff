#pragma once
// A boot record of the MBR scheme (the MBR itself or an EPBR): a private
// 512-byte copy of the sector it was read from and the geometry that its CHS
// values are judged by. The record view over the copy (with its entry and CHS
// views, thirteen views in all) is built when the record is used, for the few
// records in use at a time: a chain of a million EPBRs keeps its sector
// copies, not a million sets of views.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Base/Dev/BlockArena.h"
#include "Utility/Layscan/Model/Geometry.h"
#include "Utility/Layscan/OnDisk/MbrRecord.h"

class SectorProvider;

// The only types that mark an extended partition or an EPBR's link entry.
bool IsExtendedType(uint8_t type);
// Anything that is neither empty nor extended.
bool IsDataType(uint8_t type);
// The types of an MBR entry whose chain the disk model walks: the extended
// types and Linux's 0x85, although a link entry is only ever of IsExtendedType.
bool StartsChain(uint8_t type);

// The CHS value is acceptable for the LBA without being equal to it: the
// beyond-reach markers, LBA-addressed types, wrapped cylinders, and LBAs no
// CHS value can express.
bool ChsMatchesLba(const OnDiskCHS& chs, const Geometry& geometry, uint64_t lba, uint8_t type);
// The CHS value is exactly the LBA converted with the geometry.
bool ChsEqualsLba(const OnDiskCHS& chs, const Geometry& geometry, uint64_t lba);
// Each part of the CHS value lies inside the geometry.
bool IsChsInGeometry(const OnDiskCHS& chs, const Geometry& geometry);

class BootRecordBase {
public:
    static constexpr uint8_t kActive = 0x80;
    static constexpr uint8_t kInactive = 0x00;

    // Reads the sector at lba and keeps a copy of its first 512 bytes, in
    // arena when one is given.
    BootRecordBase(SectorProvider& sectors, std::shared_ptr<const Geometry> geometry, uint64_t lba,
                   const std::shared_ptr<BlockArena>& arena = nullptr);
    // The same over a sector already read (sectorSize bytes of it).
    BootRecordBase(const uint8_t* sector, uint32_t sectorSize, std::shared_ptr<const Geometry> geometry, uint64_t lba,
                   const std::shared_ptr<BlockArena>& arena = nullptr);
    virtual ~BootRecordBase();
    BootRecordBase(const BootRecordBase&) = delete;
    BootRecordBase& operator=(const BootRecordBase&) = delete;

    virtual uint32_t GetMaxEntries() const;
    // The signature, and unless signatureOnly, at most one active entry and no
    // boot indicator other than 0x80 and 0x00.
    virtual bool IsValid(bool signatureOnly) const;
    // The entry's CHS values fit the geometry and match its LBAs.
    virtual bool IsEntryValid(uint32_t index) const;
    virtual uint64_t GetStartLba(uint32_t index) const;
    // The end is computed in 32 bits before the base is added: an empty entry
    // ends at 0xFFFFFFFF past its base.
    virtual uint64_t GetEndLba(uint32_t index) const;
    virtual uint64_t GetBaseLba(uint32_t index) const;

    // The entry view; like every view of the record, valid until
    // kLiveRecordViews other records have had their views built.
    const OnDiskMbrPartitionEntry& GetEntry(uint32_t index) const;
    bool HasValidSignature() const;
    uint64_t GetMyLba() const { return mMyLba; }
    const Geometry& GetGeometry() const { return *mGeometry; }
    const OnDiskMbrRecord& GetRecord() const;
    static constexpr size_t kLiveRecordViews = 8;
    // The private copy, for hex dumps.
    const std::shared_ptr<MemoryBuffer>& GetBuffer() const { return mBuffer; }

    // The begin and end CHS predicates of one entry, as the checks name them.
    bool IsBeginChsValid(uint32_t index) const;
    bool IsEndChsValid(uint32_t index) const;
    bool BeginChsMatchesLba(uint32_t index) const;
    bool EndChsMatchesLba(uint32_t index) const;

protected:
    // The relative end of an entry: u32(start + count - 1).
    static uint32_t RelativeEnd(const OnDiskMbrPartitionEntry& entry);

private:
    std::shared_ptr<MemoryBuffer> mBuffer;
    std::shared_ptr<const Geometry> mGeometry;
    uint64_t mMyLba;
};

