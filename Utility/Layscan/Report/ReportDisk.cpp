#include "Utility/Layscan/Report/ReportDisk.h"

#include <functional>
#include <vector>

#include "SectorBuffer/Dev/SectorProvider.h"
#include "Utility/Layscan/Model/DiskConsistency.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Report/ConsistencySection.h"
#include "Utility/Layscan/Report/EpbrChainSection.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Report/FindingLog.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/GptSectorDump.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "Utility/Layscan/Report/MbrBootRecordSection.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumeBootRecords.h"

namespace {

// Lends the stream a findings log for one disk, and takes it back however
// the disk's report ends.
class LentFindingLog {
public:
    LentFindingLog(ReportStream& out, FindingLog& log) : mOut(out) { mOut.SetFindingLog(&log); }
    ~LentFindingLog() { mOut.SetFindingLog(nullptr); }
    LentFindingLog(const LentFindingLog&) = delete;
    LentFindingLog& operator=(const LentFindingLog&) = delete;

private:
    ReportStream& mOut;
};

// The first sector of a partition, for the document's volume boot records.
std::function<std::vector<uint8_t>(uint64_t)> FirstSectorReader(SectorProvider& sectors) {
    return [&sectors](uint64_t lba) {
        std::vector<uint8_t> sector(sectors.GetBytesPerSector());
        sectors.Read(lba, 1, sector.data());
        return sector;
    };
}

// The consistency checks' section with -verify; their findings go into the
// JSON document with or without it. Without -verify a failure to read what the
// checks need must not change the run: the document then goes without them.
template <class Facts>
void WriteConsistency(const Facts& factsOf, const DiskInfo& info, ReportStream& out, FindingLog& log,
                      JsonReport* json) {
    if (!info.verify && !json) return;
    ConsistencyFindings findings;
    if (info.verify) {
        findings = factsOf();
        log.EnterSection(reportsection::kConsistencyChecks);
        WriteConsistencySection(findings, info.diskNumber, out);
    } else {
        try {
            findings = factsOf();
        } catch (...) {
            return;
        }
    }
    if (json) json->AddConsistencyFindings(findings);
}

void ReportMbrDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, const Geometry& geometry,
                   FindingLog& log, JsonReport* json) {
    const nsLayout::DiagnosticMbrDisk disk(sectors, geometry);
    if (json) json->WriteMbrLayout(disk);
    log.EnterSection(reportsection::kPartitionInformation);
    WritePartitionInfoSection(disk, info, out);
    log.EnterSection(reportsection::kMasterBootRecord);
    WriteMasterBootRecordSection(sectors, *disk.GetMbr(), info.diskNumber, MbrRole::Master, out);
    log.EnterSection(reportsection::kEpbrChain);
    WriteEpbrChainSection(disk, info, out);
    log.EnterSection(reportsection::kVolumeBootRecords);
    WriteVolumeBootRecords(sectors, disk.GetVolumePartitions(), info, out);
    if (json) {
        json->WriteMbrStructures(disk, info);
        json->WriteVolumeBootRecords(disk.GetVolumePartitions(), info, FirstSectorReader(sectors));
    }
    WriteConsistency([&] { return CheckConsistency(MbrDiskFactsOf(disk, sectors)); }, info, out, log, json);
}

void ReportGptDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, FindingLog& log,
                   JsonReport* json) {
    const nsLayout::DiagnosticGptDisk disk(sectors);
    if (json) json->WriteGptLayout(disk);
    log.EnterSection(reportsection::kGpt);
    WriteGptSection(disk, info, out);
    log.EnterSection(reportsection::kProtectiveMbr);
    WriteMasterBootRecordSection(sectors, *disk.GetProtectiveMbr(), info.diskNumber, MbrRole::Protective, out);
    log.EnterSection(reportsection::kGptDumps);
    DumpGptSectors(disk, info.diskNumber, out);
    log.EnterSection(reportsection::kVolumeBootRecords);
    WriteVolumeBootRecords(sectors, disk.GetVolumePartitions(), info, out);
    if (json) {
        json->WriteGptStructures(disk, info);
        json->WriteVolumeBootRecords(disk.GetVolumePartitions(), info, FirstSectorReader(sectors));
    }
    WriteConsistency([&] { return CheckConsistency(GptDiskFactsOf(disk, sectors)); }, info, out, log, json);
}

}  // namespace

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, uint32_t sectorsPerTrack,
                uint32_t cylinderCount, uint32_t headCount, JsonReport* json) {
    FindingLog textOnly;
    FindingLog& log = json ? json->Findings() : textOnly;
    const LentFindingLog lent(out, log);
    // A disk without sectors has no sector 0 for either recogniser to read.
    if (sectors.GetSectorCount() == 0) return;
    // Asked first, so a disk both would take is reported as an MBR disk.
    if (nsLayout::IsMbr(sectors)) {
        const Geometry reported(sectors.GetBytesPerSector(), sectorsPerTrack, cylinderCount, headCount,
                                sectors.GetSectorCount());
        ReportMbrDisk(sectors, info, out, reported, log, json);
    } else if (nsLayout::IsGpt(sectors)) {
        ReportGptDisk(sectors, info, out, log, json);
    }
}
