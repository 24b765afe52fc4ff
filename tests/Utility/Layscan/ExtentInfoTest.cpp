#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Utility/Layscan/DiskInfo.h"
#include "Utility/Layscan/ExtentInfo.h"
#include "Utility/Layscan/ReportStream.h"

namespace {

std::wstring Dump(const ExtentList& volumes) {
    ReportStream out;
    std::wstringbuf text;
    out.rdbuf(&text);
    DumpVolumesReportedByOs(volumes, out);
    return text.str();
}

const std::wstring rule138 = std::wstring(138, L'=') + L"\n";
const std::wstring sectionHead =
    L"\n\nVolumes Reported by OS\n" + rule138 + L"Volume Path            (Volume GUID)\n" +
    L"    Disk #              Offset in Bytes               Size in Bytes             Starting Sector"
    L"               Ending Sector      Size\n" +
    rule138;

const wchar_t* const guidA = L"\\\\?\\Volume{0a0a0a0a-0000-0000-0000-00000000000a}\\";
const wchar_t* const guidB = L"\\\\?\\Volume{0b0b0b0b-0000-0000-0000-00000000000b}\\";
const wchar_t* const guidC = L"\\\\?\\Volume{0c0c0c0c-0000-0000-0000-00000000000c}\\";

// Volume A on disk 0; volume B spanning disks 0 and 1 (different sector sizes);
// volume C on disk 1 with two mount points and no sector size set.
ExtentList SampleVolumes() {
    return {
        {0, 1048576, 104857600, guidA, L"C:\\", 512},
        {0, 105906176, 2147483648ull, guidB, L"", 512},
        {1, 1048576, 1073741824ull, guidB, L"", 4096},
        {1, 1074790400ull, 5368709120ull, guidC, L"D:\\ E:\\Data\\", 0},
    };
}

}  // namespace

TEST(DumpVolumesReportedByOs, VolumeSpanningTwoDisks) {
    const std::wstring expected =
        sectionHead +
        L"\n"
        L"\n"
        L"C:\\       (" + guidA + L")\n"
        L"    Disk #  0                 1,048,576                 104,857,600"
        L"                       2,048                     206,847     100.0 MB\n"
        L"\n"
        L"No path name found       (" + guidB + L")\n"
        L"    Disk #  0               105,906,176               2,147,483,648"
        L"                     206,848                   4,401,151     2.0 GB\n"
        L"\n"  // the disk changes, the volume does not: no volume line
        L"    Disk #  1                 1,048,576               1,073,741,824"
        L"                         256                     262,399     1.0 GB\n"
        L"\n"
        L"D:\\ E:\\Data\\       (" + guidC + L")\n"
        L"    Disk #  1             1,074,790,400               5,368,709,120"
        L"                   2,099,200                  12,584,959     5.0 GB\n";
    EXPECT_EQ(Dump(SampleVolumes()), expected);
}

TEST(DumpVolumesReportedByOs, WideDiskNumbersAndHugeValuesKeepTheirColumns) {
    // A three-digit disk number fills its field; a 20-digit count with its six
    // separators exactly fills 26 characters.
    const ExtentList volumes = {{127, 0, 18446744073709551615ull, guidA, L"F:\\", 1}};
    const std::wstring text = Dump(volumes);
    EXPECT_EQ(text, sectionHead + L"\n\nF:\\       (" + guidA + L")\n" +
                        L"    Disk #127                         0  18,446,744,073,709,551,615"
                        L"                           0  18,446,744,073,709,551,614     16.0 EB\n");
}

TEST(DumpVolumesReportedByOs, LeavesTheStreamFormattingAlone) {
    ReportStream out;
    std::wstringbuf text;
    out.rdbuf(&text);
    DumpVolumesReportedByOs(SampleVolumes(), out);
    const size_t before = text.str().size();
    out << 42;
    EXPECT_EQ(text.str().substr(before), L"42");
}

TEST(VolumeTextForExtent, MatchesExactlyTheByteRangeOnThisDisk) {
    const DiskInfo disk0 = DiskInfo::Make(0, 512, SampleVolumes());
    const DiskInfo disk1 = DiskInfo::Make(1, 4096, SampleVolumes());
    const struct {
        const DiskInfo& disk;
        uint64_t start;
        uint64_t length;
        std::wstring expected;
    } cases[] = {
        {disk0, 1048576, 104857600, L"C:\\"},
        {disk0, 105906176, 2147483648ull, guidB},  // no mount point: the GUID path
        {disk1, 1048576, 1073741824ull, guidB},
        {disk1, 1074790400ull, 5368709120ull, L"D:\\ E:\\Data\\"},
        {disk0, 1048576, 104857600 - 512, L""},  // same start, other length
        {disk0, 1048576 + 512, 104857600, L""},  // same length, other start
        {disk1, 1048576, 104857600, L""},        // volume A's range, but on the other disk
        {DiskInfo::Make(2, 512, SampleVolumes()), 1048576, 104857600, L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VolumeTextForExtent(c.disk, c.start, c.length), c.expected)
            << c.disk.diskNumber << " " << c.start << " " << c.length;
}
