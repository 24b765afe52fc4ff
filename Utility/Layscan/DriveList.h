#pragma once
// The physical drives of this machine, in the numbering the report uses.

#include <string>
#include <vector>

struct DriveSlot {
    unsigned number = 0;
    std::wstring path;  // "\\.\PHYSICALDRIVE3" or "/dev/sdb"
};

// Windows: every "\\.\PHYSICALDRIVEn", n = 0..999, that opens for reading
// (the probe); gaps in the numbering are kept. Linux: the whole disks of
// /sys/block sorted by name, without ram, zram and unbacked loop devices,
// numbered from 0; a listed drive may still fail to open.
std::vector<DriveSlot> ListPhysicalDrives();
// The path of drive n as the one-drive mode forms it from the typed text.
std::wstring PhysicalDrivePath(const std::wstring& typedNumber);
