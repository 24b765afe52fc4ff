#pragma once
// Linux: the OS volume list read from sysfs and the mount table. The places
// it reads are parameters so that a prepared tree can stand in for the live
// system; BuildOsVolumeList(ExtentList&) uses the live ones.

#include <string>
#include <vector>

#include "Utility/Layscan/Os/DriveList.h"
#include "Utility/Layscan/Os/OsVolumeList.h"

struct OsVolumeSources {
    std::string sysRoot = "/sys";                         // holds block/NAME
    std::string devRoot = "/dev";                         // device paths are devRoot + "/" + NAME
    std::string mountInfoPath = "/proc/self/mountinfo";   // the mount table
};

// One record per partition of every non-removable drive of the list (the drive
// numbers are the list's), plus one covering a whole drive that carries a
// mounted file system without a partition table. The extended partition's
// stub device (at most 2 sectors of 512 bytes) is left out. Volume GUID path:
// the device path; volume path: the device's mount points joined with ", ".
// False when nothing was found.
bool BuildOsVolumeList(const std::vector<DriveSlot>& drives, const OsVolumeSources& sources,
                       nsLayout::ExtentList& volumes);
