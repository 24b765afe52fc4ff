#include "Utility/Layscan/Os/DriveList.h"

#include <algorithm>
#include <system_error>

#include "Base/Dev/Result.h"

namespace {

bool StartsWith(const std::string& name, const char* prefix) {
    return name.rfind(prefix, 0) == 0;
}

// RAM disks are never disks a layout is read from; a loop device counts only
// while a file is attached to it.
bool IsListed(const std::filesystem::path& sysBlock, const std::string& name) {
    if (StartsWith(name, "ram") || StartsWith(name, "zram")) return false;
    if (StartsWith(name, "loop")) {
        std::error_code ec;
        return std::filesystem::exists(sysBlock / name / "loop" / "backing_file", ec);
    }
    return true;
}

}  // namespace

std::vector<DriveSlot> ListBlockDrives(const std::filesystem::path& sysBlock, const std::string& deviceFolder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(sysBlock, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (IsListed(sysBlock, name)) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    std::vector<DriveSlot> drives;
    for (const std::string& name : names) drives.push_back({unsigned(drives.size()), Widen(deviceFolder + "/" + name)});
    return drives;
}

std::wstring DrivePathFromList(const std::vector<DriveSlot>& drives, const std::wstring& typedNumber) {
    const bool isNumber = !typedNumber.empty() && typedNumber.size() <= 9 &&
                          std::all_of(typedNumber.begin(), typedNumber.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    if (isNumber) {
        const unsigned long index = std::stoul(typedNumber);
        if (index < drives.size()) return drives[index].path;
    }
    return L"/dev/layscan-drive-" + typedNumber + L"-not-found";
}
