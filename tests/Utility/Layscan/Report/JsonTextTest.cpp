#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Utility/Layscan/Report/JsonText.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "support/GptTestImage.h"
#include "support/MbrImage.h"
#include "support/SparseSectorProvider.h"

// Every disk starts without a scheme: one after an MBR disk that no recogniser took is "none".
// A consistency check's finding says where it comes from. A mount point of "\u00e9" and a character
// beyond the 16-bit range stays UTF-8, unescaped, in its partition row.
TEST(JsonText, EachDiskStartsWithoutAScheme) {
    mbrimage::Disk image(10000);
    const nsLayout::MbrDisk mbr(image.Entry(0, 0, 0x07, 2048, 1000).Provider(), Geometry::Translation(512, 10000));
    std::ostringstream out;
    JsonReport json(out, {});
    json.BeginDisk({}), json.WriteLayout(mbr);
    json.WriteStructures(mbr, nsLayout::DiskInfo::Make(0, 512, {{0, 2048 * 512, 1000 * 512, L"", L"/\u00e9\U0001F600"}}));
    EXPECT_NE(out.str().find("\"volume\":\"/\xC3\xA9\xF0\x9F\x98\x80\""), std::string::npos) << out.str();
    json.EndDisk(nullptr);
    json.BeginDisk({}), json.AddConsistencyFindings({{L"MBR", 0, L"x"}}), json.EndDisk(nullptr), json.Finish(0);
    const Json document = Json::parse(out.str());
    EXPECT_EQ(document["disks"][0]["scheme"], "mbr") << out.str();
    EXPECT_EQ(document["disks"][1]["scheme"], "none") << out.str();
    EXPECT_EQ(document["disks"][1]["warnings"][0]["fromConsistencyChecks"], true) << out.str();
}

// A failure inside a disk's structures (here a partition's first sector beyond the disk) leaves them
// open; the disk still closes with its warnings and failure, and the document stays whole. A GPT
// entry's name stays UTF-8 as well.
TEST(JsonText, AFailureInsideTheStructuresClosesThem) {
    const gpttest::SyntheticGpt g = gpttest::Build("0:40-100 1:5000-5100 1080=0xDE00D83D00E9/6");
    SparseSectorProvider sectors(g.bytes, g.sectorSize);
    const nsLayout::GptDisk disk(sectors);
    std::ostringstream out;
    JsonReport json(out, {});
    json.BeginDisk({});
    json.WriteStructures(disk, nsLayout::DiskInfo::Make(0, 512, {}));
    EXPECT_NE(out.str().find("\"name\":\"\xC3\xA9\xF0\x9F\x98\x80\""), std::string::npos) << out.str();
    EXPECT_ANY_THROW(json.WriteVolumeBootRecords(disk.GetSectorCopies(), disk.GetVolumePartitions(),
                                                 nsLayout::DiskInfo::Make(0, 512, {})));
    const std::string failure = "cut short";
    json.EndDisk(&failure), json.Finish(1);
    const Json document = Json::parse(out.str());
    EXPECT_EQ(document["disks"][0]["failure"]["text"], failure) << out.str();
    EXPECT_TRUE(document["disks"][0]["warnings"].is_array()) << out.str();
}
