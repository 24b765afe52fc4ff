// A disk's report reads each sector it needs from an image once, and only
// those: the model reads, the sections write from what it read.

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "Utility/Layscan/Layscan.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "support/CapturedReport.h"
#include "support/FakeDiskDevice.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/MbrImage.h"

// Each row of tests/golden/read-once.txt: mbr or gpt | a disk in that notation | the
// sectors its report reads, as FIRST or FIRST-LAST in order.
TEST(ReadOnce, EachNeededSectorOnceAndNoOther) {
    for (const auto& row : golden::Rows("read-once.txt")) {
        SCOPED_TRACE(row[1]);
        std::vector<uint8_t> image = row[0] == "gpt" ? gpttest::Build(row[1]).bytes : std::vector<uint8_t>();
        if (row[0] == "mbr") {
            mbrimage::Disk disk = mbrimage::Build(row[1]);
            image.resize(disk.Provider().GetSectorCount() * 512);
            disk.Provider().Read(0, disk.Provider().GetSectorCount(), image.data());
        }
        auto device = std::make_unique<FakeDiskDevice>(image);
        FakeDiskDevice& log = *device;
        DiskSectorProvider provider(std::move(device));
        log.log.reads.clear();  // the sector-size guess of the image file
        CapturedReport captured;
        Layscan::ReportDisk(provider, nsLayout::DiskInfo::Make(0, 512, {}), captured.Stream());
        std::map<uint64_t, int> reads;
        for (const FakeDiskDevice::DeviceRead& r : log.log.reads)
            for (uint64_t sector = r.offset / 512; sector < (r.offset + r.bytes + 511) / 512; ++sector) ++reads[sector];
        std::string ranges;
        for (auto it = reads.begin(); it != reads.end(); ++it) {
            EXPECT_EQ(it->second, 1) << "sector " << it->first;
            const auto next = std::next(it);
            // Appended piece by piece: GCC 12 warns falsely (-Wrestrict) on " " + string.
            const std::string sector = std::to_string(it->first);
            if (it == reads.begin() || std::prev(it)->first + 1 < it->first) ranges.append(" ").append(sector);
            else if (next == reads.end() || next->first > it->first + 1) ranges.append("-").append(sector);
        }
        EXPECT_EQ(ranges, " " + row[2]);
    }
}
