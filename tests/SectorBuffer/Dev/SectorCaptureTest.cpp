// A capture must answer a report as the disk did: the bytes first read of every sector the report read,
// and a failed read where the disk failed (that a report from the file is the disk's, -save's tests show).

#include "SectorBuffer/Dev/SectorCapture.h"

#include <gtest/gtest.h>

#include "SectorBuffer/Dev/SectorFile.h"
#include "support/Failure.h"
#include "support/SparseSectorProvider.h"
#include "support/ScratchFolder.h"

namespace {

// A disk whose reads of any range that holds badSector fail as a device's do.
class FailingDisk : public SparseSectorProvider {
public:
    FailingDisk(const std::vector<uint8_t>& bytes, uint64_t badSector)
        : SparseSectorProvider(bytes, 512), mBad(badSector) {}
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override {
        if (mBad >= firstSector && mBad - firstSector < sectorCount)
            throw Result(SECTORBUFFER_ERROR_DEVICE_READ_FAILED,
                         {L"disk", std::to_wstring(firstSector), std::to_wstring(sectorCount)}, "FailingDisk::Read");
        SparseSectorProvider::Read(firstSector, sectorCount, buffer);
    }

private:
    uint64_t mBad;
};

// Reads of the head, a run, the bad sector alone and a pair; then the disk changes under the pair, which is
// read again.
TEST(SectorCapture, KeepsFirstReadsTheHeadTheTailAndTheFailures) {
    ScratchFolder folder("layscan_capture");
    const std::string path = folder.File("capture.sf");
    std::vector<uint8_t> image(4096 * 512), sector(4 * 512);
    for (size_t i = 0; i < image.size(); ++i) image[i] = uint8_t(i / 512 * 7 + i % 251);
    // No failure, the first sector, one in the middle, the last (read only for the capture).
    for (const uint64_t bad : {UINT64_MAX, uint64_t{0}, uint64_t{2054}, uint64_t{4095}}) {
        SCOPED_TRACE(bad);
        auto disk = std::make_shared<FailingDisk>(image, bad);
        SectorCapture capture(disk, Widen(path));
        for (auto [first, count] : {std::pair<uint64_t, uint64_t>{0, 1}, {2050, 4}, {2054, 1}, {1000, 2}})
            (void)FailureOf([&] { capture.Read(first, count, sector.data()); });
        disk->Sector(1000)[0] ^= 0xFF;
        capture.Read(1000, 2, sector.data());
        capture.Finish();
        SectorFile file(Widen(path), true);
        EXPECT_EQ(file.GetSectorCount(), 4096u);
        EXPECT_EQ(file.GetBadSectors(), bad < 4096 ? std::vector<uint64_t>{bad} : std::vector<uint64_t>{});
        // What was read first, and the head and the tail whatever was read; a bad sector fails as on the disk.
        for (uint64_t s : {0, 1, 33, 1000, 1001, 2050, 2054, 4096 - 33, 4095}) {
            const std::string failure = FailureOf([&] { file.Read(s, 1, sector.data()); });
            if (s == bad) EXPECT_NE(failure.find("cannot read 1 sectors"), std::string::npos) << failure;
            else EXPECT_TRUE(failure.empty() && std::equal(sector.begin(), sector.begin() + 512, &image[s * 512])) << s;
        }
    }
}

// A 64 KiB sector does not fit a compressed record: such a disk is kept raw.
TEST(SectorCapture, SectorsTooLargeForARecordAreKeptRaw) {
    ScratchFolder folder("layscan_capture_raw");
    std::vector<uint8_t> image(80u << 16), sector(1u << 16);
    for (size_t i = 0; i < image.size(); ++i) image[i] = uint8_t(i * 7 / 3);
    SectorCapture capture(std::make_shared<SparseSectorProvider>(image, 1u << 16), Widen(folder.File("raw.sf")));
    capture.Read(40, 1, sector.data());
    capture.Finish();
    SectorFile file(Widen(folder.File("raw.sf")), true);
    EXPECT_FALSE(file.GetHeader().IsCompressed());
    file.Read(40, 1, sector.data());
    EXPECT_TRUE(std::equal(sector.begin(), sector.end(), image.begin() + (40u << 16)));
}

}  // namespace
