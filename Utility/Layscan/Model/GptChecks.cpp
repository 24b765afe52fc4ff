#include "Utility/Layscan/Model/GptChecks.h"

#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/GptPartitionTable.h"

namespace nsLayout {

namespace {

constexpr uint32_t kSupportedEntrySize = 128;
constexpr uint32_t kSupportedHeaderSize = 92;
constexpr uint32_t kSupportedEntryCount = 128;

// Ends a non-empty set of findings with the blank line that parts it from
// what the report writes next.
std::wstring Finish(std::wstring text) {
    if (!text.empty()) text += L"\n";
    return text;
}

bool IsReservedAreaZero(const OnDiskGptHeader& header) {
    uint8_t reserved[4];
    header.GetReserved1(reserved, 0, sizeof reserved);
    for (uint8_t b : reserved)
        if (b) return false;
    return true;
}

}  // namespace

std::array<GptHeaderCheck, kGptHeaderCheckCount> EvaluateGptHeader(const GptPartitionTable& table) {
    const OnDiskGptHeader& header = table.GetHeader();
    return {{
        {"entrySize", header.GetSizeOfPartitionEntry() == kSupportedEntrySize,
         L"WARNING:  Partition entry size is not supported.  Must be 128.\n"},
        {"headerCrc", table.IsHeaderCrcValid(), L"WARNING:  GPT Header Check Sum is invalid.\n"},
        {"entryArrayCrc", table.IsEntryArrayCrcValid(), L"WARNING:  GPT Partition Array Check Sum is invalid.\n"},
        {"headerSize", header.GetHeaderSize() == kSupportedHeaderSize,
         L"WARNING:  Invalid GPT header size.  Must be 92.\n"},
        {"signature", header.IsSignatureValid(), L"WARNING: Invalid GPT signature. Must be EFI PART.\n"},
        {"revision", header.GetRevision() == OnDiskGptHeader::kRevision1_0,
         L"WARNING: Invalid EFI version in GPT header.  Must be  00 00 01 00.\n"},
        {"reservedZero", IsReservedAreaZero(header), L"WARNING: Data in first reserved field in GPT header.\n"},
        {"myLba", header.GetMyLba() == table.GetHeaderLba(), L"WARNING: Primary LBA is not valid in GPT header.\n"},
        {"alternateLba", table.IsAlternateLbaValid(), L"WARNING: Backup LBA is not valid in GPT header.\n"},
        {"entryCount", header.GetNumberOfPartitionEntries() == kSupportedEntryCount,
         L"WARNING: Maximum number of partition entries is not valid in GPT header. Must be 128.\n"},
    }};
}

std::wstring CheckGptHeader(const GptPartitionTable& table, bool isBackup) {
    std::wstring text;
    for (const GptHeaderCheck& check : EvaluateGptHeader(table))
        if (!check.passed) text += check.message;
    text = Finish(std::move(text));
    if (isBackup && !text.empty()) text = L"WARNING:  Backup GPT Header had the following problem(s):\n" + text;
    return text;
}

std::wstring CheckGptHeaders(const GptDisk& disk) {
    return CheckGptHeader(disk.GetPrimaryTable(), false) + CheckGptHeader(disk.GetBackupTable(), true);
}

std::wstring CheckGptEntry(const GptDisk& disk, uint64_t index) {
    const GptPartitionTable& table = disk.GetPrimaryTable();
    const OnDiskGptPartitionEntry& entry = table.GetEntry(index);
    const uint64_t first = entry.GetFirstLba();
    const uint64_t last = entry.GetLastLba();
    std::wstring text;
    if (last < first) text += L"WARNING:  Ending LBA before starting LBA in partition above.\n";
    if (table.IsBeyondEndOfDisk(index)) text += L"WARNING:  Above partition extends beyond end of disk.\n";
    // Every other slot up to the header's count, empty ones included: an
    // empty slot spans LBA 0 to 0. The count is re-read on every step.
    for (uint64_t j = 0; j < table.GetHeader().GetNumberOfPartitionEntries(); ++j) {
        if (j == index) continue;
        const OnDiskGptPartitionEntry& other = table.GetEntry(j);
        const uint64_t f = other.GetFirstLba();
        const uint64_t l = other.GetLastLba();
        if ((f <= first && first <= l) || (f <= last && last <= l) || (f <= first && last <= l)) {
            text += L"WARNING: Partition above overlaps with partition # " + std::to_wstring(j) + L".\n";
            break;
        }
    }
    return Finish(std::move(text));
}

}  // namespace nsLayout
