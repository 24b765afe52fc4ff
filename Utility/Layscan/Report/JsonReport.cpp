#include "Utility/Layscan/Report/JsonReport.h"

#include <map>

#include "Utility/Layscan/Model/DiskInfo.h"
#include "Utility/Layscan/Model/GptChecks.h"
#include "Utility/Layscan/Model/GptDisk.h"
#include "Utility/Layscan/Model/GptPartitionTable.h"
#include "Utility/Layscan/Model/Mbr.h"
#include "Utility/Layscan/Model/MbrDisk.h"
#include "Utility/Layscan/Model/SectorCopies.h"
#include "Utility/Layscan/Report/ConsistencySection.h"
#include "Utility/Layscan/Report/GptSection.h"
#include "Utility/Layscan/Report/JsonObject.h"
#include "Utility/Layscan/Report/JsonText.h"
#include "Utility/Layscan/Report/MbrPartitionInfoSection.h"
#include "Utility/Layscan/Report/MbrTableRow.h"
#include "Utility/Layscan/Report/PrintBpb.h"
#include "Utility/Layscan/Report/VolumeBootRecords.h"

using nsLayout::DiskInfo;
using nsLayout::EvaluateGptHeader;
using nsLayout::ExtentInfo;
using nsLayout::ExtentList;
using nsLayout::GptHeaderCheck;
using nsLayout::StorageAccessAlignmentDescriptor;
using nsLayout::VolumePartition;
using nsLayout::VolumePartitionList;

