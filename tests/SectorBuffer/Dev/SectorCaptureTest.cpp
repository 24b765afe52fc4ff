// A capture must answer a report as the disk did: the same bytes for every
// sector the report read, and a failed read where the disk failed, so that a
// report from the file ends at the same place with the same text.

#include "SectorBuffer/Dev/SectorCapture.h"

#include <gtest/gtest.h>

#include "SectorBuffer/Dev/SectorFile.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "support/CapturedReport.h"
#include "support/FileBytes.h"
#include "support/HostileDisks.h"
#include "support/MemorySectorProvider.h"
#include "support/ScratchFolder.h"

namespace {

// A disk whose reads of any range that holds badSector fail as a device's do.
class FailingDisk : public MemorySectorProvider {
public:
    FailingDisk(std::vector<uint8_t> bytes, uint64_t badSector)
        : MemorySectorProvider(std::move(bytes), 512), mBad(badSector) {}
    void Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) override {
        if (mBad >= firstSector && mBad - firstSector < sectorCount)
            throw Result(SECTORBUFFER_ERROR_DEVICE_READ_FAILED,
                         {L"disk", std::to_wstring(firstSector), std::to_wstring(sectorCount)}, "FailingDisk::Read");
        MemorySectorProvider::Read(firstSector, sectorCount, buffer);
    }

private:
    uint64_t mBad;
};

// The report's text, and how it ended apart from the failing source's name.
std::pair<std::string, std::string> Split(const std::string& report) {
    const size_t at = report.find("[the disk's report ends: ");
    if (at == std::string::npos) return {report, ""};
    const std::string failure = report.substr(at);
    return {report.substr(0, at), failure.substr(0, failure.find("Device ")) + "Device ..." +
                                      failure.substr(failure.find(" cannot read"))};
}

TEST(SectorCapture, ReportFromTheFileIsTheDisksUpToItsFailure) {
    ScratchFolder folder("layscan_capture");
    const std::string chain = folder.File("chain.img");
    hostile::WriteChain(chain, 6);
    std::vector<uint8_t> image = ReadFileBytes(chain);
    image.resize(4096 * 512);  // room behind the chain that the report never reads
    const uint64_t sectors = image.size() / 512;
    // No failure, the MBR, the fourth EPBR, the last sector (read only for the capture).
    for (const uint64_t badSector : {UINT64_MAX, uint64_t{0}, uint64_t{2048 + 2 * 3}, sectors - 1}) {
        SCOPED_TRACE(badSector);
        const std::string path = folder.File("capture.sf");
        auto disk = std::make_shared<FailingDisk>(image, badSector);
        auto capture = std::make_shared<SectorCapture>(disk, Widen(path));
        const auto fromDisk = Split(ReportOf(*capture, DiskInfo::Make(0, 512, {})));
        capture->Finish();
        SectorFile file(Widen(path), true);
        EXPECT_EQ(file.GetSectorCount(), sectors);
        const auto fromFile = Split(ReportOf(file, DiskInfo::Make(0, 512, {})));
        EXPECT_EQ(fromFile, fromDisk);
        // The report itself never reads the last sector of this disk.
        EXPECT_EQ(fromDisk.second.empty(), badSector >= sectors - 1) << fromDisk.second;

        // The head and the tail are kept whatever the report read; a failed
        // sector is listed bad and reads fail on it as on the disk.
        std::vector<uint8_t> sector(512);
        for (uint64_t s : {uint64_t{1}, uint64_t{33}, sectors - 33, sectors - 1}) {
            if (s == badSector) {
                EXPECT_NE(FailureOf([&] { file.Read(s, 1, sector.data()); }).find("cannot read 1 sectors"),
                          std::string::npos);
                continue;
            }
            file.Read(s, 1, sector.data());
            EXPECT_TRUE(std::equal(sector.begin(), sector.end(), image.begin() + s * 512)) << "sector " << s;
        }
        EXPECT_EQ(file.GetBadSectors(), badSector < sectors ? std::vector<uint64_t>{badSector}
                                                              : std::vector<uint64_t>{});
    }
}

// A 64 KiB sector does not fit a compressed record: such a disk is kept raw.
TEST(SectorCapture, SectorsTooLargeForARecordAreKeptRaw) {
    ScratchFolder folder("layscan_capture_raw");
    std::vector<uint8_t> image(80u << 16), sector(1u << 16);
    for (size_t i = 0; i < image.size(); ++i) image[i] = uint8_t(i * 7 / 3);
    SectorCapture capture(std::make_shared<MemorySectorProvider>(image, 1u << 16), Widen(folder.File("raw.sf")));
    capture.Read(40, 1, sector.data());
    capture.Finish();
    SectorFile file(Widen(folder.File("raw.sf")), true);
    EXPECT_FALSE(file.GetHeader().IsCompressed());
    file.Read(40, 1, sector.data());
    EXPECT_TRUE(std::equal(sector.begin(), sector.end(), image.begin() + (40u << 16)));
}

}  // namespace
