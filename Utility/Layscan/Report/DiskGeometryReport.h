#pragma once
// The head of each disk's partition listing: disk number, size and shape, the
// MBR's disk signature, the sector sizes and alignment factors the storage
// driver reports, the sector size and partition alignment in use, and the
// column header of the MBR partition table, closed by the check of the MBR's
// boot signature.

#include <cstdint>
#include <string>

#include "Utility/Layscan/Model/StorageAccessAlignmentDescriptor.h"

class ReportStream;

class Geometry;
class Mbr;

// The column header of the MBR partition table that the geometry report ends with.
extern const std::wstring kMbrTableHeader;

// With the alignment the storage driver reported (Version 0: none, as for
// sector files and images, which have no driver of their own).
void WriteDiskGeometry(uint16_t diskNumber, const Mbr& mbr, const Geometry& geometry,
                       const std::wstring& alignmentLabel, const nsLayout::StorageAccessAlignmentDescriptor& alignment,
                       ReportStream& stream);
