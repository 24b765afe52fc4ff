#include <gtest/gtest.h>

#include <sstream>

#include "Utility/Layscan/Layscan.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

// docs/sample-report-mbr.txt and docs/sample-report-gpt.txt are what the tool
// writes for the bundled samples; they must not drift from it. Remake one with
//   layscan -file samples/mbr-disk.sf -out docs/sample-report-mbr.txt
// (or run this test with LAYSCAN_UPDATE_GOLDEN=1).
TEST(SampleReport, DocumentedReportsAreWhatTheToolWrites) {
    for (const std::string kind : {"mbr", "gpt"}) {
        const ScratchFolder folder("SampleReport");
        const std::string sample = LAYSCAN_SOURCE_DIR "/samples/" + kind + "-disk.sf", report = folder.File("r.txt");
        const char* argv[] = {"layscan", "-file", sample.c_str(), "-out", report.c_str()};
        std::ostringstream console, errors;
        ASSERT_EQ(Layscan::RunLayscan(5, argv, console, errors), 0) << console.str() << errors.str();
        golden::ExpectFileMatches(LAYSCAN_SOURCE_DIR "/docs/sample-report-" + kind + ".txt", golden::ReadFile(report));
    }
}
