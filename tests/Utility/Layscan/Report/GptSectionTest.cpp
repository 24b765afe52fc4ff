// The GPT warnings and listing of small disks written field by field, each
// with one fault or one layout a tool would not write; their texts are kept in
// tests/golden/gpt-sections.txt (remake deliberately with LAYSCAN_UPDATE_GOLDEN=1).

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <tuple>

#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "support/CapturedReport.h"
#include "support/GoldenFile.h"
#include "support/GptTestImage.h"
#include "support/MemorySectorProvider.h"

using nsLayout::CheckGptHeaders;

using gpttest::PutLe;
using G = gpttest::SyntheticGpt;

namespace {

using Change = std::function<void(G&)>;

// A change of the primary header's field at `offset`, made before the checksums are set.
Change Field(uint64_t offset, uint64_t value, unsigned width) {
    return [=](G& g) { PutLe(g.bytes, g.sectorSize + offset, value, width); };
}
// A change made after the checksums were set.
Change Flip(uint64_t at) { return [=](G& g) { g.bytes[at] ^= 1; }; }

struct Case {
    const char* name;
    const char* show;  // h: header warnings, d: header data, t: partition table
    uint32_t sectorSize;
    uint64_t sectorCount;
    std::vector<std::tuple<unsigned, uint64_t, uint64_t>> entries;  // slot, first, last
    Change before = {}, after = {};
};

std::string Show(const Case& c) {
    G g(c.sectorSize, c.sectorCount);
    for (const auto& [slot, first, last] : c.entries) g.SetEntry(slot, Guid::BasicData(), first, last);
    if (c.before) c.before(g);
    if (g.Finish(), c.after) c.after(g);
    MemorySectorProvider sectors(g.bytes, c.sectorSize);
    CapturedReport report;
    const std::string failure = FailureOf([&] {
        nsLayout::GptDisk disk(sectors);
        if (std::strchr(c.show, 'h')) report.Stream() << CheckGptHeaders(disk);
        if (std::strchr(c.show, 'd')) WriteGptHeaderData(disk, report.Stream());
        if (std::strchr(c.show, 't')) WriteGptPartitionTable(disk, 0, report.Stream());
    });
    return "== " + std::string(c.name) + "\n" + report.Narrow() + (failure.empty() ? "" : "[fails: " + failure + "]\n");
}

}  // namespace

