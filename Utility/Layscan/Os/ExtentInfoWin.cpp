#include "Utility/Layscan/Os/ExtentInfoWin.h"

#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <sstream>
#include <vector>

#include "Base/Dev/AssertionFailure.h"
#include "Utility/Layscan/Os/OsVolumeList.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

// Volume GUID paths ("\\?\Volume{GUID}\") fit easily.
constexpr DWORD VOLUME_NAME_SIZE = 128;
// 26 drive letters of 4 characters each ("C:\" and its terminator) plus the
// list's terminator fit many times over.
constexpr size_t LOGICAL_DRIVE_LIST_SIZE = 512;
constexpr DWORD kFixedDrive = DRIVE_FIXED;  // 3
constexpr DWORD kErrorInsufficientBuffer = ERROR_INSUFFICIENT_BUFFER;  // 122
// A volume has a handful of extents; the extents buffer never grows past this.
constexpr DWORD kMaxExtentsBufferBytes = 1 << 20;
constexpr int kMaxExtentsQueries = 16;

constexpr wchar_t kMountPointSeparator[] = L", ";
constexpr wchar_t kVdsAlignmentKey[] = L"System/CurrentControlSet/Services/VDS/Alignment";
constexpr wchar_t kRegistryKeyLabel[] = L"Registry Key: ";
constexpr DWORD kNumberNameWidth = 20;
// Value names are at most 16,383 characters; data is capped well above any setting.
constexpr DWORD kMaxValueNameChars = 16384;
constexpr DWORD kMaxValueDataBytes = 1 << 20;

class VolumeFind {
public:
    explicit VolumeFind(wchar_t* name) : mHandle(FindFirstVolumeW(name, VOLUME_NAME_SIZE)) {}
    ~VolumeFind() {
        if (Ok()) FindVolumeClose(mHandle);
    }
    VolumeFind(const VolumeFind&) = delete;
    VolumeFind& operator=(const VolumeFind&) = delete;
    bool Ok() const { return mHandle != INVALID_HANDLE_VALUE; }
    bool Next(wchar_t* name) { return FindNextVolumeW(mHandle, name, VOLUME_NAME_SIZE) != 0; }

private:
    HANDLE mHandle;
};

// The system's fixed volumes by GUID path (with the trailing backslash), in
// enumeration order; false when the enumeration cannot start.
bool ListFixedVolumes(std::vector<std::wstring>& volumes) {
    wchar_t name[VOLUME_NAME_SIZE] = {};
    VolumeFind find(name);
    if (!find.Ok()) return false;
    do {
        name[VOLUME_NAME_SIZE - 1] = L'\0';
        if (GetDriveTypeW(name) == kFixedDrive) volumes.emplace_back(name);
    } while (find.Next(name));
    return true;
}

// The folder mount points of a volume, relative to its root ("mnt\data\").
std::vector<std::wstring> ListFolderMountPoints(const std::wstring& volumeGuidPath) {
    std::vector<std::wstring> folders;
    wchar_t folder[MAX_PATH + 1] = {};
    HANDLE find = FindFirstVolumeMountPointW(volumeGuidPath.c_str(), folder, MAX_PATH);
    if (find == INVALID_HANDLE_VALUE) return folders;
    do {
        folder[MAX_PATH] = L'\0';
        folders.emplace_back(folder);
    } while (FindNextVolumeMountPointW(find, folder, MAX_PATH));
    FindVolumeMountPointClose(find);
    return folders;
}

