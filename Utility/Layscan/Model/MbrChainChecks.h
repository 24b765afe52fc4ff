#pragma once
// What -verify checks on an MBR disk beyond the per-entry warnings: the EPBR
// chains against their extended partitions (loops, links and EPBRs outside),
// partitions a 32-bit entry cannot address on a disk past 2 TiB, and the MBR's
// boot flags. The checks read only the plain facts below, which
// MbrLayoutFactsOf copies out of the model.

#include <array>
#include <cstdint>
#include <vector>

#include "Utility/Layscan/Model/ConsistencyFinding.h"
#include "Utility/Layscan/Model/MbrEntryFacts.h"

namespace nsLayout {
class MbrDisk;
}

struct EpbrFacts {
    uint64_t lba = 0;
    uint64_t nextLba = 0;  // where its link entry leads; 0 ends the chain
    uint64_t extendedStart = 0;
};

struct ChainLoopFacts {
    uint64_t epbrLba = 0;
    uint64_t targetLba = 0;
};

struct PartitionExtentFacts {
    uint64_t startLba = 0;
    uint64_t sectorCount = 0;
    bool isLogical = false;
};

struct MbrLayoutFacts {
    uint64_t sectorCount = 0;
    std::array<MbrEntryFacts, 4> mbr{};
    std::vector<EpbrFacts> epbrs;  // in the order the chains were walked
    std::vector<ChainLoopFacts> loops;
    std::vector<PartitionExtentFacts> partitions;
};

MbrLayoutFacts MbrLayoutFactsOf(const nsLayout::MbrDisk& disk);

ConsistencyFindings CheckMbrConsistency(const MbrLayoutFacts& facts);
