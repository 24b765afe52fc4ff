#include "SectorBuffer/Dev/DiskSectorProvider.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "support/FakeDiskDevice.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"

namespace {

struct Rig {
    FakeDiskDevice* device;  // owned by provider
    std::unique_ptr<DiskSectorProvider> provider;

    Rig(uint32_t bytesPerSector, uint64_t sectors, const std::wstring& path = L"", uint32_t sectorSize = 0) {
        auto fake = std::make_unique<FakeDiskDevice>(bytesPerSector, sectors);
        device = fake.get();
        provider = std::make_unique<DiskSectorProvider>(std::move(fake), path, sectorSize);
    }

    // Reads through the provider and checks every byte against the device pattern.
    void ReadAndVerify(uint64_t first, uint64_t count) {
        const uint32_t bps = provider->GetBytesPerSector();
        std::vector<uint8_t> out(size_t(count * bps) + 1, 0xEE);
        provider->Read(first, count, out.data());
        for (uint64_t i = 0; i < count * bps; ++i)
            ASSERT_EQ(out[i], FakeDiskDevice::PatternByte(first * bps + i, bps)) << "byte " << i;
        ASSERT_EQ(out.back(), 0xEE) << "wrote past the requested sectors";
    }

    // Runs a script of reads ("FIRST+COUNT"), cache disables ("D") and enables
    // ("E"); returns the device reads it caused as "FIRST+COUNT" in sectors,
    // "@" marking one that needed a seek.
    std::string Run(const std::string& script) {
        std::istringstream in(script);
        for (std::string step; in >> step;) {
            if (step == "D" || step == "E") provider->DisableCache(step == "D");
            else ReadAndVerify(std::stoull(step), std::stoull(step.substr(step.find('+') + 1)));
        }
        std::string log;
        const uint32_t bps = provider->GetBytesPerSector();
        for (const FakeDiskDevice::DeviceRead& r : device->log.reads) {
            log += log.empty() ? "" : " ";
            log += r.afterSeek ? "@" : "";
            log += std::to_string(r.offset / bps) + "+" + std::to_string(r.bytes / bps);
        }
        return log;
    }
};

// Each line of the file: sector size, sector count, a script of reads, "=>", the device reads
// they cause; the expected reads are replaced by the actual ones and the file compared.
TEST(DiskSectorProvider, CacheFillsHitsAndSeeks) {
    std::string text;
    const std::string cases = golden::ReadFile(LAYSCAN_SOURCE_DIR "/tests/golden/disk-cache.txt");
    for (const std::string& line : golden::Lines(cases)) {
        const size_t arrow = line.find(" =>");
        if (line.starts_with("#") || arrow == std::string::npos) {
            text += line + "\n";
            continue;
        }
        std::istringstream in(line.substr(0, arrow));
        uint32_t bps = 0;
        uint64_t sectors = 0;
        std::string script;
        in >> bps >> sectors;
        std::getline(in >> std::ws, script);
        text += line.substr(0, arrow) + " => " + Rig(bps, sectors).Run(script) + "\n";
    }
    golden::ExpectMatches("disk-cache.txt", text);
}

TEST(DiskSectorProvider, MisuseAndDeviceFailuresNameTheProvider) {
    Rig rig(512, 1000);
    std::vector<uint8_t> buffer(4 * 512);
    for (auto [first, count] : {std::pair<uint64_t, uint64_t>{999, 2}, {1000, 1}, {UINT64_MAX, 2}, {1, UINT64_MAX}})
        EXPECT_EQ(FailureOf([&] { rig.provider->Read(first, count, buffer.data()); }),
                  "PRECONDITION DiskSectorProvider::Read: firstSector + sectorCount <= mSectorCount");
    EXPECT_EQ(FailureOf([&] { rig.provider->Read(0, 1, nullptr); }),
              "PRECONDITION DiskSectorProvider::Read: buffer != NULL");
    EXPECT_EQ(FailureOf([&] { rig.provider->DisableCache(false); }),
              "CHECK DiskSectorProvider::DisableCache: mCacheDisabledCount > 0");

    const struct {
        void (*arm)(FakeDiskDevice&);
        uint32_t sectorSize;  // given to the constructor
        const char* failure;  // of the construction, or else of reading sector 950
    } cases[] = {
        {[](FakeDiskDevice& d) { d.seekFails = true; }, 0,
         "CHECK DiskSectorProvider::Read: SetFilePointer returned an error. (fake reason)"},
        {[](FakeDiskDevice& d) { d.readFails = true; }, 0,
         "CHECK DiskSectorProvider::Read: ReadFile returned an error. (fake reason)"},
        {[](FakeDiskDevice& d) { d.geometryFails = true; }, 0, "Operating System API FakeCall: fake reason failed."},
        {[](FakeDiskDevice& d) { d.geometryBytes = 0; }, 0,
         "CHECK DiskSectorProvider::DiskSectorProvider: IOCTL_DISK_GET_DRIVE_GEOMETRY return 0 bytes."},
        {[](FakeDiskDevice& d) { d.lengthFails = true; }, 0,
         "CHECK DiskSectorProvider::InitSectorCount: IOCTL_DISK_GET_PARTITION_INFO call failed (fake reason)"},
        {[](FakeDiskDevice&) {}, 1000, "PRECONDITION DiskSectorProvider::DiskSectorProvider: "},
    };
    for (const auto& c : cases) {
        auto fake = std::make_unique<FakeDiskDevice>(512, 4096);
        c.arm(*fake);
        const std::string failure = FailureOf([&] {
            DiskSectorProvider provider(std::move(fake), L"", c.sectorSize);
            provider.Read(950, 1, buffer.data());
        });
        EXPECT_TRUE(failure.starts_with(c.failure)) << failure;
    }
}

TEST(DiskSectorProvider, AFailedFillLeavesNoStaleCache) {
    Rig rig(512, 4096);
    rig.device->Bytes().resize(1000 * 512);  // the device claims more than it holds
    std::vector<uint8_t> buffer(64 * 512);
    for (uint64_t first : {950, 990})  // a read-ahead, and a direct read of 33 sectors
        EXPECT_EQ(FailureOf([&] { rig.provider->Read(first, first == 950 ? 1 : 33, buffer.data()); }),
                  "CHECK DiskSectorProvider::Read: ReadFile returned an error. (fake reason)");
    rig.device->Bytes().resize(4096 * 512);
    for (uint64_t i = 0; i < rig.device->Bytes().size(); ++i)
        rig.device->Bytes()[i] = FakeDiskDevice::PatternByte(i, 512);
    rig.ReadAndVerify(950, 1);  // the failed fill did not leave a cache claiming 950
}

TEST(DiskSectorProvider, DeviceSizeAndGeometry) {
    // A physical drive counts its whole length; a volume path its geometry product.
    Rig drive(512, 5000);
    drive.device->extraLength = 300;  // a partial sector is dropped
    const DiskSectorProvider& p = *drive.provider;
    EXPECT_EQ(std::vector<uint64_t>({p.GetSectorCount(), p.GetBytesPerSector(), p.GetSectorsPerTrack(),
                                     p.GetTracksPerCylinder(), p.GetCylinders(), p.IsImageFile()}),
              std::vector<uint64_t>({5000, 512, 63, 16, 4, false}));
    auto fake = std::make_unique<FakeDiskDevice>(512, 5000);
    fake->lengthFails = true;  // never asked
    EXPECT_EQ(DiskSectorProvider(std::move(fake), L"\\\\.\\C:").GetSectorCount(), 63u * 16 * 4);
    Rig overridden(512, 5000, L"", 4096);
    EXPECT_EQ(overridden.provider->GetBytesPerSector(), 4096u);
    EXPECT_EQ(overridden.provider->GetSectorCount(), 5000u / 8);
}

TEST(DiskSectorProvider, WriteStaysInsideTheDeviceAndDropsTheCache) {
    Rig rig(512, 4096);
    rig.ReadAndVerify(10, 1);  // caches 10..137
    std::vector<uint8_t> sector(512, 0xA5), back(512);
    rig.provider->Write(20, 1, sector.data());
    rig.provider->Read(20, 1, back.data());
    EXPECT_EQ(back, sector);
    EXPECT_THROW(rig.provider->Write(4096, 1, sector.data()), PreconditionFailure);
    EXPECT_THROW(rig.provider->Write(4095, 2, sector.data()), PreconditionFailure);
    EXPECT_THROW(rig.provider->Write(0, 1, nullptr), PreconditionFailure);
}

}  // namespace
