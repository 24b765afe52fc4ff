#pragma once
// A 3-byte cylinder/head/sector address as partition entries store it:
// byte 0 the head, byte 1 the sector in bits 0-5 and cylinder bits 8-9 in
// bits 6-7, byte 2 cylinder bits 0-7.

#include "Base/Dev/OnDisk/OnDiskExLittleEndian.h"

class OnDiskCHS : public OnDiskExLittleEndian {
public:
    static constexpr uint64_t kSize = 3;

    OnDiskCHS();

    // A CHS address holds no nested views.
    uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const override;

    uint32_t GetHead() const;
    uint32_t GetSector() const;
    // The 10-bit cylinder, 0-1023.
    uint32_t GetCylinder() const;
};
