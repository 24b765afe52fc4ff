#pragma once
// The operating system's view of its volumes: one record per extent of a
// mounted volume on a physical disk, in the order the system reports them.

#include <cstdint>
#include <string>
#include <vector>

namespace nsLayout {

struct DiskInfo;

struct ExtentInfo {
    uint32_t diskNumber = 0;
    uint64_t startingOffset = 0;  // bytes
    uint64_t extentLength = 0;    // bytes
    std::wstring volumeGuidPath;
    std::wstring volumePath;  // mount points, may be empty
    uint32_t sectorSize = 0;  // set when the record is copied into a DiskInfo
};

using ExtentList = std::vector<ExtentInfo>;

// The volume that the operating system has on exactly this byte range of the
// disk: its mount points as the list holds them (e.g. C:\ ), or its GUID path
// (e.g. \\?\Volume{...}\ ) when it has none; empty when no OS extent of this
// disk starts and ends there.
std::wstring VolumeTextForExtent(const DiskInfo& disk, uint64_t startByte, uint64_t lengthBytes);

}  // namespace nsLayout
