#include "Utility/Layscan/ExtentInfo.h"

// The volume enumeration is not in place yet: the list stays empty and the
// report closes with its "no volumes" line.
bool BuildOsVolumeList(ExtentList& volumes) {
    volumes.clear();
    return false;
}

// The registry dump of the alignment settings is not in place yet.
std::wstring GetVdsAlignmentText() { return {}; }
