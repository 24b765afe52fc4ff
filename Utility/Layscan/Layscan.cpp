#include "Utility/Layscan/Layscan.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>

#include "Base/Dev/AppConfig.h"
#include "Base/Dev/CommandLine.h"
#include "Base/Dev/MachineSummary.h"
#include "SectorBuffer/Dev/DiskSectorProvider.h"
#include "SectorBuffer/Dev/SectorFile.h"
#include "SectorBuffer/Dev/SimpleSectorBuffer.h"
#include "Utility/Layscan/FindingsSummary.h"
#include "Utility/Layscan/DiskCapture.h"
#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/DiskConsistency.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Os/AccessAlignment.h"
#include "Utility/Layscan/Model/DiskOutline.h"
#include "Utility/Layscan/Os/DriveConsole.h"
#include "Utility/Layscan/Os/DriveList.h"
#include "Utility/Layscan/Os/OsVolumeList.h"
#include "Utility/Layscan/Os/Platform.h"
#include "Utility/Layscan/Report/JsonReport.h"
#include "Utility/Layscan/Report/ReportDisk.h"
#include "Utility/Layscan/Report/ReportStream.h"
#include "Utility/Layscan/Report/VolumesReportedByOs.h"

using nsLayout::DiskInfo;
using nsLayout::DiskOutline;
using nsLayout::ExtentList;
using nsLayout::PartitionScheme;

