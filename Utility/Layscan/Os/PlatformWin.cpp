#include "Utility/Layscan/Os/Platform.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

const char* PlatformName() { return "windows"; }

void SetStandardOutputBinary() {
    std::fflush(stdout);
    _setmode(_fileno(stdout), _O_BINARY);
}
