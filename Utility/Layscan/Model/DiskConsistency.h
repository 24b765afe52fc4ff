#pragma once
// Everything -verify checks on one disk: the facts of its layout and of its
// volume boot records, gathered from the model once, and the findings of all
// checks in the order the section lists them (layout first, then the
// volumes in model order).

#include <vector>

#include "Utility/Layscan/Model/ConsistencyFinding.h"
#include "Utility/Layscan/Model/GptConsistencyChecks.h"
#include "Utility/Layscan/Model/MbrChainChecks.h"
#include "Utility/Layscan/Model/VolumeBootChecks.h"

class SectorProvider;

namespace nsLayout {
class GptDisk;
class MbrDisk;
}  // namespace nsLayout

struct GptDiskFacts {
    GptLayoutFacts layout;
    std::vector<VolumeBootFacts> volumes;
};

struct MbrDiskFacts {
    MbrLayoutFacts layout;
    std::vector<VolumeBootFacts> volumes;
};

// The model's facts, with what each partition's boot sector needs read
// besides its first sector (which the model holds).
GptDiskFacts GptDiskFactsOf(const nsLayout::GptDisk& disk, SectorProvider& sectors);
MbrDiskFacts MbrDiskFactsOf(const nsLayout::MbrDisk& disk, SectorProvider& sectors);

ConsistencyFindings CheckConsistency(const GptDiskFacts& facts);
ConsistencyFindings CheckConsistency(const MbrDiskFacts& facts);
