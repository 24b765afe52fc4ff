#pragma once
// How the all-drives scan names a drive on the console after its number.
// Windows numbers are the device names themselves; Linux numbers are positions
// in the drive list, so the device path follows them there.

#include <string>

std::string DriveConsoleSuffix(const std::wstring& devicePath);
