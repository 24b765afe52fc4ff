#include "Utility/Layscan/DriveConsole.h"

std::string DriveConsoleSuffix(const std::wstring&) { return {}; }
