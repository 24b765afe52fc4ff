#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "support/FakeDiskDevice.h"
#include "support/Failure.h"

namespace {

struct Rig {
    FakeDiskDevice::Log log;
    FakeDiskDevice* device = nullptr;  // owned by provider
    std::unique_ptr<DiskSectorProvider> provider;

    Rig(uint32_t bytesPerSector, uint64_t sectors, bool image = false, const std::wstring& path = L"",
        uint32_t sectorSizeOverride = 0) {
        auto fake = std::make_unique<FakeDiskDevice>(bytesPerSector, sectors, log);
        fake->imageFile = image;
        device = fake.get();
        provider = std::make_unique<DiskSectorProvider>(std::move(fake), path, sectorSizeOverride);
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
};

}  // namespace

TEST(DiskSectorProvider, QuarterSpanDecidesWhetherAReadFillsTheCache) {
    const struct {
        uint32_t bps;
        uint64_t count;
        bool fills;
    } cases[] = {{512, 1, true}, {512, 32, true}, {512, 33, false}, {4096, 4, true}, {4096, 5, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.bps) + " x " + std::to_string(c.count));
        Rig rig(c.bps, 1000);
        const uint32_t span = DiskSectorProvider::kCacheBytes / c.bps;
        rig.ReadAndVerify(10, c.count);
        ASSERT_EQ(rig.log.reads, 1);
        EXPECT_EQ(rig.log.readRanges[0].second, c.fills ? DiskSectorProvider::kCacheBytes : c.count * c.bps);
        // The last sector of the span is in the cache only when it was filled.
        rig.ReadAndVerify(10 + span - 1, 1);
        EXPECT_EQ(rig.log.reads, c.fills ? 1 : 2);
    }
}

TEST(DiskSectorProvider, HitOnlyWhenTheWholeRequestLiesInTheCachedSpan) {
    const struct {
        uint64_t first, count;
        bool hit;
    } cases[] = {
        {100, 1, true},  {227, 1, true},   {200, 28, true}, {150, 32, true},
        {200, 29, false},  // starts inside, ends one sector beyond
        {228, 1, false},   {99, 1, false}, {99, 2, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.first) + "+" + std::to_string(c.count));
        Rig rig(512, 4096);
        rig.ReadAndVerify(100, 1);  // fills sectors 100..227
        rig.ReadAndVerify(c.first, c.count);
        EXPECT_EQ(rig.log.reads, c.hit ? 1 : 2);
    }
}

TEST(DiskSectorProvider, NoReadAheadThatWouldReachTheLastSector) {
    Rig rig(512, 1000);
    rig.ReadAndVerify(1000 - 128, 1);
    ASSERT_EQ(rig.log.reads, 1);
    EXPECT_EQ(rig.log.readRanges[0].second, 512u);
    rig.ReadAndVerify(1000 - 128, 1);
    EXPECT_EQ(rig.log.reads, 2);  // nothing was cached

    Rig before(512, 1000);
    before.ReadAndVerify(1000 - 129, 1);
    EXPECT_EQ(before.log.readRanges[0].second, DiskSectorProvider::kCacheBytes);
}

TEST(DiskSectorProvider, ReadsUpToTheLastSectorButNotBeyond) {
    Rig rig(512, 1000);
    rig.ReadAndVerify(999, 1);
    rig.ReadAndVerify(990, 10);
    std::vector<uint8_t> buffer(4 * 512);
    for (auto [first, count] : {std::pair<uint64_t, uint64_t>{999, 2}, {1000, 1}, {UINT64_MAX, 2}, {1, UINT64_MAX}})
        EXPECT_EQ(FailureOf([&] { rig.provider->Read(first, count, buffer.data()); }),
                  "PRECONDITION DiskSectorProvider::Read: firstSector + sectorCount <= mSectorCount");
    EXPECT_EQ(FailureOf([&] { rig.provider->Read(0, 1, nullptr); }),
              "PRECONDITION DiskSectorProvider::Read: buffer != NULL");
}

TEST(DiskSectorProvider, DisabledCacheSendsEveryReadToTheDeviceAndNests) {
    Rig rig(512, 4096);
    rig.provider->DisableCache(true);
    rig.provider->DisableCache(true);
    rig.ReadAndVerify(10, 1);
    rig.ReadAndVerify(10, 1);
    EXPECT_EQ(rig.log.reads, 2);
    EXPECT_EQ(rig.log.readRanges[1].second, 512u);
    rig.provider->DisableCache(false);
    rig.ReadAndVerify(10, 1);
    EXPECT_EQ(rig.log.reads, 3);  // still disabled once
    rig.provider->DisableCache(false);
    rig.ReadAndVerify(10, 1);
    rig.ReadAndVerify(11, 1);
    EXPECT_EQ(rig.log.reads, 4);  // filled, then a hit

    EXPECT_EQ(FailureOf([&] { rig.provider->DisableCache(false); }),
              "CHECK DiskSectorProvider::DisableCache: mCacheDisabledCount > 0");
}

