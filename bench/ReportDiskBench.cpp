// The whole report of an MBR disk (partition table with every check, partition
// list, master boot record, EPBR chain with a hex dump per EPBR, volume boot
// records) over synthetic logical chains of 1,000 to 100,000 partitions, into
// a stream that stores nothing.

#include <benchmark/benchmark.h>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Layscan.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "support/MbrImage.h"

using nsLayout::DiskInfo;

namespace {

constexpr uint64_t kExtendedStart = 2048;
constexpr uint64_t kStride = 2048;  // one EPBR and its logical per megabyte

std::shared_ptr<SparseSectorProvider> MakeChain(uint64_t n) {
    mbrimage::Disk disk(kExtendedStart + (n + 2) * kStride);
    disk.Entry(0, 0, 0x0F, static_cast<uint32_t>(kExtendedStart), static_cast<uint32_t>((n + 1) * kStride));
    for (uint64_t i = 0; i < n; ++i) {
        const uint64_t lba = kExtendedStart + i * kStride;
        disk.ChainEpbr(kExtendedStart, lba, 63, static_cast<uint32_t>(kStride - 63), i + 1 < n ? lba + kStride : 0);
    }
    return disk.SharedProvider();
}

void BM_ReportMbrDisk(benchmark::State& state) {
    const auto n = static_cast<uint64_t>(state.range(0));
    const auto provider = MakeChain(n);
    const DiskInfo info = DiskInfo::Make(0, 512, {});
    for (auto _ : state) {
        ReportStream out;
        Layscan::ReportDisk(*provider, info, out);
    }
    state.counters["per_partition"] = benchmark::Counter(
        static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_ReportMbrDisk)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
