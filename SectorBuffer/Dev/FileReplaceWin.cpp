#include "SectorBuffer/Dev/FileReplace.h"

#include <windows.h>

bool FileReplace::Replace(const std::filesystem::path& from, const std::filesystem::path& to, std::string& reason) {
    // A plain rename refuses an existing target on Windows; the replacing
    // move does it in one step on the same volume.
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    const DWORD error = GetLastError();
    char text[256] = {};
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text, sizeof text, nullptr);
    reason = length ? std::string(text, length) : "error " + std::to_string(error);
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\r' || reason.back() == '.'))
        reason.pop_back();
    return false;
}
