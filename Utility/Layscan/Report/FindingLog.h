#pragma once
// The WARNING and ERROR lines of one disk's report as structured items: each
// line's exact text and where it belongs. The report sections write their
// findings through WriteFindings, which puts the text into the report and,
// when the stream carries a log, the same lines into the log; so the JSON
// document holds exactly the lines the text report holds, computed once.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ReportStream;

// The top-level sections of a disk's report, in the names the JSON document
// uses for them; kModel stands for the reading of the disk before any section.
namespace reportsection {
inline constexpr const char* kModel = "model";
inline constexpr const char* kPartitionInformation = "partitionInformation";
inline constexpr const char* kMasterBootRecord = "masterBootRecord";
inline constexpr const char* kEpbrChain = "epbrChain";
inline constexpr const char* kGpt = "gpt";
inline constexpr const char* kProtectiveMbr = "protectiveMbr";
inline constexpr const char* kGptDumps = "gptDumps";
inline constexpr const char* kVolumeBootRecords = "volumeBootRecords";
inline constexpr const char* kConsistencyChecks = "consistencyChecks";
}  // namespace reportsection

// The structures a finding can concern; kMbr is the boot record of sector 0,
// a GPT disk's protective MBR included.
namespace findingstructure {
inline constexpr const char* kMbr = "mbr";
inline constexpr const char* kEpbr = "epbr";
inline constexpr const char* kPrimaryGptHeader = "primaryGptHeader";
inline constexpr const char* kBackupGptHeader = "backupGptHeader";
inline constexpr const char* kGptEntry = "gptEntry";
}  // namespace findingstructure

// Where a finding belongs below its section: the boot record or GPT header
// (with its LBA), and the table row or entry index when it concerns one.
struct FindingPlace {
    std::string structure;  // empty when the finding concerns none
    std::optional<uint64_t> lba;
    std::optional<uint64_t> index;
    // Set for the findings of the consistency checks.
    bool fromConsistencyChecks = false;
};

struct LoggedFinding {
    std::wstring text;  // one line, without its line end
    const char* section;
    FindingPlace place;
};

class FindingLog {
public:
    // The section being written from now on; findings and a failure are
    // placed in it.
    void EnterSection(const char* section) { mSection = section; }
    const char* Section() const { return mSection; }
    // Every non-empty line of text, as one finding each, in the current
    // section or the one given.
    void Add(const std::wstring& text, const FindingPlace& place, const char* section = nullptr);
    const std::vector<LoggedFinding>& Items() const { return mItems; }

private:
    const char* mSection = reportsection::kModel;
    std::vector<LoggedFinding> mItems;
};

// Writes text (complete lines, as the checks return them) to the report and
// logs its lines when the stream carries a log.
void WriteFindings(ReportStream& out, const std::wstring& text, const FindingPlace& place);
