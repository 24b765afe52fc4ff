#include "Utility/Layscan/Model/MbrChainChecks.h"

#include <string>

#include "Utility/Layscan/Model/MbrDisk.h"

namespace {

const wchar_t* const kMbr = L"MBR";
const wchar_t* const kEpbr = L"EPBR";
const wchar_t* const kPartition = L"Partition";
constexpr uint64_t kLastMbrLba = 0xFFFFFFFF;

bool IsWalkedExtendedType(uint8_t type) { return type == 0x05 || type == 0x0F || type == 0x85; }

}  // namespace

MbrLayoutFacts MbrLayoutFactsOf(const nsLayout::MbrDisk& disk) {
    MbrLayoutFacts f;
    f.sectorCount = disk.GetSectorCopies().GetSectorCount();
    const Mbr& mbr = *disk.GetMbr();
    for (uint32_t i = 0; i < f.mbr.size(); ++i) {
        const auto& e = mbr.GetEntry(i);
        f.mbr[i] = {e.GetBootIndicator(), e.GetPartitionType(), e.GetStartSector(), e.GetSectorCount()};
    }
    f.epbrs.reserve(disk.GetEpbrList().size());
    for (const auto& epbr : disk.GetEpbrList())
        f.epbrs.push_back({epbr->GetMyLba(), epbr->GetNextEpbrLba(), epbr->GetExtendedStart()});
    for (const auto& loop : disk.GetChainLoops()) f.loops.push_back({loop.epbrLba, loop.targetLba});
    f.partitions.reserve(disk.GetPartitions().size());
    for (const auto& p : disk.GetPartitions()) f.partitions.push_back({p->startLba, p->sectorCount, p->isLogical});
    return f;
}

ConsistencyFindings CheckMbrConsistency(const MbrLayoutFacts& f) {
    ConsistencyFindings out;
    auto add = [&out](const wchar_t* structure, uint64_t index, std::wstring text) {
        out.push_back({structure, index, std::move(text)});
    };
    std::vector<uint32_t> active;
    for (uint32_t i = 0; i < f.mbr.size(); ++i) {
        const uint8_t flag = f.mbr[i].bootIndicator;
        if (flag == 0x80)
            active.push_back(i);
        else if (flag != 0)
            add(kMbr, i,
                L"MBR entry " + FindingDecimal(i) + L" has the boot flag " + FindingHex(flag, 2) +
                    L", neither 0x00 nor 0x80.");
    }
    if (active.size() > 1) {
        std::wstring slots;
        for (uint32_t i : active) slots += (slots.empty() ? L"" : L", ") + FindingDecimal(i);
        out.push_back({kMbr, std::nullopt,
                       L"MBR has " + FindingDecimal(active.size()) + L" active entries (" + slots +
                           L"); at most one may be active."});
    }

    // The extent of the extended partition a chain starts at, from the first
    // MBR entry of an extended type that starts there.
    uint64_t knownStart = 0, first = 0, last = 0;
    auto extentOf = [&](uint64_t extendedStart) {
        if (extendedStart == knownStart) return;
        knownStart = extendedStart;
        first = extendedStart;
        last = extendedStart;
        for (const MbrEntryFacts& e : f.mbr)
            if (IsWalkedExtendedType(e.type) && e.startSector == extendedStart && e.sectorCount != 0) {
                last = extendedStart + e.sectorCount - 1;
                break;
            }
    };
    for (uint64_t n = 0; n < f.epbrs.size(); ++n) {
        const EpbrFacts& e = f.epbrs[n];
        extentOf(e.extendedStart);
        const std::wstring extent =
            L"the extended partition (LBA " + FindingDecimal(first) + L" to " + FindingDecimal(last) + L")";
        if (e.lba < first || e.lba > last)
            add(kEpbr, n, L"EPBR at LBA " + FindingDecimal(e.lba) + L" lies outside " + extent + L".");
        if (e.nextLba != 0 && (e.nextLba < first || e.nextLba > last))
            add(kEpbr, n,
                L"EPBR at LBA " + FindingDecimal(e.lba) + L" links to LBA " + FindingDecimal(e.nextLba) +
                    L", outside " + extent + L".");
    }
    for (const ChainLoopFacts& loop : f.loops)
        out.push_back({kEpbr, std::nullopt,
                       L"EPBR at LBA " + FindingDecimal(loop.epbrLba) + L" links back to the EPBR at LBA " +
                           FindingDecimal(loop.targetLba) + L", already in the chain: the chain loops."});

    if (f.sectorCount > kLastMbrLba + 1)
        for (uint64_t n = 0; n < f.partitions.size(); ++n) {
            const PartitionExtentFacts& p = f.partitions[n];
            const uint64_t end = p.startLba + p.sectorCount - 1;
            if (p.sectorCount != 0 && end > kLastMbrLba)
                add(kPartition, n,
                    std::wstring(p.isLogical ? L"Logical" : L"Primary") + L" partition at LBA " +
                        FindingDecimal(p.startLba) + L" ends at LBA " + FindingDecimal(end) + L", beyond LBA " +
                        FindingDecimal(kLastMbrLba) + L", the last an MBR can address on this disk of " +
                        FindingDecimal(f.sectorCount) + L" sectors.");
        }
    return out;
}
