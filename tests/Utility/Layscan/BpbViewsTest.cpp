#include <gtest/gtest.h>

#include <functional>

#include "Utility/Layscan/Bpb34.h"
#include "Utility/Layscan/Bpb40.h"
#include "Utility/Layscan/Bpb70.h"
#include "Utility/Layscan/BpbExFat.h"
#include "Utility/Layscan/BpbNt.h"
#include "support/Failure.h"

TEST(BpbViews, NestingAndRangesAreChecked) {
    constexpr uint64_t kBase = 512;
    auto buf = MemoryBuffer::Create(1024);
    OnDiskBpb34 common(buf, 0);
    OnDiskBpb40 fat16(buf, kBase);
    OnDiskBpb70 fat32(buf, kBase);
    OnDiskBpbNt ntfs(buf, kBase);
    OnDiskBpbExFat exfat(buf, 0);
    OnDiskBpbNt cut(MemoryBuffer::Create(82), 0);  // ends inside the NTFS checksum at 80
    EXPECT_EQ(cut.GetDiskUnitNumber(), 0u);
    // The nested common block is field 2, element 0, and only that.
    for (const OnDiskEx* v : std::initializer_list<const OnDiskEx*>{&fat16, &fat32, &ntfs})
        EXPECT_EQ(v->GetStructOffset(2, 0), kBase);
    uint8_t out[16] = {};
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { fat16.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpb40::GetStructOffset: index == 0"},
        {[&] { fat32.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpb70::GetStructOffset: index == 0"},
        {[&] { ntfs.GetStructOffset(2, 1); }, "PRECONDITION OnDiskBpbNt::GetStructOffset: index == 0"},
        {[&] { fat16.GetStructOffset(3, 0); }, "CHECK OnDiskBpb40::GetStructOffset: GetStructOffset invalid count"},
        {[&] { fat32.GetStructOffset(3, 0); }, "CHECK OnDiskBpb70::GetStructOffset: GetStructOffset invalid count"},
        {[&] { ntfs.GetStructOffset(3, 0); }, "CHECK OnDiskBpbNt::GetStructOffset: GetStructOffset invalid count"},
        {[&] { common.GetStructOffset(2, 0); }, "CHECK OnDiskBpb34::GetStructOffset: GetStructOffset invalid count"},
        {[&] { exfat.GetStructOffset(2, 0); }, "CHECK OnDiskBpbExFat::GetStructOffset: GetStructOffset invalid count"},
        {[&] { common.GetJump(out, 3, 0); }, "PRECONDITION OnDiskBpb34::GetJump: startIndex < 3"},
        {[&] { common.GetJump(out, 1, 3); }, "PRECONDITION OnDiskBpb34::GetJump: startIndex + count <= 3"},
        {[&] { exfat.GetJump(out, 3, UINT64_MAX); }, "PRECONDITION OnDiskBpbExFat::GetJump: startIndex < 3"},
        {[&] { exfat.GetJump(out, 0, 4); }, "PRECONDITION OnDiskBpbExFat::GetJump: startIndex + count <= 3"},
        {[&] { fat32.GetReserved(out, 12, 0); }, "PRECONDITION OnDiskBpb70::GetReserved: startIndex < 12"},
        {[&] { fat32.GetReserved(out, 11, 2); }, "PRECONDITION OnDiskBpb70::GetReserved: startIndex + count <= 12"},
        // A view past the end of its buffer fails when the field is read.
        {[&] { cut.GetChecksum(); }, "PRECONDITION MemoryBuffer::Read: offsetInBuffer + bytesToRead <= m_uSize"},
    };
    for (const auto& [op, failure] : cases) EXPECT_EQ(FailureOf(op), failure);
}
