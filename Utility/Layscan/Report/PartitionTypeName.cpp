#include "Utility/Layscan/Report/PartitionTypeName.h"

namespace {

struct TypeLabel {
    uint8_t type;
    const wchar_t* label;
};

// The report's vocabulary for partition types, historic ones included. The
// labels are kept exactly as engineers know them from earlier reports.
constexpr TypeLabel typeLabels[] = {
    {0x00, L"Unused"},       {0x01, L"FAT 12"},       {0x02, L"Xenix"},         {0x03, L"Xenix2"},
    {0x04, L"FAT 16"},       {0x05, L"Extend"},       {0x06, L"FAT 16B"},       {0x08, L"AIX"},
    {0x09, L"AIX Data"},     {0x0A, L"Boot Mgr"},     {0x0B, L"FAT 32"},        {0x0C, L"FAT 32"},
    {0x0E, L"FAT 16"},       {0x0F, L"Extendx"},      {0x10, L"OPUS 2"},        {0x11, L"Hid FAT12"},
    {0x12, L"CPQ Diag"},     {0x14, L"Hid FAT16"},    {0x16, L"Hid FAT16B"},    {0x17, L"Hid NTFS"},
    {0x18, L"Swap"},         {0x1B, L"Hid FAT32"},    {0x1C, L"Hid FAT32x"},    {0x1E, L"Hid FAT16x"},
    {0x24, L"NEC"},          {0x27, L"Recovery"},     {0x3C, L"KZ Flex"},       {0x3D, L"Hid NetWare"},
    {0x40, L"Venix"},        {0x41, L"RISC"},         {0x42, L"LDM Protect"},   {0x44, L"GOBack"},
    {0x50, L"Ontrack DM"},   {0x51, L"Ontrack DM1"},  {0x52, L"V386"},          {0x53, L"Ontrack DM2"},
    {0x54, L"Ontrack DM60"}, {0x55, L"EZ-Drive"},     {0x56, L"GoldenBow"},     {0x5C, L"Priam"},
    {0x61, L"SpeedStor"},    {0x63, L"Unix 386"},     {0x64, L"NetWare 286"},   {0x65, L"NetWare 3&4"},
    {0x66, L"NetWare 386"},  {0x67, L"NetWare"},      {0x68, L"NetWare"},       {0x69, L"NetWare NSS"},
    {0x70, L"Multi Boot"},   {0x75, L"PC/IX"},        {0x7F, L"Novell ISCSI"},  {0x80, L"Minix"},
    {0x81, L"Linux/Minix"},  {0x82, L"Linux Swap"},   {0x83, L"EXT2/EXT3"},     {0x84, L"Hid FAT"},
    {0x85, L"Linux Extend"}, {0x86, L"Volume Set1"},  {0x87, L"Volume Set2"},   {0x93, L"Amoeba"},
    {0x94, L"Amoeba BBT"},   {0x99, L"Mylex"},        {0xA0, L"Save To Disk"},  {0xA5, L"Free BSD"},
    {0xA6, L"Open BSD"},     {0xA7, L"NextStep"},     {0xAD, L"Novell SBD"},    {0xAE, L"Novell Remote"},
    {0xAF, L"Novell Temp"},  {0xB7, L"BSDI 1"},       {0xB8, L"BSDI 2"},        {0xC0, L"CTOS"},
    {0xC1, L"DR FAT23"},     {0xC2, L"Hid Ext2FS"},   {0xC3, L"Hid Swap"},      {0xC4, L"DR FAT16"},
    {0xC6, L"Disabled FAT"}, {0xC7, L"Disabled Set"}, {0xCF, L"Nvll VrtlDvc"},  {0xD8, L"CPM"},
    {0xDB, L"CPM"},          {0xDE, L"Dell Diag"},    {0xE1, L"Linux"},         {0xE3, L"SpeedStor"},
    {0xE4, L"SpeedStor"},    {0xEB, L"BeOS"},         {0xEE, L"GPT Protect"},   {0xF1, L"SpeedStor"},
    {0xF2, L"Secondary"},    {0xF4, L"SpeedStor"},    {0xFD, L"Linux RAID"},    {0xFE, L"LANstep"},
    {0xFF, L"Xenix BBT"},
};

constexpr uint8_t ntfsOrExfatType = 0x07;
// Bytes 3 to 7 of an exFAT boot sector; NTFS has "NTFS " there.
constexpr uint8_t exfatName[] = {'E', 'X', 'F', 'A', 'T'};
constexpr size_t exfatNameOffset = 3;

}  // namespace

std::wstring GetPartitionTypeName(uint8_t type, const uint8_t* firstSector, size_t size) {
    if (type == ntfsOrExfatType) {
        if (firstSector == nullptr || size < exfatNameOffset + sizeof(exfatName)) return L"NTFS";
        for (size_t i = 0; i < sizeof(exfatName); ++i)
            if (firstSector[exfatNameOffset + i] != exfatName[i]) return L"NTFS";
        return L"exFat";
    }
    for (const TypeLabel& entry : typeLabels)
        if (entry.type == type) return entry.label;
    return L"Unknown";
}