TEST(DiskSectorProvider, SequentialDeviceReadsSkipTheSeek) {
    Rig rig(512, 4096);
    rig.ReadAndVerify(0, 33);  // the device starts at sector 0
    rig.ReadAndVerify(33, 40);
    EXPECT_EQ(rig.log.seeks, 0);
    rig.ReadAndVerify(200, 1);  // fills 200..327
    EXPECT_EQ(rig.log.seeks, 1);
    rig.ReadAndVerify(250, 1);  // a hit moves nothing
    rig.ReadAndVerify(328, 33);
    EXPECT_EQ(rig.log.seeks, 1);
    rig.ReadAndVerify(100, 33);
    EXPECT_EQ(rig.log.seeks, 2);
    EXPECT_EQ(rig.log.readRanges.back().first, 100u * 512);
}

TEST(DiskSectorProvider, DeviceFailuresBecomeChecksNamingTheProvider) {
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
        FakeDiskDevice::Log log;
        auto fake = std::make_unique<FakeDiskDevice>(512, 4096, log);
        c.arm(*fake);
        std::vector<uint8_t> buffer(512);
        const std::string failure = FailureOf([&] {
            DiskSectorProvider provider(std::move(fake), L"", c.sectorSize);
            provider.Read(950, 1, buffer.data());
        });
        EXPECT_TRUE(failure.starts_with(c.failure)) << failure;
    }
    try {
        FakeDiskDevice::Log log;
        auto fake = std::make_unique<FakeDiskDevice>(512, 4096, log);
        fake->geometryFails = true;
        DiskSectorProvider provider(std::move(fake), L"");
    } catch (const Result& r) {
        EXPECT_EQ(r.Code(), ERROR_SYSTEM_API_CALL_FAILED);
        EXPECT_EQ(r.Function(), "DiskSectorProvider::DiskSectorProvider");
    }
}

TEST(DiskSectorProvider, AFailedFillLeavesNoStaleCache) {
    Rig rig(512, 4096);
    rig.device->Bytes().resize(1000 * 512);  // the device claims more than it holds
    std::vector<uint8_t> buffer(512);
    EXPECT_EQ(FailureOf([&] { rig.provider->Read(950, 1, buffer.data()); }),
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
    EXPECT_EQ(drive.provider->GetSectorCount(), 5000u);
    EXPECT_EQ(drive.provider->GetBytesPerSector(), 512u);
    EXPECT_EQ(drive.provider->GetSectorsPerTrack(), 63u);
    EXPECT_EQ(drive.provider->GetTracksPerCylinder(), 16u);
    EXPECT_EQ(drive.provider->GetCylinders(), 4u);
    EXPECT_FALSE(drive.provider->IsImageFile());

    FakeDiskDevice::Log log;
    auto fake = std::make_unique<FakeDiskDevice>(512, 5000, log);
    fake->lengthFails = true;  // never asked
    DiskSectorProvider volume(std::move(fake), L"\\\\.\\C:");
    EXPECT_EQ(volume.GetSectorCount(), 63u * 16 * 4);

    Rig overridden(512, 5000, false, L"", 4096);
    EXPECT_EQ(overridden.provider->GetBytesPerSector(), 4096u);
    EXPECT_EQ(overridden.provider->GetSectorCount(), 5000u / 8);
}

TEST(DiskSectorProvider, ImageSectorSizeFollowsTheGptSignature) {
    const struct {
        bool at512, at4096;
        uint32_t override;
        uint32_t expected;
    } cases[] = {{false, true, 0, 4096}, {false, true, 512, 512}, {true, false, 32768, 32768}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.at512) + std::to_string(c.at4096) + " " + std::to_string(c.override));
        FakeDiskDevice::Log log;
        auto fake = std::make_unique<FakeDiskDevice>(512, 1024, log);
        fake->imageFile = true;
        fake->extraLength = 100;
        if (c.at512) std::memcpy(fake->Bytes().data() + 512, "EFI PART", 8);
        if (c.at4096) std::memcpy(fake->Bytes().data() + 4096, "EFI PART", 8);
        FakeDiskDevice& device = *fake;
        DiskSectorProvider provider(std::move(fake), L"disk.img", c.override);
        EXPECT_TRUE(provider.IsImageFile());
        EXPECT_EQ(provider.GetBytesPerSector(), c.expected);
        EXPECT_EQ(provider.GetSectorCount(), (1024u * 512) / c.expected);
        // The guess left the device at byte 0, where the provider believes it is.
        std::vector<uint8_t> first(c.expected);
        const int seeks = log.seeks;
        provider.Read(0, 1, first.data());
        EXPECT_EQ(log.seeks, seeks);
        EXPECT_EQ(first[1], device.Bytes()[1]);
    }
}

TEST(DiskSectorProvider, WriteStaysInsideTheDeviceAndDropsTheCache) {
    Rig rig(512, 4096);
    rig.ReadAndVerify(10, 1);  // caches 10..137
    std::vector<uint8_t> sector(512, 0xA5);
    rig.provider->Write(20, 1, sector.data());
    std::vector<uint8_t> back(512);
    rig.provider->Read(20, 1, back.data());
    EXPECT_EQ(back, sector);
    EXPECT_THROW(rig.provider->Write(4096, 1, sector.data()), PreconditionFailure);
    EXPECT_THROW(rig.provider->Write(4095, 2, sector.data()), PreconditionFailure);
    EXPECT_THROW(rig.provider->Write(0, 1, nullptr), PreconditionFailure);
}