class Handle {
public:
    explicit Handle(HANDLE handle) : mHandle(handle) {}
    ~Handle() {
        if (Ok()) CloseHandle(mHandle);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    bool Ok() const { return mHandle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return mHandle; }

private:
    HANDLE mHandle;
};

// Appends one record per disk extent of the volume; a volume that does not
// open or answer contributes nothing.
void AppendVolumeExtents(const std::wstring& volumeGuidPath, const std::wstring& volumePath, ExtentList& volumes) {
    std::wstring devicePath = volumeGuidPath;
    if (!devicePath.empty() && devicePath.back() == L'\\') devicePath.pop_back();
    Handle volume(CreateFileW(devicePath.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              0, nullptr));
    if (!volume.Ok()) return;

    std::vector<std::byte> buffer(sizeof(VOLUME_DISK_EXTENTS));
    DWORD returned = 0;
    bool answered = false;
    for (int query = 0; query < kMaxExtentsQueries && !answered; ++query) {
        returned = 0;
        if (DeviceIoControl(volume.Get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0, buffer.data(),
                            static_cast<DWORD>(buffer.size()), &returned, nullptr)) {
            answered = true;
            break;
        }
        const DWORD error = GetLastError();
        if ((error != kErrorInsufficientBuffer && error != ERROR_MORE_DATA) ||
            buffer.size() >= kMaxExtentsBufferBytes)
            return;
        // The count, when the system filled it in, says how much room is needed.
        size_t wanted = buffer.size() * 2;
        if (returned >= offsetof(VOLUME_DISK_EXTENTS, Extents)) {
            const DWORD count = reinterpret_cast<const VOLUME_DISK_EXTENTS*>(buffer.data())->NumberOfDiskExtents;
            wanted = std::max<size_t>(wanted, offsetof(VOLUME_DISK_EXTENTS, Extents) +
                                                  static_cast<size_t>(count) * sizeof(DISK_EXTENT));
        }
        buffer.resize(std::min<size_t>(wanted, kMaxExtentsBufferBytes));
    }
    if (!answered || returned < offsetof(VOLUME_DISK_EXTENTS, Extents)) return;

    VOLUME_DISK_EXTENTS header;
    std::copy_n(buffer.data(), offsetof(VOLUME_DISK_EXTENTS, Extents), reinterpret_cast<std::byte*>(&header));
    const size_t room = (returned - offsetof(VOLUME_DISK_EXTENTS, Extents)) / sizeof(DISK_EXTENT);
    const size_t count = std::min<size_t>(header.NumberOfDiskExtents, room);
    for (size_t i = 0; i < count; ++i) {
        DISK_EXTENT extent;
        std::copy_n(buffer.data() + offsetof(VOLUME_DISK_EXTENTS, Extents) + i * sizeof(DISK_EXTENT),
                    sizeof(DISK_EXTENT), reinterpret_cast<std::byte*>(&extent));
        ExtentInfo record;
        record.diskNumber = extent.DiskNumber;
        record.startingOffset = static_cast<uint64_t>(extent.StartingOffset.QuadPart);
        record.extentLength = static_cast<uint64_t>(extent.ExtentLength.QuadPart);
        record.volumeGuidPath = volumeGuidPath;
        record.volumePath = volumePath;
        volumes.push_back(std::move(record));
    }
}

class RegistryKey {
public:
    RegistryKey(HKEY parent, const std::wstring& path) {
        if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &mKey) != ERROR_SUCCESS)
            mKey = nullptr;
    }
    ~RegistryKey() {
        if (mKey) RegCloseKey(mKey);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    HKEY Get() const { return mKey; }

private:
    HKEY mKey = nullptr;
};

}  // namespace

MountPointList GetDriveLetterMountPoints() {
    MountPointList mountPoints;
    wchar_t list[LOGICAL_DRIVE_LIST_SIZE + 1] = {};  // the extra character ends every walk
    const DWORD used = GetLogicalDriveStringsW(LOGICAL_DRIVE_LIST_SIZE, list);
    if (used == 0 || used > LOGICAL_DRIVE_LIST_SIZE) return mountPoints;
    for (size_t offset = 0; list[offset] != L'\0';) {
        CHECK(offset < LOGICAL_DRIVE_LIST_SIZE);
        const size_t length = wcsnlen(list + offset, LOGICAL_DRIVE_LIST_SIZE + 1 - offset);
        CHECK(length < LOGICAL_DRIVE_LIST_SIZE);
        const std::wstring letter(list + offset, length);
        wchar_t volumeName[VOLUME_NAME_SIZE] = {};
        if (GetVolumeNameForVolumeMountPointW(letter.c_str(), volumeName, VOLUME_NAME_SIZE)) {
            volumeName[VOLUME_NAME_SIZE - 1] = L'\0';
            mountPoints.push_back({letter, volumeName});
        }
        offset += length + 1;
    }
    return mountPoints;
}

