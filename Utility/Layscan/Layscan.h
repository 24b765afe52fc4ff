#pragma once
// The tool's driver: its options, the choice of run mode, the run modes
// themselves, and the body of the entry point.
//
// Run modes, first match wins: -all; -device; -file; -image; none of these
// four given: all drives. Progress and error lines go to the console; the
// report goes to the report stream.

#include <cstdint>
#include <exception>
#include <iosfwd>

#include "Base/Dev/Result.h"

namespace Config {
class AppConfig;
class CommandLine;
}  // namespace Config
class ReportStream;
class SectorProvider;

namespace nsLayout {
struct DiskInfo;
}  // namespace nsLayout

namespace Layscan {

inline constexpr const char* kAll = "all";
inline constexpr const char* kDevice = "device";
inline constexpr const char* kFile = "file";
inline constexpr const char* kOut = "out";
inline constexpr const char* kImage = "image";
inline constexpr const char* kSectorSize = "sectorsize";
inline constexpr const char* kVerify = "verify";

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
void ReportDisk(SectorProvider& sectors, const nsLayout::DiskInfo& info, ReportStream& out);

// Machine summary, two empty lines and the volume-service alignment text.
void WriteReportHead(ReportStream& out);

// Runs the chosen mode; returns the exit code (0, or 1 for a failed one-drive,
// sector-file or image run).
int RunReport(const Config::AppConfig& config, bool allByDefault, ReportStream& out, std::ostream& console);

// Everything the entry point does: parse, answer help, open the report, run.
// Nothing escapes it: a failure that reaches it is recorded and gives exit code 1.
int RunLayscan(int argc, const char* const* argv, std::ostream& console, std::ostream& errors);

// The failure result the entry point records for what reached it:
// std::bad_alloc 0xEBAB03F8, std::logic_error 0xEBAB03F9, std::runtime_error
// (the assertion family among them) 0xEBAB03FA, any other std::exception
// 0xEBAB0013, anything else 0xEBAB00CC. Its arguments are the source and line
// it stands for, its function "main".
Result EntryFailure(const std::exception_ptr& failure);
// 1 for a failure code, else 0.
int ExitCodeOf(const Result& failure);

}  // namespace Layscan
