#pragma once
// The tool's driver: its options, the choice of run mode, the run modes
// themselves, and the body of the entry point.
//
// Run modes, first match wins: -all; -device; -file; -image; none of these
// four given: all drives. Progress and error lines go to the console; the
// report goes to the report stream, and with -json a JSON document of the
// run to its own file or, for "-json -", to standard output (the console
// lines then go to the error stream).

#include <cstdint>
#include <exception>
#include <functional>
#include <iosfwd>
#include <vector>

#include "Base/Dev/Result.h"
#include "Utility/Layscan/Os/DriveList.h"

namespace Config {
class AppConfig;
class CommandLine;
}  // namespace Config
class FindingsSummary;
class JsonReport;
class ReportStream;
class SectorProvider;

namespace nsLayout {
struct DiskInfo;
struct DiskOutline;
}  // namespace nsLayout

namespace Layscan {

inline constexpr const char* kAll = "all";
inline constexpr const char* kDevice = "device";
inline constexpr const char* kFile = "file";
inline constexpr const char* kOut = "out";
inline constexpr const char* kImage = "image";
inline constexpr const char* kSectorSize = "sectorsize";
inline constexpr const char* kSave = "save";
inline constexpr const char* kQuiet = "quiet";
inline constexpr const char* kVersion = "version";

// The drives the all-drives mode reports: the machine's, or a test's own.
using DriveLister = std::function<std::vector<DriveSlot>()>;
inline constexpr const char* kVerify = "verify";
inline constexpr const char* kJson = "json";

enum class RunMode { AllDrives, OneDrive, SectorFile, Image };

// The tool's options, in their order of definition.
void DefineOptions(Config::CommandLine& line);
// True when none of -all, -device, -file, -image was given.
bool IsAllByDefault(const Config::AppConfig& config);
RunMode SelectRunMode(const Config::AppConfig& config, bool allByDefault);

// The complete report of one disk: recognise MBR or GPT, read its model, and
// write its sections. Nothing for a disk neither accepts. Read failures of
// the model's boot records and tables end the report before anything is
// written; those of what the sections show end it where they are shown.
// outline, when given, learns the scheme as soon as it is recognised and the
// partition count as soon as the model stands, so that it holds what was
// known even when the report ends early. With a JSON document, the disk goes
// into it as well.
void ReportDisk(SectorProvider& sectors, const nsLayout::DiskInfo& info, ReportStream& out,
                nsLayout::DiskOutline* outline = nullptr, JsonReport* json = nullptr);

// Machine summary, two empty lines and the volume-service alignment text.
void WriteReportHead(ReportStream& out);

// Runs the chosen mode; returns the exit code (0, or 1 for a failed one-drive,
// sector-file or image run). Each reported disk is added to summary when
// given; with a JSON document, each disk and the OS volumes go into it as well.
int RunReport(const Config::AppConfig& config, bool allByDefault, ReportStream& out, std::ostream& console,
              FindingsSummary* summary = nullptr, JsonReport* json = nullptr,
              const DriveLister& drives = ListPhysicalDrives);

// Everything the entry point does: parse, answer help and version, open the
// report, run, and end the console with the findings summary unless -quiet.
// Nothing escapes it: a failure that reaches it is recorded and gives exit code 1.
int RunLayscan(int argc, const char* const* argv, std::ostream& console, std::ostream& errors,
               const DriveLister& drives = ListPhysicalDrives);

// The failure result the entry point records for what reached it:
// std::bad_alloc 0xEBAB03F8, std::logic_error 0xEBAB03F9, std::runtime_error
// (the assertion family among them) 0xEBAB03FA, any other std::exception
// 0xEBAB0013, anything else 0xEBAB00CC. Its arguments are the source and line
// it stands for, its function "main".
Result EntryFailure(const std::exception_ptr& failure);
// 1 for a failure code, else 0.
int ExitCodeOf(const Result& failure);

}  // namespace Layscan
