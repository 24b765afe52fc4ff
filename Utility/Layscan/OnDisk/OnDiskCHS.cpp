#include "Utility/Layscan/OnDisk/OnDiskCHS.h"

OnDiskCHS::OnDiskCHS() : OnDiskExLittleEndian(nullptr, 0, nullptr, 0, 0, "CHS") { CheckThis(); }

uint64_t OnDiskCHS::GetStructOffset(uint32_t, uint64_t) const { ONDISK_INVALID_FIELD(); }

uint32_t OnDiskCHS::GetHead() const { return GetUInt8(0); }

uint32_t OnDiskCHS::GetSector() const { return GetBits8(1, 0, 6); }

uint32_t OnDiskCHS::GetCylinder() const { return (GetBits8(1, 6, 2) << 8) | GetUInt8(2); }
