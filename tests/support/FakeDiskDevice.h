#pragma once
// An in-memory DiskDevice that counts what the provider asks of it: device
// reads, seeks and the byte ranges read. Every byte tells where it stands
// (PatternByte), so a wrong offset or a stale cache shows in the data.

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "SectorBuffer/Dev/DiskDevice.h"

class FakeDiskDevice : public DiskDevice {
public:
    struct Log {
        int reads = 0;
        int seeks = 0;
        std::vector<std::pair<uint64_t, uint32_t>> readRanges;  // byte offset, byte count
    };

    // A device of sectorCount sectors of bytesPerSector bytes; log outlives the device.
    FakeDiskDevice(uint32_t bytesPerSector, uint64_t sectorCount, Log& log)
        : mLog(log), mBytes(size_t(bytesPerSector * sectorCount)) {
        mGeometry.bytesPerSector = bytesPerSector;
        mGeometry.sectorsPerTrack = 63;
        mGeometry.tracksPerCylinder = 16;
        mGeometry.cylinders = sectorCount / (63 * 16);
        for (size_t i = 0; i < mBytes.size(); ++i) mBytes[i] = PatternByte(i, bytesPerSector);
    }

    static uint8_t PatternByte(uint64_t offset, uint32_t bytesPerSector) {
        return uint8_t(offset / bytesPerSector * 7 + offset % 251);
    }

    // Knobs for failure paths.
    bool imageFile = false;
    bool geometryFails = false;
    uint32_t geometryBytes = 24;
    bool lengthFails = false;
    bool seekFails = false;
    bool readFails = false;
    int64_t extraLength = 0;  // added to the reported length (a partial last sector)
    std::vector<uint8_t>& Bytes() { return mBytes; }

    bool IsImageFile() const override { return imageFile; }
    bool QueryGeometry(DiskDeviceGeometry& geometry, uint32_t& bytesReturned) override {
        if (geometryFails) return false;
        geometry = mGeometry;
        bytesReturned = geometryBytes;
        return true;
    }
    bool QueryLength(int64_t& byteLength) override {
        if (lengthFails) return false;
        byteLength = int64_t(mBytes.size()) + extraLength;
        return true;
    }
    bool Seek(uint64_t byteOffset) override {
        ++mLog.seeks;
        if (seekFails) return false;
        mPosition = byteOffset;
        return true;
    }
    bool Read(void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        ++mLog.reads;
        mLog.readRanges.emplace_back(mPosition, byteCount);
        if (readFails) return false;
        const uint64_t available = mPosition < mBytes.size() ? mBytes.size() - mPosition : 0;
        bytesDone = uint32_t(std::min<uint64_t>(byteCount, available));
        if (bytesDone != 0) std::memcpy(buffer, mBytes.data() + mPosition, bytesDone);
        mPosition += bytesDone;
        return true;
    }
    bool Write(const void* buffer, uint32_t byteCount, uint32_t& bytesDone) override {
        bytesDone = uint32_t(std::min<uint64_t>(byteCount, mBytes.size() - mPosition));
        std::memcpy(mBytes.data() + mPosition, buffer, bytesDone);
        mPosition += bytesDone;
        return true;
    }
    std::string LastReason() const override { return "fake reason"; }
    std::string LastFailedCall() const override { return "FakeCall: fake reason"; }

private:
    Log& mLog;
    std::vector<uint8_t> mBytes;
    DiskDeviceGeometry mGeometry;
    uint64_t mPosition = 0;
};