TEST(GptSection, WarningsAndListingsOfHandMadeDisks) {
    const uint64_t max = std::numeric_limits<uint64_t>::max();
    const Case cases[] = {
        {"header checksum", "h", 512, 1000, {}, {}, Flip(512 + 16)},
        {"a disk GUID byte", "h", 512, 1000, {}, {}, Flip(512 + 60)},
        {"array checksum", "h", 512, 1000, {{0, 40, 100}}, {}, Flip(1024 + 5000)},
        {"signature EFI PARX", "h", 512, 1000, {}, Field(7, 'X', 1)},
        {"revision 1.1", "h", 512, 1000, {}, Field(8, 0x00010001, 4)},
        {"reserved field", "h", 512, 1000, {}, Field(23, 1, 1)},
        {"my LBA 7", "h", 512, 1000, {}, Field(24, 7, 8)},
        {"alternate LBA 998 (a blank sector)", "h", 512, 1000, {}, Field(32, 998, 8)},
        {"entry count 64", "h", 512, 1000, {}, Field(80, 64, 4)},
        {"backup header checksum", "h", 512, 1000, {}, {}, Flip(999 * 512 + 16)},
        {"revision 0 and backup header checksum", "h", 512, 1000, {}, Field(8, 0, 4), Flip(999 * 512 + 16)},
        {"zeroed primary header", "hdt", 512, 1000, {{0, 40, 100}}, {}, [](G& g) { std::fill_n(&g.bytes[512], 512, 0); }},
        // The backup at 999 is sound; the one at 800 has revision 0.
        {"backup read where the alternate LBA points", "h", 512, 1000, {}, [](G& g) {
             PutLe(g.bytes, 512 + 32, 800, 8), g.WriteHeader(800, 1, 900), PutLe(g.bytes, 800 * 512 + 8, 0, 4);
             g.FinishHeader(800); }},
        // The checksums cover the array as far as the header's count and size
        // reach (cut to the 16384 bytes read) and the header as far as its size.
        {"entry count 64, a byte after its array", "h", 512, 1000, {}, Field(80, 64, 4), Flip(1024 + 8192)},
        {"entry count 64, the last byte of its array", "h", 512, 1000, {}, Field(80, 64, 4), Flip(1024 + 8191)},
        {"the last byte of the array", "h", 512, 1000, {}, {}, Flip(1024 + 16383)},
        {"header size 0", "h", 512, 1000, {}, Field(12, 0, 4), Flip(1024)},
        {"header and entry size 2^32-1", "h", 512, 1000, {},
         [](G& g) { PutLe(g.bytes, 512 + 12, 0xFFFFFFFF, 4), PutLe(g.bytes, 512 + 84, 0xFFFFFFFF, 4); }, Flip(1024 + 16383)},
        {"4096-byte sectors, a byte past the header's 512", "h", 4096, 300, {{127, 100, 200}}, {}, Flip(4096 + 600)},
        {"alternate LBA 1", "h", 512, 1000, {}, Field(32, 1, 8)},
        {"backup's alternate LBA 998", "h", 512, 1000, {},
         [](G& g) { PutLe(g.bytes, 999 * 512 + 32, 998, 8), g.FinishHeader(999); }},
        // Slot 1 has no unique GUID (no row, yet a partition), slot 2 no type
        // GUID (neither); slot 5 lies past the count.
        {"entry count 5", "ht", 512, 1000, {{0, 400, 499}}, [](G& g) {
             g.SetEntry(1, Guid::BasicData(), 620, 700, false), g.SetEntry(2, Guid(), 300, 399);
             g.SetEntry(5, Guid::EfiSystemPartition(), 100, 199), PutLe(g.bytes, 512 + 80, 5, 4); }},
        {"entry count 0", "ht", 512, 1000, {{0, 400, 499}}, Field(80, 0, 4)},
        {"alternate LBA one past the last sector", "h", 512, 1000, {}, Field(32, 1000, 8)},
        {"header fields", "d", 512, 10000, {}, [](G& g) {
             PutLe(g.bytes, 512 + 56, 0xA7A6A5A4A3A2A1A0, 8), PutLe(g.bytes, 512 + 64, 0xAFAEADACABAAA9A8, 8);
             PutLe(g.bytes, 512 + 40, 34, 8), PutLe(g.bytes, 512 + 48, ~0ull, 8); }, [](G& g) {
             PutLe(g.bytes, 512 + 16, 0x0000ABCD, 4), PutLe(g.bytes, 512 + 88, 0xFFFFFFFF, 4);
             PutLe(g.bytes, 512 + 8, 0x00020000, 4), g.bytes[512 + 2] = 0x01; }},
        // Slot 2 is empty (LBA 0 to 0) yet met by slot 7; 8 holds 9 whole;
        // 10 ends before it starts, so its third test meets slot 4 first.
        {"entry findings", "t", 512, 10000, {{0, 40, 60}, {1, 150, 300}, {3, 100, 200}, {4, 9990, 10000},
         {5, 10001, 10005}, {6, 3000, 2000}, {7, 0, 10}, {8, 500, 900}, {9, 600, 700}, {10, 20000, 9000}, {11, 8000, 9500}}},
        // Slot 8 lies inside slot 9, but the overlap walk stops at the header's count.
        {"entry count 9, slot 9 past it", "t", 512, 10000, {{8, 600, 700}, {9, 500, 900}}, Field(80, 9, 4)},
        {"no entries", "t", 512, 10000, {}},
        {"one in the middle", "t", 512, 10000, {{0, 1000, 1999}}},
        {"disk filled from sector 0", "t", 512, 10000, {{0, 0, 9999}}},
        {"slots out of start order", "t", 512, 10000, {{0, 5000, 5999}, {3, 1000, 1999}}},
        {"gap below 64 sectors", "t", 512, 10000, {{0, 1000, 1999}, {1, 2010, 9999}}},
        {"slots on 512-byte sectors", "t", 512, 2000, {{0, 100, 199}, {5, 200, 299}, {127, 300, 399}}},
        {"slots on 1024-byte sectors", "t", 1024, 2000, {{9, 100, 199}}},
        {"slots on 4096-byte sectors", "t", 4096, 2000, {{5, 100, 199}, {33, 200, 299}}},
        {"values wider than their columns", "t", 512, 10000, {{0, max - 1, max}, {1, 5000, 4000}}},
        // Slot 1 has a type but no unique GUID, slot 2 the reverse: no rows,
        // but the model takes slot 1's space out of the free list.
        {"slots half in use", "t", 512, 10000, {{0, 1000, 1999}},
         [](G& g) { g.SetEntry(1, Guid::BasicData(), 3000, 3999, false), g.SetEntry(2, Guid(), 5000, 5999); }},
        {"entry size 0", "t", 512, 10000, {{0, 1000, 1999}}, Field(84, 0, 4)},
        {"entry size 64", "t", 512, 10000, {{0, 1000, 1999}}, Field(84, 64, 4)},
        {"entry size 256", "t", 512, 10000, {{0, 1000, 1999}}, Field(84, 256, 4)},
        {"entry size 2^32-1", "t", 512, 10000, {{0, 1000, 1999}}, Field(84, 0xFFFFFFFF, 4)},
        {"a name filling its field", "t", 512, 10000, {{0, 1000, 1999}},
         [](G& g) { for (int i = 0; i < 36; ++i) PutLe(g.bytes, 1024 + 56 + 2 * i, 'N', 2); }},
    };
    std::string text;
    for (const Case& c : cases) text += Show(c);
    golden::ExpectMatches("gpt-sections.txt", text);
}

TEST(GptSection, NamesStopAtNulAndShowWideUnitsAsQuestionMarks) {
    const std::pair<std::u16string, std::wstring> cases[] = {
        {u"", L""}, {std::u16string(u"EFI\0junk", 8), L"EFI"}, {u"caf\u00e9 \u00ff", L"caf\u00e9 \u00ff"},
        {u"\u0100\u4e2d\U0001F600x", L"????x"},  // a surrogate pair is two units
        {u"a\tb\nc", L"a?b?c"},
    };
    for (const auto& [units, shown] : cases) EXPECT_EQ(GptNameForReport(units), shown);
}
