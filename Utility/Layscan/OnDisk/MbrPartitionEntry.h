#pragma once
// One 16-byte partition table entry of an MBR or EPBR. Fields, numbered from 2
// in order: boot indicator, begin CHS (3), type, end CHS (5), start sector,
// number of sectors.

#include "Utility/Layscan/OnDisk/OnDiskCHS.h"

class OnDiskMbrPartitionEntry : public OnDiskExLittleEndian {
public:
    static constexpr uint32_t kBeginChsField = 3;
    static constexpr uint32_t kEndChsField = 5;
    static constexpr uint64_t kSize = 16;

    OnDiskMbrPartitionEntry();

    // Binds the entry as element index of field fieldId of its container, and
    // its two CHS views inside it.
    void Bind(const BufferHandle& bh, OnDiskEx* container, uint32_t fieldId, uint64_t index);

    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    uint8_t GetBootIndicator() const;
    const OnDiskCHS& GetBeginChs() const { return mBeginChs; }
    uint8_t GetPartitionType() const;
    const OnDiskCHS& GetEndChs() const { return mEndChs; }
    // Relative to the record's base: see the boot records.
    uint32_t GetStartSector() const;
    uint32_t GetSectorCount() const;

private:
    OnDiskCHS mBeginChs;
    OnDiskCHS mEndChs;
};
