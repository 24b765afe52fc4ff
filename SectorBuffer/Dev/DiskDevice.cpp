#include "SectorBuffer/Dev/DiskDevice.h"

#include <cstring>

namespace {

const char kGptSignature[8] = {'E', 'F', 'I', ' ', 'P', 'A', 'R', 'T'};

bool SignatureAt(DiskDevice& image, uint64_t offset) {
    char bytes[sizeof kGptSignature] = {};
    uint32_t done = 0;
    if (!image.Seek(offset) || !image.Read(bytes, sizeof bytes, done)) return false;
    return done == sizeof bytes && std::memcmp(bytes, kGptSignature, sizeof bytes) == 0;
}

}  // namespace

namespace DiskImage {

uint32_t GuessSectorSize(DiskDevice& image) {
    const bool at512 = SignatureAt(image, kDefaultSectorSize);
    const bool at4096 = SignatureAt(image, kLargeSectorSize);
    image.Seek(0);
    return at4096 && !at512 ? kLargeSectorSize : kDefaultSectorSize;
}

bool IsValidSectorSize(uint32_t bytes) {
    return bytes >= 512 && bytes <= 32768 && (bytes & (bytes - 1)) == 0;
}

}  // namespace DiskImage
