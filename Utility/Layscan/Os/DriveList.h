#pragma once
// The physical drives of this machine, in the numbering the report uses.

#include <filesystem>
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
// Linux: a number past the list (or text that is no number) gives
// "/dev/layscan-drive-<typed>-not-found", a path that fails to open.
std::wstring PhysicalDrivePath(const std::wstring& typedNumber);

// The Linux listing over any folder laid out like /sys/block (tests use a
// fake one); device paths are deviceFolder + "/" + name.
std::vector<DriveSlot> ListBlockDrives(const std::filesystem::path& sysBlock, const std::string& deviceFolder = "/dev");
// Drive typedNumber of the list, or the not-found path above.
std::wstring DrivePathFromList(const std::vector<DriveSlot>& drives, const std::wstring& typedNumber);
