#include "Utility/Layscan/Report/GptSectorDump.h"

#include <string>

#include <vector>

#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

namespace {

constexpr uint64_t kHeaderLba = 1;

}  // namespace

void DumpGptSectors(const nsLayout::GptDisk& disk, uint16_t diskNumber, ReportStream& out) {
    using nsLayout::GptDisk;
    const std::wstring number = std::to_wstring(diskNumber);
    std::vector<uint8_t> bytes;

    out << L" - - - - - - - Disk " << number << L": GPT Header (Sector 1)- - - - - - - - -\n";
    disk.GetSectorCopies().Get(kHeaderLba, 1, bytes);
    DumpHex(bytes.data(), bytes.size(), out, std::wstring());

    out << L"\n - - - - - - - Disk " << number << L": GPT Partitions - - - - - - - - -\n";
    uint64_t sector = GptDisk::kFirstRawSlotSector;
    for (uint32_t slot = 0; slot < GptDisk::kRawSlotLimit; slot += GptDisk::kRawSlotsPerSector, ++sector) {
        for (uint32_t index = 0; index < GptDisk::kRawSlotsPerSector; ++index) {
            if (!disk.GetRawSlot(sector, index, bytes)) continue;
            const std::wstring heading = L"\nGPT Partition Entry # " + std::to_wstring(slot + index) + L" at sector " +
                                         std::to_wstring(sector) + L", index " + std::to_wstring(index) + L"\n";
            DumpHex(bytes.data(), bytes.size(), out, heading);
        }
    }
}
