#include <gtest/gtest.h>

#include <sstream>

#include <nlohmann/json.hpp>

#include "Utility/Layscan/Layscan.h"
#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

// docs/sample-report-mbr.txt and docs/sample-report-gpt.txt are what the tool
// writes for the bundled samples; they must not drift from it. Remake one with
//   layscan -file samples/mbr-disk.sf -out docs/sample-report-mbr.txt
// (or run this test with LAYSCAN_UPDATE_GOLDEN=1). The JSON documents of the
// same runs are kept in tests/golden/json-samples.txt with the machine facts
// (platform and paths) replaced, so that the Linux and the Windows build are
// held to the same bytes.
TEST(SampleReport, DocumentedReportsAreWhatTheToolWrites) {
    std::string documents;
    for (const std::string kind : {"mbr", "gpt"}) {
        const ScratchFolder folder("SampleReport");
        const std::string sample = LAYSCAN_SOURCE_DIR "/samples/" + kind + "-disk.sf", report = folder.File("r.txt"),
                          json = folder.File("r.json");
        const char* argv[] = {"layscan", "-file", sample.c_str(), "-out", report.c_str(), "-json", json.c_str()};
        std::ostringstream console, errors;
        ASSERT_EQ(Layscan::RunLayscan(7, argv, console, errors), 0) << console.str() << errors.str();
        golden::ExpectMatches("../../docs/sample-report-" + kind + ".txt", golden::ReadFile(report));
        std::string document = golden::ReadFile(json);
        // Each as the document writes it, escapes included.
        for (const auto& [fact, placeholder] : {std::pair<std::string, std::string>{"linux", "PLATFORM"},
                                                {"windows", "PLATFORM"}, {sample, "SAMPLE"}, {report, "REPORT"}})
            document = golden::Replaced(document, nlohmann::json(fact).dump(), nlohmann::json(placeholder).dump());
        documents += "== " + kind + "\n" + document;
    }
    golden::ExpectMatches("json-samples.txt", documents);
}
