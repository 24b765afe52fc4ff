#include "Utility/Layscan/Model/DiskInfo.h"

namespace nsLayout {

DiskInfo DiskInfo::Make(uint16_t diskNumber, uint32_t sectorSize, const ExtentList& volumes, bool isPhysicalDrive) {
    DiskInfo info;
    info.isPhysicalDrive = isPhysicalDrive;
    info.diskNumber = diskNumber;
    info.sectorSize = sectorSize;
    for (const ExtentInfo& e : volumes) {
        if (e.diskNumber != diskNumber) continue;
        info.extents.push_back(e);
        info.extents.back().sectorSize = sectorSize;
    }
    return info;
}

}  // namespace nsLayout
