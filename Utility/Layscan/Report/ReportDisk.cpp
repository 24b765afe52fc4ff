#include "Utility/Layscan/Report/ReportDisk.h"

#include <exception>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Report/ConsistencySection.h"
#include "Utility/Layscan/Report/EpbrChainSection.h"
#include "Utility/Layscan/Report/FindingLog.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/GptSectorDump.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "Utility/Layscan/Report/MbrBootRecordSection.h"
#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumeBootRecords.h"

using nsLayout::DiskInfo;

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

// The consistency checks' section with -verify; their findings go into the
// JSON document with or without it, and a disk being saved has them run so
// that what they read is saved too. Without -verify a failure to read what the
// checks need must not change the run: the document then goes without them.
void WriteConsistency(const ConsistencyCheck& consistency, const DiskInfo& info, ReportStream& out, FindingLog& log,
                      JsonReport* json) {
    if (!consistency || (!info.verify && !json && !info.saving)) return;
    ConsistencyFindings findings;
    if (info.verify) {
        findings = consistency();
        log.EnterSection(reportsection::kConsistencyChecks);
        WriteConsistencySection(findings, info.diskNumber, out);
    } else {
        try {
            findings = consistency();
        } catch (...) {
            return;
        }
    }
    if (json) json->AddConsistencyFindings(findings);
}

// The frame every disk's report shares: the findings log lent to the stream
// for the disk, the scheme's own sections, the volume boot records, then the
// JSON structures and the consistency checks.
template <typename Disk, typename SchemeSections>
void ReportFramed(const Disk& disk, const DiskInfo& info, ReportStream& out, JsonReport* json,
                  const ConsistencyCheck& consistency, const SchemeSections& schemeSections) {
    FindingLog textOnly;
    FindingLog& log = json ? json->Findings() : textOnly;
    const LentFindingLog lent(out, log);
    schemeSections(log);
    log.EnterSection(reportsection::kVolumeBootRecords);
    WriteVolumeBootRecords(disk.GetSectorCopies(), disk.GetVolumePartitions(), info, out);
    if (json) {
        json->WriteStructures(disk, info);
        json->WriteVolumeBootRecords(disk.GetSectorCopies(), disk.GetVolumePartitions(), info);
    }
    WriteConsistency(consistency, info, out, log, json);
}

}  // namespace

void ReportMbrDisk(const nsLayout::MbrDisk& disk, const DiskInfo& info, ReportStream& out, JsonReport* json,
                   const ConsistencyCheck& consistency) {
    ReportFramed(disk, info, out, json, consistency, [&](FindingLog& log) {
        if (json) json->WriteLayout(disk);
        log.EnterSection(reportsection::kPartitionInformation);
        WritePartitionInfoSection(disk, info, out);
        log.EnterSection(reportsection::kMasterBootRecord);
        WriteMasterBootRecordSection(disk.GetSectorCopies(), *disk.GetMbr(), info.diskNumber, MbrRole::Master, out);
        log.EnterSection(reportsection::kEpbrChain);
        WriteEpbrChainSection(disk, info, out);
    });
}

void ReportGptDisk(const nsLayout::GptDisk& disk, const DiskInfo& info, ReportStream& out, JsonReport* json,
                   const ConsistencyCheck& consistency) {
    ReportFramed(disk, info, out, json, consistency, [&](FindingLog& log) {
        if (disk.GetBackupFailure()) {
            // A backup header beyond the disk's end ends the report before it
            // shows anything; -verify still says that the disk is smaller than
            // its header says.
            if (info.verify) WriteConsistency(consistency, info, out, log, json);
            std::rethrow_exception(disk.GetBackupFailure());
        }
        if (json) json->WriteLayout(disk);
        log.EnterSection(reportsection::kGpt);
        WriteGptSection(disk, info, out);
        log.EnterSection(reportsection::kProtectiveMbr);
        WriteMasterBootRecordSection(disk.GetSectorCopies(), *disk.GetProtectiveMbr(), info.diskNumber,
                                     MbrRole::Protective, out);
        log.EnterSection(reportsection::kGptDumps);
        DumpGptSectors(disk, info.diskNumber, out);
    });
}
