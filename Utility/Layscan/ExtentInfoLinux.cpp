#include "Utility/Layscan/ExtentInfo.h"

// Linux has no volume service of the Windows kind yet: the list stays empty
// and the report closes with its "no volumes" line.
bool BuildOsVolumeList(ExtentList& volumes) {
    volumes.clear();
    return false;
}

// Linux keeps no volume-service alignment settings.
std::wstring GetVdsAlignmentText() { return {}; }
