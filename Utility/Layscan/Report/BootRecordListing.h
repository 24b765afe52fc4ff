#pragma once
// What the master boot record section and the EPBR chain section share: the
// heading of one boot record, its entries as stored and as calculated, and
// the hex dump of its sector.

#include <cstdint>
#include <string>

class ReportStream;

class BootRecordBase;

// A blank line and a rule, then title and the disk number on one line.
void WriteBootRecordHeading(const std::wstring& title, uint16_t diskNumber, ReportStream& stream);

// The column header of the entry rows, under its own rule.
void WriteBootRecordEntryHeader(ReportStream& stream);

// One slot's two rows: "On Disk Values:" (boot indicator, both CHS values and
// the type as stored, the start field as stored and the sector count) and
// "Calculated:" (the CHS values that the record's geometry gives for the
// entry's first and last sector, cylinders above 1023 as computed, and those
// two sectors; nothing but the label for an empty entry).
void WriteBootRecordEntry(const BootRecordBase& record, uint32_t slot, const std::wstring& label,
                          ReportStream& stream);

// The record's copy of its sector (512 bytes, as the record was read and
// judged) in hex, after a blank line; nothing at all for a sector of one
// repeated byte.
void WriteBootRecordDump(const BootRecordBase& record, ReportStream& stream);
