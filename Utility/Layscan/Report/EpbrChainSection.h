#pragma once
// The EPBR chain section: every EPBR of the disk in the order the chains were
// walked, each with its heading, its entries as stored and as calculated, and
// its sector in hex.

class ReportStream;

namespace nsLayout {
class MbrDisk;
struct DiskInfo;
}  // namespace nsLayout

// Logical entries are labelled with their type, link entries "EPBR".
void WriteEpbrChainSection(const nsLayout::MbrDisk& disk, const nsLayout::DiskInfo& diskInfo, ReportStream& stream);
