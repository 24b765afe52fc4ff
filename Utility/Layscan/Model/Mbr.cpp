#include "Utility/Layscan/Model/Mbr.h"

Mbr::Mbr(SectorProvider& sectors, std::shared_ptr<const Geometry> geometry)
    : BootRecordBase(sectors, std::move(geometry), 0) {}

Mbr::Mbr(const uint8_t* sector, uint32_t sectorSize, std::shared_ptr<const Geometry> geometry)
    : BootRecordBase(sector, sectorSize, std::move(geometry), 0) {}

Mbr::Mbr(SectorProvider& sectors, const Geometry& geometry)
    : Mbr(sectors, std::make_shared<const Geometry>(geometry)) {}

bool Mbr::IsEntryValid(uint32_t index) const {
    if (GetEntry(index).GetPartitionType() == 0) return true;
    uint32_t slot;
    return BootRecordBase::IsEntryValid(index) && !FindOverlappingEntry(index, slot) && !ExtendsBeyondDisk(index);
}

bool Mbr::IsMbrValid(bool signatureOnly) const { return IsValid(signatureOnly); }

bool Mbr::FindOverlappingEntry(uint32_t index, uint32_t& slot) const {
    const auto& entry = GetEntry(index);
    const uint32_t start = entry.GetStartSector();
    const uint32_t end = start + entry.GetSectorCount() - 1u;
    for (uint32_t j = 0; j < GetMaxEntries(); ++j) {
        if (j == index) continue;
        const auto& other = GetEntry(j);
        if (other.GetPartitionType() == 0) continue;
        const uint32_t otherStart = other.GetStartSector();
        const uint32_t otherEnd = otherStart - 1u + other.GetSectorCount();
        if (otherStart <= end && otherEnd >= start) {
            slot = j;
            return true;
        }
    }
    return false;
}

bool Mbr::ExtendsBeyondDisk(uint32_t index) const {
    const auto& entry = GetEntry(index);
    const uint32_t end = entry.GetStartSector() + entry.GetSectorCount();
    return end > GetGeometry().GetSectorCount();
}

