#include "Utility/Layscan/Model/GptConsistencyChecks.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/Mbr.h"

namespace {

constexpr uint8_t kProtectiveType = 0xEE;
const wchar_t* const kPrimary = L"Primary GPT header";
const wchar_t* const kBackup = L"Backup GPT header";
const wchar_t* const kArray = L"GPT entry array";
const wchar_t* const kEntry = L"GPT partition entry";
const wchar_t* const kProtective = L"Protective MBR";
const wchar_t* const kDiskSize = L"Disk size";

GptHeaderFacts HeaderFactsOf(const GptPartitionTable& table, const nsLayout::SectorCopies& copies) {
    const OnDiskGptHeader& h = table.GetHeader();
    GptHeaderFacts f;
    f.hasSignature = h.IsSignatureValid();
    f.readAt = table.GetHeaderLba();
    f.myLba = h.GetMyLba();
    f.alternateLba = h.GetAlternateLba();
    f.firstUsableLba = h.GetFirstUsableLba();
    f.lastUsableLba = h.GetLastUsableLba();
    f.entriesLba = h.GetPartitionEntryLba();
    f.diskGuid = h.GetDiskGuid();
    f.headerSize = h.GetHeaderSize();
    f.entryCount = h.GetNumberOfPartitionEntries();
    f.entrySize = h.GetSizeOfPartitionEntry();
    f.entriesCrc = h.GetPartitionEntryArrayCrc32();
    // The model holds the header's sectors whole, as it read them.
    const uint64_t size = copies.GetBytesPerSector();
    std::vector<uint8_t> bytes;
    copies.Get(f.readAt, (OnDiskGptHeader::kSectorBytes + size - 1) / size, bytes);
    const size_t from = std::min<size_t>(f.headerSize, bytes.size());
    f.tailIsZero = std::all_of(bytes.begin() + from, bytes.end(), [](uint8_t b) { return b == 0; });
    return f;
}

// The bytes of the array that the header's count and size cover, cut to what was read.
uint64_t ArrayBytes(const GptHeaderFacts& h) {
    return std::min<uint64_t>(uint64_t{h.entryCount} * h.entrySize, OnDiskGptPartitionEntries::kArrayBytes);
}

// The sectors the array occupies by the header's count and size (at least one).
uint64_t ArraySectors(const GptHeaderFacts& h, uint32_t sectorSize) {
    const uint64_t bytes = uint64_t{h.entryCount} * h.entrySize;
    return std::max<uint64_t>(1, (bytes + sectorSize - 1) / std::max<uint32_t>(sectorSize, 1));
}

class Findings {
public:
    void Add(const wchar_t* structure, std::wstring text) {
        mList.push_back({structure, std::nullopt, std::move(text)});
    }
    void Add(const wchar_t* structure, uint64_t index, std::wstring text) {
        mList.push_back({structure, index, std::move(text)});
    }
    ConsistencyFindings Take() { return std::move(mList); }

private:
    ConsistencyFindings mList;
};

void CheckHeaders(const GptLayoutFacts& f, Findings& out) {
    const GptHeaderFacts& p = f.primary;
    const GptHeaderFacts& b = f.backup;
    if (!b.hasSignature) {
        // One beyond the disk's end is the disk size's finding.
        if (b.readAt < f.sectorCount)
            out.Add(kBackup, L"Backup GPT header: LBA " + FindingDecimal(b.readAt) +
                                 L", which the primary header names as its copy, holds no \"EFI PART\" signature.");
        return;
    }
    if (b.readAt != f.sectorCount - 1)
        out.Add(kBackup, L"Backup GPT header is at LBA " + FindingDecimal(b.readAt) +
                             L", not at the disk's last sector " + FindingDecimal(f.sectorCount - 1) + L".");
    auto disagree = [&](const wchar_t* what, const std::wstring& mine, const std::wstring& theirs) {
        if (mine != theirs)
            out.Add(kBackup, std::wstring(L"Primary and backup GPT headers disagree on the ") + what + L": " + mine +
                                 L" and " + theirs + L".");
    };
    disagree(L"disk GUID", p.diskGuid.ToText(), b.diskGuid.ToText());
    disagree(L"first usable LBA", FindingDecimal(p.firstUsableLba), FindingDecimal(b.firstUsableLba));
    disagree(L"last usable LBA", FindingDecimal(p.lastUsableLba), FindingDecimal(b.lastUsableLba));
    disagree(L"entry count", FindingDecimal(p.entryCount), FindingDecimal(b.entryCount));
    disagree(L"entry size", FindingDecimal(p.entrySize), FindingDecimal(b.entrySize));
    disagree(L"entry array CRC", FindingHex(p.entriesCrc, 8), FindingHex(b.entriesCrc, 8));
    if (p.myLba != p.readAt)
        out.Add(kPrimary, L"Primary GPT header at LBA " + FindingDecimal(p.readAt) + L" gives its own LBA as " +
                              FindingDecimal(p.myLba) + L".");
    if (b.myLba != b.readAt)
        out.Add(kBackup, L"Backup GPT header at LBA " + FindingDecimal(b.readAt) + L" gives its own LBA as " +
                             FindingDecimal(b.myLba) + L".");
    if (p.alternateLba != b.myLba)
        out.Add(kPrimary, L"Primary GPT header names LBA " + FindingDecimal(p.alternateLba) +
                              L" as its copy, but the backup header gives its own LBA as " + FindingDecimal(b.myLba) +
                              L".");
    if (b.alternateLba != p.myLba)
        out.Add(kBackup, L"Backup GPT header names LBA " + FindingDecimal(b.alternateLba) +
                             L" as its copy, but the primary header gives its own LBA as " + FindingDecimal(p.myLba) +
                             L".");
    if (!f.entryArraysEqual)
        out.Add(kArray, L"Backup GPT entry array at LBA " + FindingDecimal(b.entriesLba) +
                            L" differs from the primary's at LBA " + FindingDecimal(p.entriesLba) + L".");
}

void CheckPlacement(const GptLayoutFacts& f, Findings& out) {
    const GptHeaderFacts& p = f.primary;
    const GptHeaderFacts& b = f.backup;
    const uint64_t first = p.entriesLba, last = first + ArraySectors(p, f.sectorSize) - 1;
    const std::wstring extent = L" (LBA " + FindingDecimal(first) + L" to " + FindingDecimal(last) + L")";
    if (first < 2)
        out.Add(kArray, L"Primary GPT entry array starts at LBA " + FindingDecimal(first) + L", before LBA 2.");
    if (first >= p.firstUsableLba && first <= p.lastUsableLba)
        out.Add(kArray, L"Primary GPT entry array" + extent + L" overlaps the usable area (LBA " +
                            FindingDecimal(p.firstUsableLba) + L" to " + FindingDecimal(p.lastUsableLba) + L").");
    if (p.firstUsableLba <= last && first < p.firstUsableLba)
        out.Add(kPrimary, L"First usable LBA " + FindingDecimal(p.firstUsableLba) +
                              L" is not after the primary GPT entry array" + extent + L".");
    if (b.hasSignature) {
        const uint64_t backupEnd = b.entriesLba + ArraySectors(b, f.sectorSize);
        if (backupEnd != b.readAt)
            out.Add(kArray, L"Backup GPT entry array (LBA " + FindingDecimal(b.entriesLba) + L" to " +
                                FindingDecimal(backupEnd - 1) +
                                L") does not end right before the backup header at LBA " + FindingDecimal(b.readAt) +
                                L".");
        if (p.lastUsableLba >= b.entriesLba)
            out.Add(kPrimary, L"Last usable LBA " + FindingDecimal(p.lastUsableLba) +
                                  L" is not before the backup GPT entry array at LBA " + FindingDecimal(b.entriesLba) +
                                  L".");
    }
    const uint32_t size = p.entrySize;
    if (size < 128 || size % 128 != 0 || ((size / 128) & (size / 128 - 1)) != 0)
        out.Add(kPrimary, L"GPT entry size is " + FindingDecimal(size) + L" bytes, not 128 times a power of 2.");
    if (!p.tailIsZero)
        out.Add(kPrimary, L"Primary GPT header at LBA " + FindingDecimal(p.readAt) + L" has non-zero bytes after its " +
                              FindingDecimal(p.headerSize) + L" header bytes.");
    if (b.hasSignature && !b.tailIsZero)
        out.Add(kBackup, L"Backup GPT header at LBA " + FindingDecimal(b.readAt) + L" has non-zero bytes after its " +
                             FindingDecimal(b.headerSize) + L" header bytes.");
}

void CheckEntries(const GptLayoutFacts& f, Findings& out) {
    const GptHeaderFacts& p = f.primary;
    std::map<std::array<uint8_t, 16>, uint32_t> firstWithGuid;
    for (const GptEntryFacts& e : f.entries) {
        const std::wstring name = L"GPT partition entry " + FindingDecimal(e.index);
        const bool hasType = !e.typeGuid.IsNull(), hasUnique = !e.uniqueGuid.IsNull();
        if (hasType && !hasUnique) out.Add(kEntry, e.index, name + L" has a type GUID but a zero unique GUID.");
        if (!hasType && hasUnique) out.Add(kEntry, e.index, name + L" has a unique GUID but a zero type GUID.");
        if (!hasType || !hasUnique) continue;
        if (e.firstLba < p.firstUsableLba)
            out.Add(kEntry, e.index,
                    name + L" starts at LBA " + FindingDecimal(e.firstLba) + L", before the first usable LBA " +
                        FindingDecimal(p.firstUsableLba) + L".");
        if (e.lastLba > p.lastUsableLba)
            out.Add(kEntry, e.index,
                    name + L" ends at LBA " + FindingDecimal(e.lastLba) + L", after the last usable LBA " +
                        FindingDecimal(p.lastUsableLba) + L".");
        const auto [at, fresh] = firstWithGuid.emplace(e.uniqueGuid.bytes, e.index);
        if (!fresh)
            out.Add(kEntry, e.index,
                    name + L" has the unique GUID " + e.uniqueGuid.ToText() + L" of entry " +
                        FindingDecimal(at->second) + L".");
    }
}

void CheckProtectiveMbr(const GptLayoutFacts& f, Findings& out) {
    std::vector<uint32_t> protective, hybrid;
    for (uint32_t i = 0; i < f.mbr.size(); ++i) {
        if (f.mbr[i].type == kProtectiveType)
            protective.push_back(i);
        else if (f.mbr[i].type != 0)
            hybrid.push_back(i);
    }
    if (protective.empty()) out.Add(kProtective, L"Protective MBR has no 0xEE entry.");
    if (protective.size() > 1)
        out.Add(kProtective, L"Protective MBR has " + FindingDecimal(protective.size()) + L" 0xEE entries, not one.");
    if (!protective.empty()) {
        const uint32_t slot = protective.front();
        const MbrEntryFacts& e = f.mbr[slot];
        const std::wstring name = L"Protective MBR entry " + FindingDecimal(slot) + L" (0xEE)";
        if (e.startSector != 1)
            out.Add(kProtective, slot, name + L" starts at LBA " + FindingDecimal(e.startSector) + L", not at LBA 1.");
        // A hybrid MBR's 0xEE entry covers only what its other entries leave.
        const uint64_t expected = std::min<uint64_t>(f.sectorCount - 1, 0xFFFFFFFF);
        if (hybrid.empty() && e.sectorCount != expected)
            out.Add(kProtective, slot,
                    name + L" covers " + FindingDecimal(e.sectorCount) + L" sectors, not " + FindingDecimal(expected) +
                        L" (the disk's sectors after LBA 0, at most 0xFFFFFFFF).");
        if (e.bootIndicator != 0)
            out.Add(kProtective, slot, name + L" has the boot flag " + FindingHex(e.bootIndicator, 2) + L".");
    }
    if (hybrid.empty()) return;
    std::wstring slots;
    for (uint32_t i : hybrid) slots += (slots.empty() ? L"" : L", ") + FindingDecimal(i);
    const bool several = hybrid.size() > 1;
    out.Add(kProtective, std::wstring(L"Protective MBR is a hybrid MBR: ") + (several ? L"entries " : L"entry ") +
                             slots + (several ? L" describe partitions" : L" describes a partition") +
                             L" beside the 0xEE entry.");
    for (uint32_t i : hybrid) {
        const MbrEntryFacts& e = f.mbr[i];
        const uint64_t first = e.startSector, last = first + e.sectorCount - 1;
        const bool matches = std::any_of(f.entries.begin(), f.entries.end(), [&](const GptEntryFacts& g) {
            return !g.typeGuid.IsNull() && g.firstLba == first && g.lastLba == last;
        });
        if (!matches)
            out.Add(kProtective, i,
                    L"Hybrid MBR entry " + FindingDecimal(i) + L" (type " + FindingHex(e.type, 2) + L", LBA " +
                        FindingDecimal(first) + L" to " + FindingDecimal(last) +
                        L") matches no GPT partition's extent.");
    }
}

void CheckDiskSize(const GptLayoutFacts& f, Findings& out) {
    const GptHeaderFacts& p = f.primary;
    const uint64_t claimed = p.alternateLba + 1;
    if (claimed < f.sectorCount)
        out.Add(kDiskSize, L"Disk has " + FindingDecimal(f.sectorCount) + L" sectors, " +
                               FindingDecimal(f.sectorCount - claimed) +
                               L" more than the GPT header says (its backup at LBA " + FindingDecimal(p.alternateLba) +
                               L" makes " + FindingDecimal(claimed) + L").");
    else if (claimed > f.sectorCount || p.lastUsableLba >= f.sectorCount)
        out.Add(kDiskSize, L"Disk has " + FindingDecimal(f.sectorCount) +
                               L" sectors, fewer than the GPT header says (backup at LBA " +
                               FindingDecimal(p.alternateLba) + L", last usable LBA " +
                               FindingDecimal(p.lastUsableLba) + L").");
}

}  // namespace

