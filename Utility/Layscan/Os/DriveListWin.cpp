#include <windows.h>

#include <string>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Os/DriveList.h"

namespace {

const wchar_t kDrivePrefix[] = L"\\\\.\\PHYSICALDRIVE";
constexpr unsigned kLastDriveNumber = 999;

}  // namespace

std::vector<DriveSlot> ListPhysicalDrives() {
    std::vector<DriveSlot> drives;
    for (unsigned n = 0; n <= kLastDriveNumber; ++n) {
        const std::wstring path = kDrivePrefix + std::to_wstring(n);
        HANDLE probe = CreateFileA(Narrow(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL,
                                   OPEN_EXISTING, 0, NULL);
        if (probe == INVALID_HANDLE_VALUE) continue;  // gaps are skipped silently
        CloseHandle(probe);
        drives.push_back({n, path});
    }
    return drives;
}

std::wstring PhysicalDrivePath(const std::wstring& typedNumber) {
    return kDrivePrefix + typedNumber;
}
