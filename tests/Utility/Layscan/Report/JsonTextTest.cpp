#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Utility/Layscan/Report/JsonText.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "Utility/Layscan/Report/JsonWriter.h"
#include "support/MbrImage.h"

// A document cut short by a failure still closes every container it opened.
TEST(JsonText, WriterClosesWhatIsOpen) {
    std::ostringstream out;
    JsonWriter writer(out);
    writer.BeginObject();
    writer.Member("a\"b", Json::array({1, "\n"}));
    writer.BeginArray("list");
    writer.BeginObject();
    writer.Member("x", nullptr);
    writer.CloseTo(1);
    writer.BeginArray("empty");
    writer.End();
    writer.End();
    EXPECT_EQ(out.str(), "{\n  \"a\\\"b\": [1,\"\\n\"],\n  \"list\": [\n    {\n      \"x\": null\n    }\n  ],\n"
                         "  \"empty\": []\n}\n");
}

// Every disk starts without a scheme: one after an MBR disk that no recogniser took is "none".
TEST(JsonText, EachDiskStartsWithoutAScheme) {
    mbrimage::Disk image(10000);
    const nsLayout::MbrDisk mbr(image.Entry(0, 0, 0x07, 2048, 1000).Provider(), Geometry::Translation(512, 10000));
    std::ostringstream out;
    JsonReport json(out, {});
    json.BeginDisk({}), json.WriteMbrLayout(mbr), json.EndDisk(nullptr);
    json.BeginDisk({}), json.EndDisk(nullptr), json.Finish(0);
    const std::string text = out.str();
    EXPECT_NE(text.find("\"scheme\": \"mbr\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"scheme\": \"none\""), std::string::npos) << text;
}
