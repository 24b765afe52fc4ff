#include "Utility/Layscan/Report/VolumesReportedByOs.h"

#include <iomanip>
#include <sstream>

#include "Utility/Layscan/Report/ReportPrimitives.h"
#include "Utility/Layscan/Report/ReportStream.h"

using nsLayout::ExtentInfo;
using nsLayout::ExtentList;

namespace {

const std::wstring volumesRule = std::wstring(138, L'=') + L"\n";
// Extents the system reports without a sector size are counted in the
// classic 512-byte sectors rather than divided by zero.
constexpr uint32_t fallbackSectorSize = 512;

// A decimal column of 26, with thousands separators taking the place of blanks.
std::wstring CountColumn(uint64_t value) {
    std::wostringstream field;
    field << std::setw(26) << value;
    return AddThousandsSeparators(field.str(), true) + L"  ";
}

}  // namespace

void DumpVolumesReportedByOs(const ExtentList& volumes, ReportStream& out) {
    out << L"\n\n";
    if (volumes.empty()) {
        out << L"No volumes reported by OS\n";
        return;
    }
    out << L"Volumes Reported by OS\n" << volumesRule << L"Volume Path            (Volume GUID)\n"
        << L"    Disk #              Offset in Bytes               Size in Bytes             Starting Sector"
           L"               Ending Sector      Size\n"
        << volumesRule;

    const ExtentInfo* previous = nullptr;
    for (const ExtentInfo& extent : volumes) {
        if (!previous || extent.diskNumber != previous->diskNumber) out << L"\n";
        if (!previous || extent.volumeGuidPath != previous->volumeGuidPath)
            out << L"\n" << (extent.volumePath.empty() ? L"No path name found" : extent.volumePath) << L"       ("
                << extent.volumeGuidPath << L")\n";

        const uint64_t sectorSize = extent.sectorSize != 0 ? extent.sectorSize : fallbackSectorSize;
        const uint64_t startingSector = extent.startingOffset / sectorSize;
        const uint64_t endingSector = startingSector + extent.extentLength / sectorSize - 1;
        std::wostringstream disk;
        disk << std::dec << std::setfill(L' ') << std::setw(3) << extent.diskNumber;
        out << L"    Disk #" << disk.str() << CountColumn(extent.startingOffset) << CountColumn(extent.extentLength)
            << CountColumn(startingSector) << CountColumn(endingSector) << L"   "
            << FormatHumanSize(extent.extentLength) << L"\n";
        previous = &extent;
    }
}

