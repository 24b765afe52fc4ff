// The volumes the system reports, as the report lists them
// (tests/golden/volumes-reported-by-os.txt), and their match with partitions.

#include <gtest/gtest.h>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/ExtentInfo.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumesReportedByOs.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"

using nsLayout::DiskInfo;
using nsLayout::ExtentList;
using nsLayout::VolumeTextForExtent;

namespace {

const wchar_t* const guidA = L"\\\\?\\Volume{0a0a0a0a-0000-0000-0000-00000000000a}\\";
const wchar_t* const guidB = L"\\\\?\\Volume{0b0b0b0b-0000-0000-0000-00000000000b}\\";
const wchar_t* const guidC = L"\\\\?\\Volume{0c0c0c0c-0000-0000-0000-00000000000c}\\";

// Volume A on disk 0; volume B spanning disks 0 and 1 (different sector sizes);
// volume C on disk 1 with two mount points and no sector size set.
const ExtentList kVolumes = {
    {0, 1048576, 104857600, guidA, L"C:\\", 512},
    {0, 105906176, 2147483648ull, guidB, L"", 512},
    {1, 1048576, 1073741824ull, guidB, L"", 4096},
    {1, 1074790400ull, 5368709120ull, guidC, L"D:\\ E:\\Data\\", 0},
};

TEST(DumpVolumesReportedByOs, ColumnsOfSpanningVolumesWideNumbersAndHugeValues) {
    CapturedReport report;
    ReportStream& out = report.Stream();
    DumpVolumesReportedByOs(kVolumes, out);
    // A three-digit disk number fills its field; a 20-digit count with its six
    // separators exactly fills 26 characters.
    DumpVolumesReportedByOs({{127, 0, 18446744073709551615ull, guidA, L"F:\\", 1}}, out);
    out << 42;  // the stream's formatting is left alone
    golden::ExpectMatches("volumes-reported-by-os.txt", report.Narrow());
}

TEST(VolumeTextForExtent, MatchesExactlyTheByteRangeOnThisDisk) {
    const DiskInfo disk0 = DiskInfo::Make(0, 512, kVolumes), disk1 = DiskInfo::Make(1, 4096, kVolumes);
    const struct {
        const DiskInfo& disk;
        uint64_t start, length;
        std::wstring expected;
    } cases[] = {
        {disk0, 1048576, 104857600, L"C:\\"},
        {disk0, 105906176, 2147483648ull, guidB},  // no mount point: the GUID path
        {disk1, 1048576, 1073741824ull, guidB},
        {disk1, 1074790400ull, 5368709120ull, L"D:\\ E:\\Data\\"},
        {disk0, 1048576, 104857600 - 512, L""},  // same start, other length
        {disk0, 1048576 + 512, 104857600, L""},  // same length, other start
        {disk1, 1048576, 104857600, L""},        // volume A's range, but on the other disk
        {DiskInfo::Make(2, 512, kVolumes), 1048576, 104857600, L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VolumeTextForExtent(c.disk, c.start, c.length), c.expected) << c.disk.diskNumber << " " << c.start;
}

}  // namespace
