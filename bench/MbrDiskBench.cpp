// Synthetic logical chains of 1,000 to 100,000 partitions on an in-memory sparse disk: model construction
// and every MBR check, then the whole report of the disk (partition table with every check, partition list,
// master boot record, EPBR chain with a hex dump per EPBR, volume boot records) into a stream that stores
// nothing.

#include <benchmark/benchmark.h>

#include "Utility/Layscan/Layscan.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/MbrChecks.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "support/MbrImage.h"

using nsLayout::CheckLogicalEntries;
using nsLayout::CheckMbrEntry;
using nsLayout::LogicalOrderCheck;

namespace {

constexpr uint64_t kExtendedStart = 2048;
constexpr uint64_t kStride = 2048;  // one EPBR and its logical per megabyte

// A chain of n EPBRs, one logical each; with overlaps every 50th logical runs into the next two, so the
// overlap lines are part of the work.
std::shared_ptr<SparseSectorProvider> MakeChain(uint64_t n, bool overlaps) {
    mbrimage::Disk disk(kExtendedStart + (n + 2) * kStride);
    disk.Entry(0, 0, 0x0F, static_cast<uint32_t>(kExtendedStart), static_cast<uint32_t>((n + 1) * kStride));
    for (uint64_t i = 0; i < n; ++i) {
        const uint64_t lba = kExtendedStart + i * kStride;
        const uint64_t count = overlaps && i % 50 == 49 ? 3 * kStride : kStride - 63;
        disk.ChainEpbr(kExtendedStart, lba, 63, static_cast<uint32_t>(count), i + 1 < n ? lba + kStride : 0);
    }
    return disk.SharedProvider();
}

size_t CheckChain(const nsLayout::MbrDisk& disk) {
    size_t textSize = 0;
    LogicalOrderCheck order;
    for (const auto& epbr : disk.GetEpbrList())
        textSize += order.CheckEpbr(*epbr).size() + CheckLogicalEntries(disk, *epbr).size();
    return textSize;
}

void PerPartition(benchmark::State& state) {
    state.counters["per_partition"] = benchmark::Counter(
        double(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_MbrDiskWithAllChecks(benchmark::State& state) {
    const auto n = static_cast<uint64_t>(state.range(0));
    const auto provider = MakeChain(n, true);
    const Geometry geometry = Geometry::Translation(512, provider->GetSectorCount());
    size_t textSize = 0;
    for (auto _ : state) {
        nsLayout::MbrDisk disk(*provider, geometry);
        for (uint32_t i = 0; i < 4; ++i) textSize += CheckMbrEntry(disk, i).size();
        textSize += CheckChain(disk);
        if (disk.GetPartitions().size() != n) state.SkipWithError("the chain was not walked to its end");
        benchmark::DoNotOptimize(textSize);
    }
    state.counters["partitions"] = static_cast<double>(n);
    PerPartition(state);
}

void BM_ConstructOnly(benchmark::State& state) {
    const auto provider = MakeChain(static_cast<uint64_t>(state.range(0)), true);
    const Geometry geometry = Geometry::Translation(512, provider->GetSectorCount());
    for (auto _ : state) benchmark::DoNotOptimize(nsLayout::MbrDisk(*provider, geometry).GetPartitions().size());
}

void BM_ChecksOnly(benchmark::State& state) {
    const auto provider = MakeChain(static_cast<uint64_t>(state.range(0)), true);
    const nsLayout::MbrDisk disk(*provider, Geometry::Translation(512, provider->GetSectorCount()));
    for (auto _ : state) benchmark::DoNotOptimize(CheckChain(disk));
}

void BM_ReportMbrDisk(benchmark::State& state) {
    const auto provider = MakeChain(static_cast<uint64_t>(state.range(0)), false);
    const nsLayout::DiskInfo info = nsLayout::DiskInfo::Make(0, 512, {});
    for (auto _ : state) {
        ReportStream out;
        Layscan::ReportDisk(*provider, info, out);
    }
    PerPartition(state);
}

}  // namespace

BENCHMARK(BM_MbrDiskWithAllChecks)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConstructOnly)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChecksOnly)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReportMbrDisk)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
