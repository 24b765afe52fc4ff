#include <windows.h>
#include <winioctl.h>

#include <string>

#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/DiskDevice.h"

namespace {

// Device namespace paths ("\\.\PHYSICALDRIVE0", "\\.\C:") name devices;
// every other path is a regular file read as an image.
bool IsDevicePath(const std::string& path) {
    return path.size() >= 4 && path.compare(0, 4, "\\\\.\\") == 0;
}

class WinDiskDevice : public DiskDevice {
public:
    WinDiskDevice(HANDLE handle, bool imageFile) : mHandle(handle), mImageFile(imageFile) {}
    ~WinDiskDevice() override {
        if (mHandle != INVALID_HANDLE_VALUE) CloseHandle(mHandle);
    }

    bool IsImageFile() const override { return mImageFile; }

    bool QueryGeometry(DiskDeviceGeometry& geometry, uint32_t& bytesReturned) override {
        DISK_GEOMETRY dg{};
        DWORD returned = 0;
        bytesReturned = 0;
        if (!DeviceIoControl(mHandle, IOCTL_DISK_GET_DRIVE_GEOMETRY, NULL, 0, &dg, sizeof dg, &returned, NULL))
            return Fail("DeviceIoControl(IOCTL_DISK_GET_DRIVE_GEOMETRY)");
        bytesReturned = returned;
        geometry.cylinders = uint64_t(dg.Cylinders.QuadPart);
        geometry.tracksPerCylinder = dg.TracksPerCylinder;
        geometry.sectorsPerTrack = dg.SectorsPerTrack;
        geometry.bytesPerSector = dg.BytesPerSector;
        return true;
    }

    bool QueryLength(int64_t& byteLength) override {
        if (mImageFile) {
            LARGE_INTEGER size{};
            if (!GetFileSizeEx(mHandle, &size)) return Fail("GetFileSizeEx");
            byteLength = size.QuadPart;
            return true;
        }
        PARTITION_INFORMATION info{};
        DWORD returned = 0;
        if (!DeviceIoControl(mHandle, IOCTL_DISK_GET_PARTITION_INFO, NULL, 0, &info, sizeof info, &returned, NULL))
            return Fail("DeviceIoControl(IOCTL_DISK_GET_PARTITION_INFO)");
        byteLength = info.PartitionLength.QuadPart;
        return true;
    }

    bool Seek(uint64_t byteOffset) override {
        LONG high = LONG(byteOffset >> 32);
        SetLastError(NO_ERROR);
        const DWORD low = SetFilePointer(mHandle, LONG(byteOffset & 0xFFFFFFFFu), &high, FILE_BEGIN);
        // INVALID_SET_FILE_POINTER is also a valid low half; only a set error means failure.
        if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) return Fail("SetFilePointer");
        return true;
    }

    bool Read(void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        DWORD done = 0;
        const BOOL ok = ReadFile(mHandle, buffer, byteCount, &done, NULL);
        bytesDone = done;
        return ok ? true : Fail("ReadFile");
    }

    bool Write(const void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        DWORD done = 0;
        const BOOL ok = WriteFile(mHandle, buffer, byteCount, &done, NULL);
        bytesDone = done;
        return ok ? true : Fail("WriteFile");
    }

    // The Windows failure texts stand alone; the error number goes with the call name.
    std::string LastReason() const override { return {}; }
    std::string LastFailedCall() const override { return mCall + " error " + std::to_string(mError); }

private:
    bool Fail(const char* call) {
        mError = GetLastError();
        mCall = call;
        return false;
    }

    HANDLE mHandle;
    bool mImageFile;
    std::string mCall;
    DWORD mError = 0;
};

}  // namespace

std::unique_ptr<DiskDevice> DiskDevice::Open(const std::wstring& path, bool readOnly, std::string&) {
    const std::string narrow = Narrow(path);
    const DWORD access = readOnly ? GENERIC_READ : (GENERIC_READ | GENERIC_WRITE);
    HANDLE handle = CreateFileA(narrow.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_EXISTING, 0, NULL);
    if (handle == INVALID_HANDLE_VALUE) return nullptr;
    return std::make_unique<WinDiskDevice>(handle, !IsDevicePath(narrow));
}

void* DiskDevice::AllocateCache(size_t bytes) {
    return VirtualAlloc(NULL, bytes, MEM_COMMIT, PAGE_READWRITE);
}

bool DiskDevice::ReleaseCache(void* cache, size_t bytes) {
    return VirtualFree(cache, bytes, MEM_DECOMMIT) != 0;
}
