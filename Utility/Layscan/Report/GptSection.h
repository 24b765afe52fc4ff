#pragma once
// The partition listing of a GPT disk: the header warnings, the geometry
// report with the protective MBR's rows, every field of the primary header,
// and the table of used entries with the disk's unallocated space in place.

#include <cstdint>
#include <string>

class GptPartitionTable;
class ReportStream;

namespace nsLayout {
class GptDisk;
struct DiskInfo;
}  // namespace nsLayout

void WriteGptSection(const nsLayout::GptDisk& disk, const nsLayout::DiskInfo& diskInfo, ReportStream& out);

// "GPT Header Data:" and one aligned line per field of the primary header.
void WriteGptHeaderData(const nsLayout::GptDisk& disk, ReportStream& out);

// "GPT Partitions for Disk N" and the table of the primary array's used
// entries, each followed by its warnings, with "Unallocated Space" rows for
// the free extents; an error line instead of the table when the header's
// entry size is one the rows cannot be read with.
void WriteGptPartitionTable(const nsLayout::GptDisk& disk, uint16_t diskNumber, ReportStream& out);

// A partition name as the report shows it: up to the first NUL unit, every
// unit that is a control character or above 255 written as "?".
std::wstring GptNameForReport(const std::u16string& units);

// Where an entry lies: the array's sector holding its first byte, and the
// entry's place among the entries that start in that sector.
struct GptEntryPlace {
    uint64_t sector;
    uint64_t indexInSector;
};
GptEntryPlace PlaceOfGptEntry(const GptPartitionTable& table, uint64_t index, uint32_t bytesPerSector);

// How many slots of the primary array the table walks: none when the entry
// size is one the rows cannot be read with, never more than the array's 128.
uint64_t GptSlotsShown(const GptPartitionTable& table);
