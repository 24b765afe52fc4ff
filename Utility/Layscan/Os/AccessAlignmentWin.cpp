#include <windows.h>

#include <string>

#include "Utility/Layscan/Os/AccessAlignment.h"

using nsLayout::StorageAccessAlignmentDescriptor;

namespace {

constexpr DWORD ioctlStorageQueryProperty = 0x002D1400;
constexpr uint32_t storageAccessAlignmentProperty = 6;
constexpr uint32_t propertyStandardQuery = 0;
constexpr uint32_t propertyExistsQuery = 1;

// The system's STORAGE_PROPERTY_QUERY: property, query type and one byte of
// additional parameters, 12 bytes with padding.
struct StoragePropertyQuery {
    uint32_t PropertyId;
    uint32_t QueryType;
    uint8_t AdditionalParameters[4];
};
static_assert(sizeof(StoragePropertyQuery) == 12, "the query is exchanged with the driver as is");

bool Query(HANDLE drive, uint32_t queryType, StorageAccessAlignmentDescriptor& descriptor) {
    StoragePropertyQuery query{};
    query.PropertyId = storageAccessAlignmentProperty;
    query.QueryType = queryType;
    DWORD returned = 0;
    return DeviceIoControl(drive, ioctlStorageQueryProperty, &query, sizeof(query), &descriptor,
                           sizeof(descriptor), &returned, nullptr) != FALSE;
}

}  // namespace

void QueryAccessAlignment(uint16_t diskNumber, StorageAccessAlignmentDescriptor& descriptor) {
    descriptor.Version = 0;
    const std::wstring path = L"\\\\?\\PHYSICALDRIVE" + std::to_wstring(diskNumber);
    HANDLE drive = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_EXISTING, 0, nullptr);
    if (drive == INVALID_HANDLE_VALUE) return;
    // Ask first whether the driver knows the property at all.
    if (!Query(drive, propertyExistsQuery, descriptor) || !Query(drive, propertyStandardQuery, descriptor))
        descriptor.Version = 0;
    CloseHandle(drive);
}
