#include "Base/Dev/Validator.h"

#include <gtest/gtest.h>

#include "support/ScratchFolder.h"

namespace {

struct Case {
    const char* value;
    bool good;
};

void ExpectCases(const Config::Validator& validator, std::initializer_list<Case> cases) {
    for (const Case& c : cases)
        EXPECT_EQ(validator.Check(c.value).empty(), c.good) << "value \"" << c.value << "\"";
}

TEST(ValidatorTest, NumbersAcceptOnlyPlainDecimalInRange) {
    ExpectCases(Config::IsTypeValidator<unsigned int>(),
                {{"0", true}, {"007", true}, {"4294967295", true}, {"4294967296", false}, {"-1", false},
                 {"+1", false}, {"", false}, {" 1", false}, {"1 ", false}, {"12x", false}, {"0x10", false}});
    ExpectCases(Config::IsTypeValidator<int>(), {{"-5", true}, {"2147483648", false}, {"-", false}});
    ExpectCases(Config::IsSectorSizeValidator(),
                {{"512", true}, {"1024", true}, {"2048", true}, {"4096", true}, {"8192", true}, {"16384", true},
                 {"32768", true}, {"256", false}, {"65536", false}, {"513", false}, {"0", false}, {"4k", false},
                 {"99999999999999999999", false}});
}

TEST(ValidatorTest, FileNameRejectsWhatNoFileCanBeCalled) {
    ExpectCases(Config::IsValidFileNameValidator(),
                {{"layscan.txt", true}, {"out/report.txt", true}, {"C:\\reports\\disk.txt", true},
                 {"c:disk.txt", true}, {"", false}, {"a|b", false}, {"what?.txt", false}, {"*.txt", false},
                 {"a<b", false}, {"say\"hi\"", false}, {"tab\there", false}, {"dir/", false}, {"dir\\", false},
                 {"..", false}, {"out/.", false}, {"ab:c", false}, {"1:x", false}});
}

TEST(ValidatorTest, ExistingFileNeedsAFileThatIsThere) {
    const ScratchFolder dir("layscan_validator");
    const Config::IsExistingFileValidator validator;
    EXPECT_TRUE(validator.Check(dir.Write("present.bin", "x")).empty());
    EXPECT_EQ(validator.Check(dir.File("absent.bin")), L"file does not exist");
    EXPECT_FALSE(validator.Check(dir.Path().string()).empty());
}

}  // namespace
