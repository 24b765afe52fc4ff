#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/OnDisk/Bpb40.h"
#include "Utility/Layscan/OnDisk/Bpb70.h"
#include "Utility/Layscan/OnDisk/BpbExFat.h"
#include "Utility/Layscan/OnDisk/BpbNt.h"
#include "Utility/Layscan/OnDisk/GptHeader.h"
#include "Utility/Layscan/OnDisk/GptPartitionEntries.h"
#include "support/Failure.h"

// Out-of-range indexes and nested offsets of the GPT and BPB views fail with the getter's name.
TEST(RecordViews, FailuresNameTheGetter) {
    auto buf = MemoryBuffer::Create(16383);  // one byte short of a whole GPT array
    OnDiskGptHeader h(buf, 0);
    OnDiskGptPartitionEntries entries(buf, 0);
    const OnDiskGptPartitionEntry& e = entries.GetEntries(127);
    OnDiskBpb40 fat16(buf, 512);
    OnDiskBpb70 fat32(buf, 512);
    OnDiskBpbNt ntfs(buf, 512);
    OnDiskBpbExFat exfat(buf, 0);
    // The nested common block is field 2, element 0, and only that.
    for (const OnDiskEx* v : std::initializer_list<const OnDiskEx*>{&fat16, &fat32, &ntfs})
        EXPECT_EQ(v->GetStructOffset(2, 0), 512u);
    uint8_t b[40];
    char16_t u[40];
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { h.GetDiskGUID(b, 16, 1); }, "PRECONDITION OnDiskGptHeader::GetDiskGUID: startIndex < 16"},
        {[&] { h.GetStructOffset(2, 0); }, "CHECK OnDiskGptHeader::GetStructOffset: GetStructOffset invalid count"},
        {[&] { e.GetPartitionName(u, 30, 7); }, "PRECONDITION OnDiskGptPartitionEntry::GetPartitionName: startIndex + count <= 36"},
        {[&] { e.GetPartitionName(u, 35, 1); },
         "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
        {[&] { entries.GetStructOffset(2, 128); }, "PRECONDITION OnDiskGptPartitionEntries::GetEntriesOffset: index < 128"},
        {[&] { entries.GetEntries(128); }, "PRECONDITION OnDiskGptPartitionEntries::GetEntries: index < 128"},
        {[&] { fat32.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpb70::GetStructOffset: index == 0"},
        {[&] { ntfs.GetStructOffset(3, 0); }, "CHECK OnDiskBpbNt::GetStructOffset: GetStructOffset invalid count"},
        {[&] { exfat.GetJump(b, 3, UINT64_MAX); }, "PRECONDITION OnDiskBpbExFat::GetJump: startIndex < 3"},
        {[&] { exfat.GetJump(b, 0, 4); }, "PRECONDITION OnDiskBpbExFat::GetJump: startIndex + count <= 3"},
    };
    for (const auto& [op, failure] : cases) EXPECT_EQ(FailureOf(op), failure);
}
