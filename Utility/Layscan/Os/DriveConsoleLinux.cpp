#include "Utility/Layscan/Os/DriveConsole.h"

#include "Base/Dev/Result.h"

std::string DriveConsoleSuffix(const std::wstring& devicePath) { return " (" + Narrow(devicePath) + ")"; }
