#pragma once
// The operating system's view of its volumes: one record per extent of a
// mounted volume on a physical disk, in the order the system reports them.

#include <cstdint>
#include <string>
#include <vector>

class ReportStream;

struct ExtentInfo {
    uint32_t diskNumber = 0;
    uint64_t startingOffset = 0;  // bytes
    uint64_t extentLength = 0;    // bytes
    std::wstring volumeGuidPath;
    std::wstring volumePath;  // mount points, may be empty
    uint32_t sectorSize = 0;  // set when the record is copied into a DiskInfo
};

using ExtentList = std::vector<ExtentInfo>;

// Fills the list; false when no volume could be enumerated.
bool BuildOsVolumeList(ExtentList& volumes);
// The closing "Volumes Reported by OS" section.
void DumpVolumesReportedByOs(const ExtentList& volumes, ReportStream& out);
// The registry dump of the volume service's alignment settings, possibly empty.
std::wstring GetVdsAlignmentText();
