#include "Utility/Layscan/Model/ExtentInfo.h"

#include "Utility/Layscan/Model/DiskInfo.h"

namespace nsLayout {

std::wstring VolumeTextForExtent(const DiskInfo& disk, uint64_t startByte, uint64_t lengthBytes) {
    for (const ExtentInfo& extent : disk.extents) {
        if (extent.diskNumber != disk.diskNumber) continue;
        if (extent.startingOffset == startByte && extent.extentLength == lengthBytes)
            return extent.volumePath.empty() ? extent.volumeGuidPath : extent.volumePath;
    }
    return {};
}

}  // namespace nsLayout
