#include "Utility/Layscan/Model/DiskConsistency.h"

#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/OnDisk/BpbKind.h"

namespace {

void Append(ConsistencyFindings& to, ConsistencyFindings more) {
    to.insert(to.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

// The partition's first sector as the model holds it; none beyond the disk,
// and none for a sector of one repeated byte, which holds no boot sector to
// check: a long chain of empty logical partitions keeps no copies here.
std::vector<uint8_t> FirstSector(const nsLayout::SectorCopies& copies, uint64_t lba) {
    std::vector<uint8_t> bytes;
    if (lba < copies.GetSectorCount()) copies.Get(lba, 1, bytes);
    if (DetectBpbKind(bytes.data(), bytes.size()) == BpbKind::None) bytes.clear();
    return bytes;
}

ConsistencyFindings WithVolumes(ConsistencyFindings findings, const std::vector<VolumeBootFacts>& volumes) {
    for (const VolumeBootFacts& v : volumes) Append(findings, CheckVolumeBoot(v));
    return findings;
}

}  // namespace

GptDiskFacts GptDiskFactsOf(const nsLayout::GptDisk& disk, SectorProvider& sectors) {
    GptDiskFacts f{GptLayoutFactsOf(disk), {}};
    for (const auto& p : disk.GetPartitions()) {
        const uint64_t count = p->GetLastLba() >= p->GetFirstLba() ? p->GetSize() : 0;
        f.volumes.push_back(ReadVolumeBootFacts(sectors, FirstSector(disk.GetSectorCopies(), p->GetFirstLba()),
                                                p->GetEntryIndex(), p->GetFirstLba(), count, std::nullopt,
                                                p->GetTypeGuid() == Guid::BasicData()));
    }
    return f;
}

MbrDiskFacts MbrDiskFactsOf(const nsLayout::MbrDisk& disk, SectorProvider& sectors) {
    MbrDiskFacts f{MbrLayoutFactsOf(disk), {}};
    const auto& partitions = disk.GetPartitions();
    for (uint64_t i = 0; i < partitions.size(); ++i) {
        const auto& p = *partitions[i];
        std::vector<uint8_t> first = FirstSector(disk.GetSectorCopies(), p.startLba);
        if (!first.empty())
            f.volumes.push_back(
                ReadVolumeBootFacts(sectors, std::move(first), i, p.startLba, p.sectorCount, p.type, false));
    }
    return f;
}

ConsistencyFindings CheckConsistency(const GptDiskFacts& facts) {
    return WithVolumes(CheckGptConsistency(facts.layout), facts.volumes);
}

ConsistencyFindings CheckConsistency(const MbrDiskFacts& facts) {
    return WithVolumes(CheckMbrConsistency(facts.layout), facts.volumes);
}
