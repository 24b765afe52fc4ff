#include "Utility/Layscan/Os/DriveConsole.h"

std::string DriveConsoleSuffix(const std::wstring&) { return {}; }
