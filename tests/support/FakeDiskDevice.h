#pragma once
// An in-memory DiskDevice that logs what the provider asks of it (seeks and
// reads), with knobs for every failure path. A drive made by sector count
// holds PatternByte everywhere, so a wrong offset or a stale cache shows in
// the data; one made from bytes is an image file of them.

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "SectorBuffer/Dev/DiskDevice.h"

class FakeDiskDevice : public DiskDevice {
public:
    struct DeviceRead {
        bool afterSeek;
        uint64_t offset;  // in bytes
        uint32_t bytes;
    };
    struct Log {
        bool seeked = false;
        std::vector<DeviceRead> reads;
    };

    explicit FakeDiskDevice(std::vector<uint8_t> image)
        : imageFile(true), geometryFails(true), mBytes(std::move(image)) {}
    FakeDiskDevice(uint32_t bytesPerSector, uint64_t sectorCount) : mBytes(size_t(bytesPerSector * sectorCount)) {
        mGeometry = {sectorCount / (63 * 16), 16, 63, bytesPerSector};
        for (size_t i = 0; i < mBytes.size(); ++i) mBytes[i] = PatternByte(i, bytesPerSector);
    }
    static uint8_t PatternByte(uint64_t offset, uint32_t bytesPerSector) {
        return uint8_t(offset / bytesPerSector * 7 + offset % 251);
    }

    Log log;
    bool imageFile = false, geometryFails = false, lengthFails = false, seekFails = false, readFails = false;
    uint32_t geometryBytes = 24;
    int64_t extraLength = 0;  // added to the reported length (a partial last sector)
    std::vector<uint8_t>& Bytes() { return mBytes; }

    bool IsImageFile() const override { return imageFile; }
    bool QueryGeometry(DiskDeviceGeometry& geometry, uint32_t& bytesReturned) override {
        geometry = mGeometry;
        bytesReturned = geometryBytes;
        return !geometryFails;
    }
    bool QueryLength(int64_t& byteLength) override {
        byteLength = int64_t(mBytes.size()) + extraLength;
        return !lengthFails;
    }
    bool Seek(uint64_t byteOffset) override {
        log.seeked = true;
        if (!seekFails) mPosition = byteOffset;
        return !seekFails;
    }
    bool Read(void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        log.reads.push_back({std::exchange(log.seeked, false), mPosition, byteCount});
        const uint64_t available = mPosition < mBytes.size() ? mBytes.size() - mPosition : 0;
        bytesDone = readFails ? 0 : uint32_t(std::min<uint64_t>(byteCount, available));
        if (bytesDone != 0) std::memcpy(buffer, mBytes.data() + mPosition, bytesDone);
        mPosition += bytesDone;
        return !readFails;
    }
    bool Write(const void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        log.seeked = false;  // the seek was the write's
        const uint64_t room = mPosition < mBytes.size() ? mBytes.size() - mPosition : 0;
        bytesDone = uint32_t(std::min<uint64_t>(byteCount, room));
        if (bytesDone != 0) std::memcpy(mBytes.data() + mPosition, buffer, bytesDone);
        mPosition += bytesDone;
        return true;
    }
    std::string LastReason() const override { return "fake reason"; }
    std::string LastFailedCall() const override { return "FakeCall: fake reason"; }

private:
    std::vector<uint8_t> mBytes;
    DiskDeviceGeometry mGeometry;
    uint64_t mPosition = 0;
};
