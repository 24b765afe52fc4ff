#include "Utility/Layscan/Os/DriveList.h"

std::vector<DriveSlot> ListPhysicalDrives() {
    return ListBlockDrives("/sys/block");
}

std::wstring PhysicalDrivePath(const std::wstring& typedNumber) {
    return DrivePathFromList(ListPhysicalDrives(), typedNumber);
}
