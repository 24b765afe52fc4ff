#pragma once
// The JSON document of a run, written beside the text report as the run goes:
// the tool and the run, then each disk as it is reported (its facts, its MBR
// or GPT structures, its warnings and how its report ended), then the
// operating system's volumes. Its shape is docs/layscan.schema.json.
//
// Everything here is a function of the disk models and DiskInfo; nothing
// reads a sector.

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Utility/Layscan/Model/ConsistencyFinding.h"
#include "Utility/Layscan/Model/ExtentInfo.h"
#include "Utility/Layscan/Model/VolumePartition.h"
#include "Utility/Layscan/Model/StorageAccessAlignmentDescriptor.h"
#include "Utility/Layscan/Report/FindingLog.h"
#include "Utility/Layscan/Report/JsonWriter.h"

namespace nsLayout {
struct DiskInfo;
class GptDisk;
class MbrDisk;
class SectorCopies;
}  // namespace nsLayout

struct JsonRunFacts {
    std::string version;
    std::string platform;  // "linux" or "windows"
    std::string mode;      // "allDrives", "oneDrive", "sectorFile" or "image"
    // The options that chose the inputs, in the order below, as typed
    // ("all" with an empty value).
    std::vector<std::pair<std::string, std::string>> inputs;
    bool verify = false;  // -verify: the report lists the consistency checks' findings
    std::string reportPath;
    bool reportOpened = true;
};

// A disk's shape as its source reports it.
struct JsonGeometry {
    uint32_t bytesPerSector = 0;
    uint32_t sectorsPerTrack = 0;
    uint64_t cylinders = 0;
    uint32_t heads = 0;
    uint64_t sectorCount = 0;
};

struct JsonDiskFacts {
    uint16_t number = 0;
    std::string path;  // the device path, or the input as given
    JsonGeometry reported;
    JsonGeometry translation;
    // The storage driver's descriptor; Version 0 when it is not known.
    nsLayout::StorageAccessAlignmentDescriptor accessAlignment;
};

class JsonReport {
public:
    // Writes the document's head: format, tool and run.
    JsonReport(std::ostream& out, const JsonRunFacts& run);

    void BeginDisk(const JsonDiskFacts& facts);
    // The current disk's findings; the report sections write into it.
    FindingLog& Findings() { return mFindings; }
    // Scheme, disk signature and alignment label, as soon as the model stands.
    void WriteLayout(const nsLayout::MbrDisk& disk);
    void WriteLayout(const nsLayout::GptDisk& disk);
    // The structures, once the disk's text sections are written.
    void WriteStructures(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& info);
    void WriteStructures(const nsLayout::GptDisk& disk, const nsLayout::DiskInfo& info);
    // Each partition's volume boot record, from the first sectors the model holds.
    void WriteVolumeBootRecords(const nsLayout::SectorCopies& copies, const nsLayout::VolumePartitionList& partitions,
                                const nsLayout::DiskInfo& info);
    // The consistency checks' findings, which the document holds whether or
    // not the report lists them (-verify).
    void AddConsistencyFindings(const ConsistencyFindings& findings);
    // Closes the disk: its warnings, and how its report ended (failureText
    // null when it completed; the section is the one the findings log was in).
    void EndDisk(const std::string* failureText);

    // The operating system's volumes, as the report's closing section lists
    // them; after the last disk.
    void WriteOsVolumes(const nsLayout::ExtentList& osVolumes);
    // The exit code; ends the document. Volumes not written are null: the run
    // ended before its volumes section.
    void Finish(int exitCode);

private:
    void CloseDisks();

    JsonWriter mWriter;
    FindingLog mFindings;
    size_t mDiskDepth = 0;
    bool mSchemeWritten = false;
    bool mDisksOpen = true;
    bool mVolumesWritten = false;
};