GptLayoutFacts GptLayoutFactsOf(const nsLayout::GptDisk& disk) {
    GptLayoutFacts f;
    const GptPartitionTable& primary = disk.GetPrimaryTable();
    f.sectorCount = primary.GetSectorCount();
    f.sectorSize = disk.GetGeometry().GetBytesPerSector();
    f.primary = HeaderFactsOf(primary, disk.GetSectorCopies());
    if (disk.GetBackupFailure()) {
        f.backup.readAt = f.primary.alternateLba;
    } else {
        const GptPartitionTable& backup = disk.GetBackupTable();
        f.backup = HeaderFactsOf(backup, disk.GetSectorCopies());
        std::vector<uint8_t> mine(ArrayBytes(f.primary)), theirs(mine.size());
        primary.GetEntriesBytes().Read(mine.data(), 0, mine.size());
        backup.GetEntriesBytes().Read(theirs.data(), 0, theirs.size());
        f.entryArraysEqual = mine == theirs;
    }
    const uint32_t count = std::min<uint32_t>(f.primary.entryCount, OnDiskGptPartitionEntries::kEntryCount);
    for (uint32_t i = 0; i < count; ++i) {
        const OnDiskGptPartitionEntry& e = primary.GetEntry(i);
        GptEntryFacts entry{i, e.GetPartitionTypeGuid(), e.GetUniquePartitionGuid(), e.GetFirstLba(), e.GetLastLba()};
        if (!entry.typeGuid.IsNull() || !entry.uniqueGuid.IsNull()) f.entries.push_back(entry);
    }
    const Mbr& mbr = *disk.GetProtectiveMbr();
    for (uint32_t i = 0; i < f.mbr.size(); ++i) {
        const auto& e = mbr.GetEntry(i);
        f.mbr[i] = {e.GetBootIndicator(), e.GetPartitionType(), e.GetStartSector(), e.GetSectorCount()};
    }
    return f;
}

ConsistencyFindings CheckGptConsistency(const GptLayoutFacts& f) {
    Findings out;
    if (!f.primary.hasSignature) {
        out.Add(kPrimary, L"Primary GPT header at LBA " + FindingDecimal(f.primary.readAt) +
                              L" holds no \"EFI PART\" signature; the GPT cannot be checked further.");
        CheckProtectiveMbr(f, out);
        return out.Take();
    }
    CheckHeaders(f, out);
    CheckPlacement(f, out);
    CheckEntries(f, out);
    CheckProtectiveMbr(f, out);
    CheckDiskSize(f, out);
    return out.Take();
}
