#include "Utility/Layscan/Model/GptPartitionTable.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "support/GptTestImage.h"
#include "support/SparseSectorProvider.h"

// A header or an array past the last sector is refused before it is read; an array that ends on the last
// sector is read.
TEST(GptPartitionTable, ReadsPastTheLastSectorAreRefused) {
    // (header LBA, array LBA, whether it fits)
    const std::tuple<uint64_t, uint64_t, bool> arrays[] = {
        {1000, 2, false}, {1, 1000 - 31, false}, {1, UINT64_MAX - 10, false}, {1, 1000 - 32, true}};
    for (const auto& [headerLba, arrayLba, fits] : arrays) {
        const gpttest::SyntheticGpt g = gpttest::Build("| 584=" + std::to_string(arrayLba) + "/8");
        SparseSectorProvider small(g.bytes, 512);
        EXPECT_EQ(FailureOf([&] { GptPartitionTable t(small, headerLba); }),
                  fits ? "" : "PRECONDITION GptPartitionTable::ReadBytes: lba + sectorsToRead <= sectorCount");
        EXPECT_EQ(small.ReadCount(), headerLba == 1 ? 1u + fits : 0u) << arrayLba;
    }
}
