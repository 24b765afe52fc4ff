// Model construction and every MBR check over synthetic logical chains of
// 1,000 to 100,000 partitions, read from an in-memory sparse disk.

#include <benchmark/benchmark.h>

#include "Utility/Layscan/Model/MbrChecks.h"
#include "support/MbrImage.h"

using nsLayout::CheckMbrEntry;
using nsLayout::CheckLogicalEntries;
using nsLayout::LogicalOrderCheck;

namespace {

constexpr uint64_t kExtendedStart = 2048;
constexpr uint64_t kStride = 2048;  // one EPBR and its logical per megabyte

// A chain of n EPBRs, one logical each; every 50th logical runs into the next
// two, so the overlap lines are part of the work.
std::shared_ptr<SparseSectorProvider> MakeChain(uint64_t n) {
    const uint64_t sectors = kExtendedStart + (n + 2) * kStride;
    mbrimage::Disk disk(sectors);
    disk.Entry(0, 0, 0x0F, static_cast<uint32_t>(kExtendedStart), static_cast<uint32_t>((n + 1) * kStride));
    for (uint64_t i = 0; i < n; ++i) {
        const uint64_t lba = kExtendedStart + i * kStride;
        const uint32_t count = i % 50 == 49 ? static_cast<uint32_t>(3 * kStride) : static_cast<uint32_t>(kStride - 63);
        disk.ChainEpbr(kExtendedStart, lba, 63, count, i + 1 < n ? lba + kStride : 0);
    }
    return disk.SharedProvider();
}

void BM_MbrDiskWithAllChecks(benchmark::State& state) {
    const auto n = static_cast<uint64_t>(state.range(0));
    const auto provider = MakeChain(n);
    const Geometry geometry = Geometry::Translation(512, provider->GetSectorCount());
    size_t textSize = 0;
    for (auto _ : state) {
        nsLayout::MbrDisk disk(*provider, geometry);
        for (uint32_t i = 0; i < 4; ++i) textSize += CheckMbrEntry(disk, i).size();
        LogicalOrderCheck order;
        for (const auto& epbr : disk.GetEpbrList()) {
            textSize += order.CheckEpbr(*epbr).size();
            textSize += CheckLogicalEntries(disk, *epbr).size();
        }
        if (disk.GetPartitions().size() != n) state.SkipWithError("the chain was not walked to its end");
        benchmark::DoNotOptimize(textSize);
    }
    state.counters["partitions"] = static_cast<double>(n);
    state.counters["per_partition"] =
        benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_MbrDiskWithAllChecks)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);


namespace {
void BM_ConstructOnly(benchmark::State& state) {
    const auto n = static_cast<uint64_t>(state.range(0));
    const auto provider = MakeChain(n);
    const Geometry geometry = Geometry::Translation(512, provider->GetSectorCount());
    for (auto _ : state) {
        nsLayout::MbrDisk disk(*provider, geometry);
        benchmark::DoNotOptimize(disk.GetPartitions().size());
    }
}
void BM_ChecksOnly(benchmark::State& state) {
    const auto n = static_cast<uint64_t>(state.range(0));
    const auto provider = MakeChain(n);
    const Geometry geometry = Geometry::Translation(512, provider->GetSectorCount());
    nsLayout::MbrDisk disk(*provider, geometry);
    size_t textSize = 0;
    for (auto _ : state) {
        LogicalOrderCheck order;
        for (const auto& epbr : disk.GetEpbrList()) {
            textSize += order.CheckEpbr(*epbr).size();
            textSize += CheckLogicalEntries(disk, *epbr).size();
        }
        benchmark::DoNotOptimize(textSize);
    }
}
}  // namespace
BENCHMARK(BM_ConstructOnly)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChecksOnly)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