namespace {

// Names the format; a reader checks it before anything else.
const char* const kFormat = "layscan-report/1";

Json Text(const std::wstring& text) { return Utf8FromWide(text); }

Json GeometryJson(const JsonGeometry& g) {
    return {{"bytesPerSector", g.bytesPerSector},
            {"sectorsPerTrack", g.sectorsPerTrack},
            {"heads", g.heads},
            {"cylinders", g.cylinders},
            {"sectorCount", g.sectorCount}};
}

Json AccessAlignmentJson(const StorageAccessAlignmentDescriptor& d) {
    if (d.Version == 0) return nullptr;
    return {{"bytesPerLogicalSector", d.BytesPerLogicalSector},
            {"bytesPerPhysicalSector", d.BytesPerPhysicalSector},
            {"bytesPerCacheLine", d.BytesPerCacheLine},
            {"bytesOffsetForSectorAlignment", d.BytesOffsetForSectorAlignment},
            {"bytesOffsetForCacheAlignment", d.BytesOffsetForCacheAlignment}};
}

JsonObject Chs(uint64_t cylinder, uint32_t head, uint32_t sector) {
    JsonObject chs;
    chs.Number("cylinder", cylinder).Number("head", head).Number("sector", sector);
    return chs;
}

JsonObject StoredChs(const OnDiskCHS& chs) { return Chs(chs.GetCylinder(), chs.GetHead(), chs.GetSector()); }

JsonObject CalculatedChs(const Geometry& geometry, uint64_t lba) {
    uint64_t cylinder;
    uint32_t head, sector;
    geometry.GetChsFromLba(lba, cylinder, head, sector);
    return Chs(cylinder, head, sector);
}

JsonObject EntryJson(const nsLayout::SectorCopies& copies, const BootRecordBase& record, uint32_t slot) {
    const OnDiskMbrPartitionEntry& entry = record.GetEntry(slot);
    JsonObject json;
    json.Number("slot", slot)
        .Number("bootFlag", entry.GetBootIndicator())
        .Number("type", entry.GetPartitionType())
        .String("typeLabel", Utf8FromWide(PartitionTypeLabel(copies, record, slot)))
        .Object("beginChs", StoredChs(entry.GetBeginChs()))
        .Object("endChs", StoredChs(entry.GetEndChs()))
        .Number("startField", entry.GetStartSector())
        .Number("count", entry.GetSectorCount());
    // An empty entry describes no sectors: nothing is calculated for it.
    if (entry.GetPartitionType() == 0)
        return json.Null("start").Null("end").Null("calculatedBeginChs").Null("calculatedEndChs");
    const Geometry& geometry = record.GetGeometry();
    return json.Number("start", record.GetStartLba(slot))
        .Number("end", record.GetEndLba(slot))
        .Object("calculatedBeginChs", CalculatedChs(geometry, record.GetStartLba(slot)))
        .Object("calculatedEndChs", CalculatedChs(geometry, record.GetEndLba(slot)));
}

JsonObject BootRecordJson(const nsLayout::SectorCopies& copies, const BootRecordBase& record, const char* kind) {
    std::string entries = "[";
    for (uint32_t slot = 0; slot < record.GetMaxEntries(); ++slot) {
        if (slot) entries += ',';
        entries += EntryJson(copies, record, slot).Text();
    }
    entries += ']';
    JsonObject json;
    json.String("kind", kind)
        .Number("lba", record.GetMyLba())
        .Number("signature", record.GetRecord().GetSignature())
        .Bool("signatureValid", record.HasValidSignature())
        .Raw("entries", entries);
    return json;
}

Json FreeExtentJson(const nsLayout::FreeExtent& extent) {
    return {{"start", extent.start}, {"count", extent.count}, {"end", extent.start + extent.count - 1}};
}

// Bytes as the characters of their numbers, so that no byte is lost.
std::wstring Latin1(const std::string& bytes) {
    std::wstring text;
    for (char c : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return text;
}

std::string SignatureText(const OnDiskGptHeader& header) {
    uint8_t bytes[8];
    header.GetSignature(bytes, 0, sizeof bytes);
    // Each byte as the character of that number, so that no byte is lost.
    return Utf8FromWide(std::wstring(bytes, bytes + sizeof bytes));
}

uint32_t Reserved1(const OnDiskGptHeader& header) {
    uint8_t bytes[4];
    header.GetReserved1(bytes, 0, sizeof bytes);
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

Json HeaderJson(const GptPartitionTable& table, const char* role) {
    const OnDiskGptHeader& h = table.GetHeader();
    Json checks = Json::object();
    for (const GptHeaderCheck& check : EvaluateGptHeader(table)) checks[check.name] = check.passed;
    return {{"role", role},
            {"lba", table.GetHeaderLba()},
            {"signature", SignatureText(h)},
            {"revision", h.GetRevision()},
            {"headerSize", h.GetHeaderSize()},
            {"headerCrc32", h.GetHeaderCrc32()},
            {"reserved", Reserved1(h)},
            {"myLba", h.GetMyLba()},
            {"alternateLba", h.GetAlternateLba()},
            {"firstUsableLba", h.GetFirstUsableLba()},
            {"lastUsableLba", h.GetLastUsableLba()},
            {"diskGuid", Text(h.GetDiskGuid().ToText())},
            {"partitionEntryLba", h.GetPartitionEntryLba()},
            {"numberOfPartitionEntries", h.GetNumberOfPartitionEntries()},
            {"sizeOfPartitionEntry", h.GetSizeOfPartitionEntry()},
            {"partitionEntryArrayCrc32", h.GetPartitionEntryArrayCrc32()},
            {"checks", std::move(checks)}};
}

// Up to the first NUL unit.
std::string EntryName(const OnDiskGptPartitionEntry& entry) {
    char16_t units[OnDiskGptPartitionEntry::kNameUnits];
    entry.GetPartitionName(units, 0, OnDiskGptPartitionEntry::kNameUnits);
    std::u16string_view name(units, OnDiskGptPartitionEntry::kNameUnits);
    return Utf8FromUtf16(name.substr(0, name.find(u'\0')));
}

std::string Hex64(uint64_t value) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text(16, '0');
    for (int i = 15; i >= 0; --i, value >>= 4) text[i] = digits[value & 0xF];
    return text;
}

Json GptEntryJson(const GptPartitionTable& table, uint64_t index, uint32_t bytesPerSector) {
    const OnDiskGptPartitionEntry& entry = table.GetEntry(index);
    const GptEntryPlace place = PlaceOfGptEntry(table, index, bytesPerSector);
    return {{"index", index},
            {"arraySector", place.sector},
            {"indexInSector", place.indexInSector},
            {"typeGuid", Text(entry.GetPartitionTypeGuid().ToText())},
            {"uniqueGuid", Text(entry.GetUniquePartitionGuid().ToText())},
            {"firstLba", entry.GetFirstLba()},
            {"lastLba", entry.GetLastLba()},
            {"attributes", Hex64(entry.GetAttributes())},
            {"name", EntryName(entry)}};
}

const char* KindName(BpbKind kind) {
    switch (kind) {
        case BpbKind::Fat1216:
            return "fat12/16";
        case BpbKind::Fat32:
            return "fat32";
        case BpbKind::Ntfs:
            return "ntfs";
        case BpbKind::ExFat:
            return "exfat";
        case BpbKind::Fallback:
            return "fallback";
        case BpbKind::None:
            break;
    }
    return "blank";
}

Json BpbValue(const BpbField& field) {
    switch (field.format) {
        case BpbFormat::Text:
            return Utf8FromWide(Latin1(field.text));
        case BpbFormat::Bytes:
        case BpbFormat::Jump:
            return field.bytes;
        default:
            return field.number;
    }
}

std::string FindingJson(const LoggedFinding& finding) {
    JsonObject json;
    json.String("text", Utf8FromWide(finding.text)).String("section", finding.section);
    if (finding.place.structure.empty())
        json.Null("structure");
    else
        json.String("structure", finding.place.structure);
    json.Number("lba", finding.place.lba)
        .Number("index", finding.place.index)
        .Bool("fromConsistencyChecks", finding.place.fromConsistencyChecks);
    return json.Text();
}

}  // namespace

JsonReport::JsonReport(std::ostream& out, const JsonRunFacts& run) : mWriter(out) {
    mWriter.BeginObject();
    mWriter.Member("format", kFormat);
    mWriter.Member("tool", {{"name", "Layscan"}, {"version", run.version}, {"platform", run.platform}});
    Json inputs = Json::object();
    for (const auto& [option, value] : run.inputs) inputs[option] = option == "all" ? Json(true) : Json(value);
    mWriter.Member("run", {{"mode", run.mode},
                           {"inputs", std::move(inputs)},
                           {"verify", run.verify},
                           {"report", run.reportPath},
                           {"reportOpened", run.reportOpened}});
    mWriter.BeginArray("disks");
}

void JsonReport::BeginDisk(const JsonDiskFacts& facts) {
    mFindings = FindingLog();
    mSchemeWritten = false;
    mDiskDepth = mWriter.Depth();
    mWriter.BeginObject();
    mWriter.Member("number", facts.number);
    mWriter.Member("path", facts.path);
    mWriter.Member("sectorSize", facts.reported.bytesPerSector);
    mWriter.Member("sectorCount", facts.reported.sectorCount);
    mWriter.Member("reportedGeometry", GeometryJson(facts.reported));
    mWriter.Member("translationGeometry", GeometryJson(facts.translation));
    mWriter.Member("accessAlignment", AccessAlignmentJson(facts.accessAlignment));
}

void JsonReport::WriteLayout(const nsLayout::MbrDisk& disk) {
    mSchemeWritten = true;
    mWriter.Member("scheme", "mbr");
    mWriter.Member("diskSignature", disk.GetMbr()->GetRecord().GetDiskSignature());
    mWriter.Member("alignment", Text(disk.DetectAlignment()));
}

void JsonReport::WriteLayout(const nsLayout::GptDisk& disk) {
    mSchemeWritten = true;
    mWriter.Member("scheme", "gpt");
    mWriter.Member("diskSignature", disk.GetProtectiveMbr()->GetRecord().GetDiskSignature());
    mWriter.Member("alignment", Text(disk.DetectAlignment()));
}

void JsonReport::WriteStructures(const nsLayout::MbrDisk& disk, const DiskInfo& info) {
    const nsLayout::SectorCopies& copies = disk.GetSectorCopies();
    mWriter.BeginObject("mbr");
    mWriter.BeginArray("bootRecords");
    mWriter.RawElement(BootRecordJson(copies, *disk.GetMbr(), "mbr").Text());
    for (const auto& epbr : disk.GetEpbrList()) {
        const uint64_t next = epbr->GetNextEpbrLba();
        mWriter.RawElement(BootRecordJson(copies, *epbr, "epbr")
                               .Number("nextEpbrLba", next ? std::optional<uint64_t>(next) : std::nullopt)
                               .Text());
    }
    mWriter.End();
    mWriter.BeginArray("partitions");
    const uint64_t bytesPerSector = copies.GetBytesPerSector();
    for (const PartitionListRow& row : PartitionListRows(disk)) {
        JsonObject json;
        json.String("kind", row.record ? (row.logical ? "logical" : "primary") : "free")
            .Number("start", row.start)
            .Number("count", row.count)
            .String("typeLabel", Utf8FromWide(PartitionListType(row, copies)))
            .String("status", Utf8FromWide(PartitionListStatus(row)))
            .Bool("active", IsPartitionListRowActive(row))
            .Number("tableLba", row.record ? std::optional<uint64_t>(row.record->GetMyLba()) : std::nullopt)
            .Number("slot", row.record ? std::optional<uint64_t>(row.slot) : std::nullopt)
            .String("volume", Utf8FromWide(PartitionListVolume(row, info, bytesPerSector)));
        mWriter.RawElement(json.Text());
    }
    mWriter.End();
    const auto& extended = disk.GetExtendedPartition();
    mWriter.Member("extendedPartition", extended ? Json{{"type", extended->type},
                                                        {"start", extended->startLba},
                                                        {"count", extended->sectorCount}}
                                                 : Json(nullptr));
    mWriter.End();
}

void JsonReport::WriteStructures(const nsLayout::GptDisk& disk, const DiskInfo&) {
    const GptPartitionTable& primary = disk.GetPrimaryTable();
    const uint32_t bytesPerSector = disk.GetGeometry().GetBytesPerSector();
    mWriter.RawMember("protectiveMbr", BootRecordJson(disk.GetSectorCopies(), *disk.GetProtectiveMbr(), "mbr").Text());
    mWriter.BeginObject("gpt");
    mWriter.Member("headers",
                   Json::array({HeaderJson(primary, "primary"), HeaderJson(disk.GetBackupTable(), "backup")}));
    mWriter.BeginArray("entries");
    const uint64_t slots = GptSlotsShown(primary);
    for (uint64_t index = 0; index < slots; ++index)
        if (primary.IsEntryInUse(index)) mWriter.Element(GptEntryJson(primary, index, bytesPerSector));
    mWriter.End();
    mWriter.BeginArray("freeExtents");
    for (const nsLayout::FreeExtent& extent : disk.GetFreeSpace().GetExtents()) mWriter.Element(FreeExtentJson(extent));
    mWriter.End();
    mWriter.End();
}

void JsonReport::WriteVolumeBootRecords(const nsLayout::SectorCopies& copies, const VolumePartitionList& partitions,
                                        const DiskInfo& info) {
    mWriter.BeginArray("volumeBootRecords");
    std::vector<uint8_t> sector;
    for (const VolumePartition& p : partitions) {
        JsonObject record;
        record.Number("lba", p.firstLba).Bool("listed", GetsBpbListing(p));
        std::string fields = "[";
        if (GetsBpbListing(p)) {
            copies.Get(p.firstLba, 1, sector);
            const BpbListing listing = ListBpbSector(sector.data(), sector.size());
            record.String("kind", KindName(listing.kind));
            for (const BpbField& field : listing.fields) {
                if (fields.size() > 1) fields += ',';
                fields += JsonObject()
                              .Number("item", BpbItemNumber(field))
                              .String("label", Utf8FromWide(BpbItemName(field)))
                              .Value("value", BpbValue(field))
                              .Text();
            }
        } else {
            record.Null("kind");
        }
        record.String("volume", Utf8FromWide(VolumeOfPartition(p, info))).Raw("fields", fields + "]");
        mWriter.RawElement(record.Text());
    }
    mWriter.End();
}

void JsonReport::AddConsistencyFindings(const ConsistencyFindings& findings) {
    for (const ConsistencyFinding& finding : findings) {
        FindingPlace place{Utf8FromWide(finding.structure), {}, finding.index, true};
        mFindings.Add(ConsistencyFindingLine(finding), place, reportsection::kConsistencyChecks);
    }
}

void JsonReport::EndDisk(const std::string* failureText) {
    // A failure while the structures were written leaves them open.
    mWriter.CloseTo(mDiskDepth + 1);
    if (!mSchemeWritten) {
        mWriter.Member("scheme", "none");
        mWriter.Member("diskSignature", nullptr);
        mWriter.Member("alignment", nullptr);
    }
    mWriter.BeginArray("warnings");
    for (const LoggedFinding& finding : mFindings.Items()) mWriter.RawElement(FindingJson(finding));
    mWriter.End();
    mWriter.Member("failure", failureText ? Json{{"text", *failureText}, {"section", mFindings.Section()}}
                                          : Json(nullptr));
    mWriter.End();
}

void JsonReport::CloseDisks() {
    if (!mDisksOpen) return;
    mWriter.End();
    mDisksOpen = false;
}

void JsonReport::WriteOsVolumes(const ExtentList& osVolumes) {
    CloseDisks();
    // One element per volume, its extents in the order the system gave them.
    Json volumes = Json::array();
    std::map<std::wstring, size_t> byGuidPath;
    for (const ExtentInfo& e : osVolumes) {
        auto [at, added] = byGuidPath.emplace(e.volumeGuidPath, volumes.size());
        if (added)
            volumes.push_back({{"guidPath", Text(e.volumeGuidPath)},
                               {"paths", Text(e.volumePath)},
                               {"extents", Json::array()}});
        volumes[at->second]["extents"].push_back(
            {{"disk", e.diskNumber}, {"startingOffset", e.startingOffset}, {"length", e.extentLength}});
    }
    mWriter.Member("osVolumes", volumes);
    mVolumesWritten = true;
}

void JsonReport::Finish(int exitCode) {
    CloseDisks();
    if (!mVolumesWritten) mWriter.Member("osVolumes", nullptr);
    mWriter.Member("exitCode", exitCode);
    mWriter.End();
}
