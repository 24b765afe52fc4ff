#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Utility/Layscan/Layscan.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

// docs/sample-report-mbr.txt is what the tool writes for the bundled MBR
// sample; it must not drift from it. Remake it with
//   layscan -file samples/mbr-disk.sf -out docs/sample-report-mbr.txt
// (or run this test with LAYSCAN_UPDATE_GOLDEN=1).
TEST(SampleReportMbr, DocumentedReportIsWhatTheToolWrites) {
    const ScratchFolder folder("SampleReportMbr");
    const std::string sample = LAYSCAN_SOURCE_DIR "/samples/mbr-disk.sf";
    const std::string report = folder.File("report.txt");
    const char* argv[] = {"layscan", "-file", sample.c_str(), "-out", report.c_str()};
    std::ostringstream console, errors;
    ASSERT_EQ(Layscan::RunLayscan(5, argv, console, errors), 0) << console.str() << errors.str();
    golden::ExpectFileMatches(LAYSCAN_SOURCE_DIR "/docs/sample-report-mbr.txt", golden::ReadFile(report));
}