namespace Layscan {

namespace {

const char* const kDefaultReportFile = "layscan.txt";
const char* const kAppName = "Layscan";

// Console texts of the run modes.
const char* const kAllDrivesStart = "Getting partition info from all drives \n";
const char* const kDriveStart = "Partition information for drive ";
const char* const kConnectFailed = "Error connecting to device ";
const char* const kConnectFailedOther = "Error: unable to connect to device ";
const char* const kReportFailed = "Error getting partition info:  ";
const char* const kSystemFailure = "System failure getting partitition info\n";
const char* const kOneDriveStart = "Getting partition information for  ";
const char* const kSectorFileFailed = "Error: unable to open sector file ";
const char* const kSectorFileStart = "Getting partition information from sector file ";
const char* const kImageFailed = "Error: unable to open image ";
const char* const kImageStart = "Getting partition information from image ";
const char* const kInvalidLine = "Error: Command line is not valid\n";
const char* const kCannotOpenOutput = "can't open output file";
const char* const kVersionPrefix = "layscan ";
const char* const kCannotOpenJson = "can't open JSON file";
// The -json path that means standard output.
const char* const kStandardOutput = "-";

// Where a failure that reached the entry point is recorded as coming from.
const wchar_t* const kEntrySource = L"Utility/Layscan/Layscan";
const wchar_t* const kEntryLine = L"1636";
const char* const kEntryFunction = "main";

// The shape the device reports; cylinder counts beyond 32 bits are held at the largest.
DiskDeviceGeometry GeometryOf(const DiskSectorProvider& provider) {
    DiskDeviceGeometry geometry = provider.GetGeometry();
    geometry.cylinders = std::min<uint64_t>(geometry.cylinders, std::numeric_limits<uint32_t>::max());
    return geometry;
}

// A physical drive's facts from the system: its volumes and, from its storage
// driver, its access alignment.
DiskInfo PhysicalDriveInfo(unsigned int number, const DiskSectorProvider& provider, const ExtentList& volumes) {
    DiskInfo info =
        DiskInfo::Make(static_cast<uint16_t>(number), provider.GetBytesPerSector(), volumes, true);
    info.geometry = GeometryOf(provider);
    QueryAccessAlignment(info.diskNumber, info.alignment);
    return info;
}

// The failure's own text, in narrow characters; false when it has none.
bool FailureText(const std::exception_ptr& failure, std::string& text) {
    try {
        std::rethrow_exception(failure);
    } catch (const Result& result) {
        text = Narrow(result.Message());
        return true;
    } catch (const std::exception& e) {
        text = e.what();
        return true;
    } catch (...) {
        return false;
    }
}

// A drive whose sector source could not be set up, with the failure's text.
void TellConnectFailure(std::ostream& console, const std::wstring& path, const std::string& text) {
    console << kConnectFailed << Narrow(path) << "\n\t" << text << std::endl;
}

// What the driver needs beyond the report stream: the console, the findings
// summary that each reported disk adds to, and what the command line asks of
// every disk.
struct RunOutput {
    ReportStream& report;
    std::ostream& console;
    FindingsSummary& summary;
    const DriveLister& drives;
    // -save: the sector file, or in the all-drives mode the folder; empty when not given.
    std::string save;
    bool verify = false;
    JsonReport* json = nullptr;  // the -json document, when there is one
};

// A shape as the document gives it: the source's sector size and count.
JsonGeometry JsonGeometryOf(const SectorProvider& source, const DiskDeviceGeometry& geometry) {
    return {source.GetBytesPerSector(), geometry.sectorsPerTrack, geometry.cylinders, geometry.tracksPerCylinder,
            source.GetSectorCount()};
}

// Reports one disk through a sector buffer over its source. A failure is told
// on the console and gives false; what the report already holds stays. where
// is what the summary shows after the disk number, path what the document
// names the disk by.
bool ReportOn(std::shared_ptr<SectorProvider> source, const DiskInfo& info, const std::string& where,
              const std::string& path, const RunOutput& run) {
    if (run.json) {
        JsonDiskFacts facts;
        facts.number = info.diskNumber;
        facts.path = path;
        facts.reported = JsonGeometryOf(*source, info.geometry);
        facts.translation = JsonGeometryOf(*source, DiskImage::kTranslationGeometry);
        facts.accessAlignment = info.alignment;
        run.json->BeginDisk(facts);
    }
    const ReportFindings before = run.report.Findings();
    DiskOutline outline;
    bool completed = true;
    try {
        SimpleSectorBuffer buffer(std::move(source));
        ReportDisk(buffer, info, run.report, &outline, run.json);
        if (run.json) run.json->EndDisk(nullptr);
    } catch (...) {
        std::string text;
        if (FailureText(std::current_exception(), text)) {
            run.console << kReportFailed << text << std::endl;
        } else {
            run.console << kSystemFailure;
            text = kSystemFailure;
            text.pop_back();  // the line end is the console's
        }
        if (run.json) run.json->EndDisk(&text);
        completed = false;
    }
    run.summary.AddDisk(info.diskNumber, where, outline, run.report.Findings() - before, !completed);
    return completed;
}

// ReportOn, with the disk captured into a sector file when savePath is not
// empty; a capture that fails gives false as well.
bool ReportSource(std::shared_ptr<SectorProvider> source, const DiskInfo& info, const std::string& where,
                  const std::string& path, const std::string& savePath, const RunOutput& run) {
    // A capture is finished whether the report completed or not: a disk whose
    // report ends on a failure is the one whose evidence matters most.
    DiskCapture capture(savePath, run.console);
    source = capture.Wrap(std::move(source));
    if (!source) return false;
    DiskInfo captured = info;
    captured.saving = !savePath.empty();
    const bool reported = ReportOn(std::move(source), captured, where, path, run);
    return capture.Finish() && reported;
}

void WriteOsVolumes(const ExtentList& volumes, ReportStream& out, JsonReport* json) {
    DumpVolumesReportedByOs(volumes, out);
    if (json) json->WriteOsVolumes(volumes);
}

ExtentList OsVolumes() {
    ExtentList volumes;
    try {
        if (!BuildOsVolumeList(volumes)) volumes.clear();
    } catch (...) {
        volumes.clear();
    }
    return volumes;
}

int RunAllDrives(const RunOutput& run) {
    ReportStream& out = run.report;
    std::ostream& console = run.console;
    console << kAllDrivesStart;
    const ExtentList volumes = OsVolumes();
    for (const DriveSlot& drive : run.drives()) {
        std::shared_ptr<DiskSectorProvider> provider;
        try {
            provider = std::make_shared<DiskSectorProvider>(drive.path, true);
        } catch (...) {
            std::string text;
            if (FailureText(std::current_exception(), text))
                TellConnectFailure(console, drive.path, text);
            else
                console << kSystemFailure;
            continue;
        }
        console << kDriveStart << drive.number << DriveConsoleSuffix(drive.path) << "\n";
        DiskInfo info = PhysicalDriveInfo(drive.number, *provider, volumes);
        info.verify = run.verify;
        const std::string savePath = run.save.empty() ? "" : DiskCapture::DrivePath(run.save, drive.number);
        ReportSource(std::move(provider), info, DriveConsoleSuffix(drive.path), Narrow(drive.path), savePath, run);
    }
    WriteOsVolumes(volumes, out, run.json);
    return 0;
}

int RunOneDrive(const std::string& typed, const RunOutput& run) {
    ReportStream& out = run.report;
    std::ostream& console = run.console;
    const ExtentList volumes = OsVolumes();
    const std::wstring path = PhysicalDrivePath(Widen(typed));
    unsigned int number = 0;
    std::from_chars(typed.data(), typed.data() + typed.size(), number);  // checked when parsed
    std::shared_ptr<DiskSectorProvider> provider;
    try {
        provider = std::make_shared<DiskSectorProvider>(path, true);
    } catch (...) {
        std::string text;
        if (FailureText(std::current_exception(), text))
            TellConnectFailure(console, path, text);
        else
            console << kConnectFailedOther << std::endl;
        return 1;
    }
    console << kOneDriveStart << Narrow(path) << "\n";
    DiskInfo info = PhysicalDriveInfo(number, *provider, volumes);
    info.verify = run.verify;
    if (!ReportSource(std::move(provider), info, DriveConsoleSuffix(path), Narrow(path), run.save, run)) return 1;
    WriteOsVolumes(volumes, out, run.json);
    return 0;
}

int RunSectorFile(const std::string& path, const RunOutput& run) {
    ReportStream& out = run.report;
    std::ostream& console = run.console;
    std::shared_ptr<SectorFile> file;
    try {
        file = std::make_shared<SectorFile>(Widen(path), true);
    } catch (...) {
        console << kSectorFileFailed << path << "\n";
        return 1;
    }
    console << kSectorFileStart << path << "\n";
    const ExtentList none;
    DiskInfo info = DiskInfo::Make(0, file->GetBytesPerSector(), none);
    info.verify = run.verify;
    if (!ReportSource(std::move(file), info, " (" + path + ")", path, run.save, run)) return 1;
    WriteOsVolumes(none, out, run.json);
    return 0;
}

int RunImage(const std::string& path, uint32_t sectorSize, const RunOutput& run) {
    ReportStream& out = run.report;
    std::ostream& console = run.console;
    std::shared_ptr<DiskSectorProvider> image;
    try {
        image = std::make_shared<DiskSectorProvider>(Widen(path), true, sectorSize);
    } catch (...) {
        console << kImageFailed << path << "\n";
        return 1;
    }
    console << kImageStart << path << "\n";
    // A block device has a geometry of its own; an image file is read in the
    // translation geometry, so that its report depends on nothing but the file.
    std::error_code ec;
    const ExtentList none;
    DiskInfo info = DiskInfo::Make(0, image->GetBytesPerSector(), none);
    info.verify = run.verify;
    if (std::filesystem::is_block_file(std::filesystem::path(path), ec)) info.geometry = GeometryOf(*image);
    if (!ReportSource(std::move(image), info, " (" + path + ")", path, run.save, run)) return 1;
    WriteOsVolumes(none, out, run.json);
    return 0;
}

const char* ModeName(RunMode mode) {
    switch (mode) {
        case RunMode::AllDrives:
            return "allDrives";
        case RunMode::OneDrive:
            return "oneDrive";
        case RunMode::SectorFile:
            return "sectorFile";
        case RunMode::Image:
            break;
    }
    return "image";
}

JsonRunFacts RunFactsOf(const Config::AppConfig& config, RunMode mode, const std::string& reportPath,
                        bool reportOpened) {
    JsonRunFacts run;
#ifdef LAYSCAN_VERSION
    run.version = LAYSCAN_VERSION;
#endif
    run.platform = PlatformName();
    run.mode = ModeName(mode);
    for (const char* option : {kAll, kDevice, kFile, kImage, kSectorSize})
        if (config.IsGiven(option)) run.inputs.emplace_back(option, option == kAll ? "" : config.Get(option));
    run.verify = config.IsGiven(kVerify);
    run.reportPath = reportPath;
    run.reportOpened = reportOpened;
    return run;
}

void SetApplicationIdentity(Config::AppConfig& config) {
    config.Set(Config::CommandLine::kAppName, kAppName);
    config.Set(Config::CommandLine::kAppVersion, LAYSCAN_VERSION);
}

}  // namespace

void ReportDisk(SectorProvider& sectors, const DiskInfo& info, ReportStream& out, DiskOutline* outline,
                JsonReport* json) {
    DiskOutline unused;
    DiskOutline& told = outline ? *outline : unused;
    // A disk without sectors has no sector 0 for either recogniser to read.
    if (sectors.GetSectorCount() == 0) return;
    // What the recognisers read, the model goes on from.
    nsLayout::SectorCopies copies(sectors.GetBytesPerSector(), sectors.GetSectorCount());
    // Asked first, so a disk both would take is reported as an MBR disk.
    if (nsLayout::IsMbr(sectors, copies)) {
        told.scheme = PartitionScheme::Mbr;
        const Geometry reported(sectors.GetBytesPerSector(), info.geometry.sectorsPerTrack, info.geometry.cylinders,
                                info.geometry.tracksPerCylinder, sectors.GetSectorCount());
        const nsLayout::MbrDisk disk(sectors, reported, std::move(copies));
        told.partitions = disk.GetPartitions().size();
        ReportMbrDisk(disk, info, out, json, [&] { return CheckConsistency(MbrDiskFactsOf(disk, sectors)); });
    } else if (nsLayout::IsGpt(sectors, copies)) {
        told.scheme = PartitionScheme::Gpt;
        const nsLayout::GptDisk disk(sectors, std::move(copies));
        // A disk whose report ends at once tells as little as before it had a model.
        if (!disk.GetBackupFailure()) told.partitions = disk.GetPartitions().size();
        ReportGptDisk(disk, info, out, json, [&] { return CheckConsistency(GptDiskFactsOf(disk, sectors)); });
    }
}

void DefineOptions(Config::CommandLine& line) {
    line.Define(kAll, "", L"Dump all layout information for all drives on machine");
    line.Define(kDevice, "device number", L"The device is specified as the physical device number starting with 0.",
                std::make_shared<Config::IsTypeValidator<unsigned int>>());
    line.Define(kFile, "file path", L"Path to sector file to be read",
                std::make_shared<Config::IsExistingFileValidator>());
    line.Define(kOut, "file path", L"Path to output file to be written",
                std::make_shared<Config::IsValidFileNameValidator>());
    line.Define(kImage, "image path", L"Path to a raw disk image or device to be read",
                std::make_shared<Config::IsExistingFileValidator>());
    line.Define(kSectorSize, "sector size", L"Sector size of the image in bytes (512 to 32768)",
                std::make_shared<Config::IsSectorSizeValidator>());
    // With all drives it names a folder, so it is not held to a file name.
    line.Define(kSave, "file path", L"Path to sector file to be written with the sectors the report read");
    line.Define(kVerify, "", L"Add each disk's consistency checks to its report");
    line.Define(kJson, "file path", L"Path to JSON document to be written beside the report (- for standard output)",
                std::make_shared<Config::IsValidFileNameValidator>());
    line.Define(kQuiet, "", L"Leave out the findings summary at the end of the console");
    line.Define(kVersion, "", L"Print the version and exit");
    line.DefineAlias("h", Config::CommandLine::kHelp);
}

bool IsAllByDefault(const Config::AppConfig& config) {
    return !config.IsGiven(kAll) && !config.IsGiven(kDevice) && !config.IsGiven(kFile) && !config.IsGiven(kImage);
}

RunMode SelectRunMode(const Config::AppConfig& config, bool allByDefault) {
    if (config.IsGiven(kAll) || allByDefault) return RunMode::AllDrives;
    if (config.IsGiven(kDevice)) return RunMode::OneDrive;
    if (config.IsGiven(kFile)) return RunMode::SectorFile;
    // Not all by default: one of the four was given, and only -image is left.
    return RunMode::Image;
}

void WriteReportHead(ReportStream& out) {
    out << GetMachineSummaryText() << std::endl << std::endl << std::endl;
    out << GetVdsAlignmentText() << std::endl;
    out.flush();
}

namespace {

// The file or device a one-disk mode reads; empty for all drives.
std::string InputPathOf(const Config::AppConfig& config, RunMode mode) {
    switch (mode) {
        case RunMode::OneDrive:
            return Narrow(PhysicalDrivePath(Widen(config.Get(kDevice))));
        case RunMode::SectorFile:
            return config.Get(kFile);
        case RunMode::Image:
            return config.Get(kImage);
        default:
            return {};
    }
}

}  // namespace

int RunReport(const Config::AppConfig& config, bool allByDefault, ReportStream& out, std::ostream& console,
              FindingsSummary* summary, JsonReport* json, const DriveLister& drives) {
    FindingsSummary untold;
    const RunOutput run{out,    console, summary ? *summary : untold, drives, config.IsGiven(kSave) ? config.Get(kSave) : "",
                        config.IsGiven(kVerify), json};
    const RunMode mode = SelectRunMode(config, allByDefault);
    if (mode == RunMode::AllDrives) return RunAllDrives(run);
    if (mode == RunMode::OneDrive) return RunOneDrive(config.Get(kDevice), run);
    if (mode == RunMode::SectorFile) return RunSectorFile(config.Get(kFile), run);
    unsigned int sectorSize = 0;  // 0: the image decides
    const std::string typed = config.Get(kSectorSize);
    std::from_chars(typed.data(), typed.data() + typed.size(), sectorSize);
    return RunImage(config.Get(kImage), sectorSize, run);
}

int RunLayscan(int argc, const char* const* argv, std::ostream& console, std::ostream& errors,
               const DriveLister& drives) {
    try {
        Config::AppConfig config;
        SetApplicationIdentity(config);
        Config::CommandLine line(config, console);
        DefineOptions(line);
        line.RegisterInternalUseOnly();
        const bool valid = line.Parse(argc, argv);
        if (line.HelpRequested()) {
            console << Narrow(line.HelpText()) << std::endl;
            return 0;
        }
        if (line.IsGiven(kVersion)) {
            console << kVersionPrefix << LAYSCAN_VERSION << std::endl;
            return 0;
        }
        if (!valid) {
            console << kInvalidLine;
            console << Narrow(line.ErrorText()) << std::endl;
            console << Narrow(line.UsageText()) << std::endl;
            return 1;
        }
        const bool allByDefault = IsAllByDefault(config);
        const RunMode mode = SelectRunMode(config, allByDefault);
        // Refused before the report is opened or a sector is read.
        if (config.IsGiven(kSave)) {
            const std::string refusal = DiskCapture::Refusal(config.Get(kSave), InputPathOf(config, mode));
            if (!refusal.empty()) {
                console << refusal;
                return 1;
            }
        }
        const std::string reportPath = config.IsGiven(kOut) ? config.Get(kOut) : kDefaultReportFile;
        // A report file that cannot be opened does not stop the run: the
        // console still tells what was found, and the report is lost.
        ReportStream report(reportPath);
        if (report.fail()) errors << kCannotOpenOutput << std::endl;
        // A document on standard output has it to itself: the console lines
        // move to the error stream.
        std::ostream* document = nullptr;
        std::ofstream documentFile;
        std::ostream* progress = &console;
        if (config.IsGiven(kJson)) {
            if (config.Get(kJson) == kStandardOutput) {
                SetStandardOutputBinary();
                document = &console;
                progress = &errors;
            } else {
                documentFile.open(config.Get(kJson), std::ios::binary | std::ios::trunc);
                if (documentFile) document = &documentFile;
                else errors << kCannotOpenJson << std::endl;
            }
        }
        std::unique_ptr<JsonReport> json;
        if (document)
            json = std::make_unique<JsonReport>(*document, RunFactsOf(config, mode, reportPath, !report.fail()));
        if (mode == RunMode::AllDrives || mode == RunMode::OneDrive) WriteReportHead(report);
        FindingsSummary summary;
        const int code = RunReport(config, allByDefault, report, *progress, &summary, json.get(), drives);
        report.Close();
        if (json) {
            json->Finish(code);
            document->flush();
        }
        summary.SetReport(reportPath, !report.fail());
        if (!config.IsGiven(kQuiet)) summary.Write(*progress);
        return code;
    } catch (...) {
        return ExitCodeOf(EntryFailure(std::current_exception()));
    }
}

Result EntryFailure(const std::exception_ptr& failure) {
    uint32_t code = 0xEBAB00CC;
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        code = 0xEBAB03F8;
    } catch (const std::logic_error&) {
        code = 0xEBAB03F9;
    } catch (const std::runtime_error&) {
        code = 0xEBAB03FA;
    } catch (const std::exception&) {
        code = 0xEBAB0013;
    } catch (...) {
    }
    return Result(code, {kEntrySource, kEntryLine}, kEntryFunction);
}

int ExitCodeOf(const Result& failure) { return failure.IsFailure() ? 1 : 0; }

}  // namespace Layscan
