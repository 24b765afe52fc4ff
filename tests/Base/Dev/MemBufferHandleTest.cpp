#include <gtest/gtest.h>

#include <sstream>

#include "Base/Dev/MemBufferHandle.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"

namespace {

// Bytes as hex, a run of four or more as COUNTxHH.
std::string Shown(const uint8_t* bytes, size_t size) {
    std::string out;
    for (size_t i = 0, run = 1; i < size; i += run) {
        for (run = 1; i + run < size && bytes[i + run] == bytes[i];) ++run;
        run = run >= 4 ? run : 1;
        // Appended piece by piece: GCC 12 warns falsely (-Wrestrict) on " " + string.
        out.append(" ").append(run >= 4 ? std::to_string(run) + "x" : "");
        out.append(1, "0123456789ABCDEF"[bytes[i] >> 4]).append(1, "0123456789ABCDEF"[bytes[i] & 15]);
    }
    return out;
}

// Runs the operations of one line on a new buffer; the data written and compared are the bytes 1, 2, 3...,
// a copy's source is 16 such bytes, and "-" after an operation passes no data.
std::string Outcome(const std::string& line) {
    std::istringstream in(line);
    uint64_t size = 0;
    in >> size;
    MemoryBuffer b(size);
    uint8_t data[64], out[64] = {};
    for (int i = 0; i < 64; ++i) data[i] = uint8_t(i + 1);
    auto source = MemoryBuffer::Create(16);
    source->Write(data, 0, 16);
    std::string text;
    for (std::string op; std::getline(in >> std::ws, op, ';');) {
        std::istringstream words(op);
        std::string name;
        uint64_t v[3] = {};
        words >> name >> v[0] >> v[1] >> v[2];
        const bool none = name.ends_with("-");
        const std::string failure = FailureOf([&] {
            if (name.starts_with("Set")) b.Set(v[0], uint8_t(v[1]), v[2]);
            if (name.starts_with("Write")) b.Write(none ? nullptr : data, v[0], v[1]);
            if (name.starts_with("Read")) b.Read(none ? nullptr : out, v[0], v[1]), text += " read" + Shown(out, v[1]);
            if (name.starts_with("Move")) b.Move(v[0], v[1], v[2]);
            if (name.starts_with("Copy")) b.Copy(v[0], source, v[1], v[2]);
            if (name.starts_with("Compare"))
                text += " compare " + std::to_string(b.Compare(none ? nullptr : data, v[0], v[1]));
            if (name.starts_with("Value")) text += b.CompareValue(uint8_t(v[0]), v[1], v[2]) ? " same" : " differs";
        });
        if (!failure.empty()) text += " fails: " + failure;
    }
    return text + (b.IsDirty() ? "; dirty:" : "; clean:") + Shown(b.Data(), size_t(size));
}

// Each line of tests/golden/memory-buffer.txt: a buffer size and operations, "=>", what came of them; the
// outcome is replaced by the actual one and the file compared.
TEST(MemoryBuffer, ChecksDirtyFlagAndBytes) {
    golden::ExpectOutcomes("memory-buffer.txt", Outcome);
}

}  // namespace
