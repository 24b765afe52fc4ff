#pragma once
// What the operating system says about its volumes, gathered before any disk
// is reported. One implementation per platform (ExtentInfoLinux.cpp,
// ExtentInfoWin.cpp).

#include <string>

#include "Utility/Layscan/Model/ExtentInfo.h"

// Fills the list; false when no volume could be enumerated.
bool BuildOsVolumeList(nsLayout::ExtentList& volumes);
// The registry dump of the volume service's alignment settings, possibly empty.
std::wstring GetVdsAlignmentText();
