#include <gtest/gtest.h>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/Result.h"
#include "support/Failure.h"

namespace {

struct Sample {
    void Method(int x) { PRECONDITION(x < 4); }
};

void FreeInAnonymous(int index) { PRECONDITION(index < 4); }

}  // namespace

TEST(AssertionFailure, MessageNamesKindFunctionFileLineAndExpression) {
    EXPECT_EQ(AssertionFailure::Format("PRECONDITION", "Epbr::GetEpbrEntry", "Utility/Layscan/Epbr.cpp", 42,
                                       "mEpbrIndex < 4"),
              "PRECONDITION failed, Epbr::GetEpbrEntry: Utility/Layscan/Epbr.cpp(42): mEpbrIndex < 4.");
    EXPECT_EQ(AssertionFailure::Format(nullptr, "", nullptr, 7, "x"), "Assertion failed, ?(7): x.");
    EXPECT_EQ(FailureOf([] { Sample().Method(5); }), "PRECONDITION `anonymous-namespace'::Sample::Method: x < 4");
    try {
        FreeInAnonymous(4);
    } catch (const PreconditionFailure& f) {
        EXPECT_EQ(f.Function(), "`anonymous-namespace'::FreeInAnonymous");
        EXPECT_NE(std::string(f.what()).find("tests/Base/Dev/AssertionFailureTest.cpp("), std::string::npos)
            << f.what();
    }
    const std::pair<const char*, const char*> names[] = {
        {"void MemoryBuffer::Read(void*, uint64_t, uint64_t)", "MemoryBuffer::Read"},
        {"nsLayout::MbrDisk::MbrDisk(SectorProvider&, const Geometry&)", "nsLayout::MbrDisk::MbrDisk"},
        {"const std::vector<std::pair<int, int> >& A::B(int)", "A::B"},
        {"int main(int, char**)", "main"}};
    for (const auto& [pretty, expected] : names) EXPECT_EQ(QualifiedFunctionName(pretty), expected) << pretty;
}

TEST(Result, MessageFillsArgumentsAndSeverity) {
    Result r(SECTORBUFFER_ERROR_DEVICE_READ_FAILED, {L"disk.sf", L"10", L"2"});
    EXPECT_EQ(r.Message(), L"Device disk.sf cannot read 2 sectors starting at LBA 10.");
    EXPECT_STREQ(r.what(), "Device disk.sf cannot read 2 sectors starting at LBA 10.");
    EXPECT_TRUE(r.IsFailure());
    EXPECT_EQ(Result(ERROR_SYSTEM_API_CALL_FAILED, {L"ioctl"}).Message(), L"Operating System API ioctl failed.");
    EXPECT_FALSE(Result::IsFailureCode(SECTORBUFFER_INFORMATION_ENCOUNTERED_BAD_SECTORS));
    EXPECT_TRUE(Result::IsFailureCode(0x13));
    EXPECT_FALSE(Result::IsFailureCode(0));
}
