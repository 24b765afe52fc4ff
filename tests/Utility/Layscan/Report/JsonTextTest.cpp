#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Utility/Layscan/Report/JsonText.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "Utility/Layscan/Report/JsonWriter.h"
#include "support/MbrImage.h"

// GPT names are UTF-16 as the disk holds them: pairs join into one code
// point, a surrogate without its partner becomes U+FFFD, and nothing else is
// dropped or changed.
TEST(JsonText, Utf16BecomesUtf8) {
    const struct {
        std::u16string units;
        std::string utf8;
    } cases[] = {
        {u"EFI system", "EFI system"},
        {u"Donn\u00e9es \u2713", "Donn\xC3\xA9" "es \xE2\x9C\x93"},
        {u"\U0001D11E", "\xF0\x9D\x84\x9E"},                         // a pair
        {std::u16string{0xD834, u'x'}, "\xEF\xBF\xBDx"},             // a high one alone
        {std::u16string{u'x', 0xDD1E}, "x\xEF\xBF\xBD"},             // a low one alone
        {std::u16string{0xDD1E, 0xD834}, "\xEF\xBF\xBD\xEF\xBF\xBD"},  // the pair reversed
        {std::u16string{u'a', 0xD834}, "a\xEF\xBF\xBD"},             // a high one at the end
        {std::u16string{u'\0', u'a'}, std::string("\0a", 2)},
        {std::u16string{0xD800, 0xDFFF}, "\xF0\x90\x8F\xBF"},          // the lowest high with the highest low
        {std::u16string{0xDBFF, 0xDFFF}, "\xF4\x8F\xBF\xBF"},          // the highest code point
        {std::u16string{0xDFFF, 0xD800}, "\xEF\xBF\xBD\xEF\xBF\xBD"},  // the range's ends, each alone
    };
    for (const auto& c : cases) EXPECT_EQ(Utf8FromUtf16(c.units), c.utf8);
    EXPECT_EQ(Utf8FromWide(L"C:\\ \u00e9"), "C:\\ \xC3\xA9");
}

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