MountPointList GetLogicalMountPoints() {
    MountPointList mountPoints = GetDriveLetterMountPoints();
    std::vector<std::wstring> fixedVolumes;
    ListFixedVolumes(fixedVolumes);
    for (const std::wstring& host : fixedVolumes) {
        const std::vector<std::wstring> folders = ListFolderMountPoints(host);
        if (folders.empty()) continue;
        const auto i = std::find_if(mountPoints.begin(), mountPoints.end(),
                                    [&](const MountPoint& m) { return m.volumeGuidPath == host; });
        CHECK(i != mountPoints.end());
        const std::wstring hostRoot = i->path;
        for (const std::wstring& folder : folders) {
            const std::wstring path = hostRoot + folder;
            wchar_t volumeName[VOLUME_NAME_SIZE] = {};
            if (!GetVolumeNameForVolumeMountPointW(path.c_str(), volumeName, VOLUME_NAME_SIZE)) continue;
            volumeName[VOLUME_NAME_SIZE - 1] = L'\0';
            mountPoints.push_back({path, volumeName});
        }
    }
    return mountPoints;
}

std::wstring JoinMountPoints(const MountPointList& mountPoints, const std::wstring& volumeGuidPath) {
    std::wstring joined;
    for (const MountPoint& m : mountPoints) {
        if (m.volumeGuidPath != volumeGuidPath) continue;
        if (!joined.empty()) joined += kMountPointSeparator;
        joined += m.path;
    }
    return joined;
}

bool BuildOsVolumeList(ExtentList& volumes) {
    volumes.clear();
    std::vector<std::wstring> fixedVolumes;
    if (!ListFixedVolumes(fixedVolumes) || fixedVolumes.empty()) return false;
    const MountPointList mountPoints = GetLogicalMountPoints();
    for (const std::wstring& volume : fixedVolumes)
        AppendVolumeExtents(volume, JoinMountPoints(mountPoints, volume), volumes);
    return true;
}

std::wstring GetVdsAlignmentText() {
    std::wstring keyPath = kVdsAlignmentKey;
    std::replace(keyPath.begin(), keyPath.end(), L'/', L'\\');
    const RegistryKey key(HKEY_LOCAL_MACHINE, keyPath);
    if (!key.Get()) return {};

    DWORD valueCount = 0;
    if (RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &valueCount, nullptr,
                         nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        return {};

    std::wostringstream textLines;
    std::wostringstream numberLines;
    std::vector<wchar_t> name(kMaxValueNameChars);
    std::vector<BYTE> data;
    for (DWORD index = 0; index < valueCount; ++index) {
        DWORD nameChars = kMaxValueNameChars;
        DWORD type = 0;
        DWORD dataBytes = 0;
        // First the size of the data, then the data itself.
        LONG status = RegEnumValueW(key.Get(), index, name.data(), &nameChars, nullptr, &type, nullptr, &dataBytes);
        if (status == ERROR_NO_MORE_ITEMS) break;
        if (status != ERROR_SUCCESS || dataBytes > kMaxValueDataBytes) continue;
        if (type != REG_DWORD && type != REG_SZ) continue;
        data.assign(dataBytes + sizeof(wchar_t), 0);
        nameChars = kMaxValueNameChars;
        status = RegEnumValueW(key.Get(), index, name.data(), &nameChars, nullptr, &type, data.data(), &dataBytes);
        if (status != ERROR_SUCCESS) continue;
        const std::wstring valueName(name.data(), std::min<DWORD>(nameChars, kMaxValueNameChars));

        if (type == REG_DWORD && dataBytes >= sizeof(DWORD)) {
            DWORD value = 0;
            std::copy_n(data.data(), sizeof(DWORD), reinterpret_cast<BYTE*>(&value));
            numberLines << L"     " << std::left << std::setw(kNumberNameWidth) << std::setfill(L' ') << valueName
                        << L" 0x" << std::right << std::uppercase << std::hex << std::setw(8) << std::setfill(L'0')
                        << value << L"  (" << std::dec << value << L")\n";
        } else if (type == REG_SZ && !valueName.empty()) {
            std::wstring text(std::min<size_t>(dataBytes, data.size()) / sizeof(wchar_t), L'\0');
            std::copy_n(data.data(), text.size() * sizeof(wchar_t), reinterpret_cast<BYTE*>(text.data()));
            while (!text.empty() && text.back() == L'\0') text.pop_back();
            textLines << L"     Name:  " << valueName << L"     Value: " << text << L"\n";
        }
    }

    const std::wstring texts = textLines.str();
    const std::wstring numbers = numberLines.str();
    if (texts.empty() && numbers.empty()) return {};
    return kRegistryKeyLabel + std::wstring(kVdsAlignmentKey) + L"\n" + texts + numbers;
}
