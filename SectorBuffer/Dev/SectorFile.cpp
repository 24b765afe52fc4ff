#include "SectorBuffer/Dev/SectorFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/Result.h"
#include "SectorBuffer/Dev/FileReplace.h"

namespace {

uint64_t BigEndian(const uint8_t* p, size_t width) {
    uint64_t v = 0;
    for (size_t i = 0; i < width; ++i) v = (v << 8) | p[i];
    return v;
}

uint64_t LittleEndian64(const uint8_t* p) {
    uint64_t v = 0;
    for (size_t i = 8; i-- > 0;) v = (v << 8) | p[i];
    return v;
}


// Failure texts for a file whose fields point outside it.
const char* const kHeaderTruncated = "The sector file header is truncated";
const char* const kBadSectorBlockOutside = "The bad-sector block lies beyond the end of the sector file";
const char* const kBadSectorListOutside = "The bad-sector list lies beyond the end of the sector file";
const char* const kMapOutside = "The sector map lies beyond the end of the sector file";
const char* const kRecordOutside = "A sector record lies beyond the end of the sector file";

void PutBigEndian(uint8_t* p, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) p[width - 1 - i] = static_cast<uint8_t>(value >> (8 * i));
}

void PutLittleEndian64(uint8_t* p, uint64_t value) {
    for (size_t i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(value >> (8 * i));
}

size_t HeaderSize(uint32_t version) {
    return version < 3 ? SectorFile::kHeaderSizeV2 : version == 3 ? SectorFile::kHeaderSizeV3 : SectorFile::kHeaderSizeV4;
}

// The system's reason for the last failed file call, for the user.
std::wstring LastReason(const char* fallback) {
    const int error = errno;
    return Widen(error != 0 ? std::strerror(error) : fallback);
}

Result InvalidSignature(const std::wstring& path) {
    return Result(SECTORBUFFER_ERROR_INVALID_SECTORFILE_SIGNATURE, {path}, "SectorFile::Open");
}

}  // namespace

SectorFile::SectorFile(const std::wstring& path, bool) : mPath(path) { Open(); }

SectorFile::SectorFile(const std::wstring& path, uint32_t bytesPerSector, uint64_t sectorCount, uint32_t version,
                       bool compressed)
    : mPath(path) {
    auto header = std::make_unique<Header>();
    header->mBytesPerSector = bytesPerSector;
    header->mNumberOfSectors = sectorCount;
    header->mVersion = version;
    header->mCompression = compressed ? 1 : 0;
    mHeader = std::move(header);
}

SectorFile::~SectorFile() { Discard(); }

std::unique_ptr<SectorFile> SectorFile::Create(const std::wstring& path, uint32_t bytesPerSector,
                                               uint64_t sectorCount, uint32_t version, bool compressed) {
    PRECONDITION(bytesPerSector >= 1 && bytesPerSector <= kMaxBytesPerSector);
    PRECONDITION(version <= kCurrentVersion);
    std::unique_ptr<SectorFile> file(new SectorFile(path, bytesPerSector, sectorCount, version, compressed));
    // Beside the final file, so that the rename stays on one file system; the
    // random part keeps two runs saving to one path from sharing it.
    const std::filesystem::path target(path);
    std::random_device random;
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%08x.tmp", static_cast<unsigned>(random()));
    file->mTempPath = target;
    file->mTempPath += suffix;
    errno = 0;
    file->mOut = std::make_unique<std::ofstream>(file->mTempPath, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!file->mOut->is_open()) {
        const std::wstring reason = LastReason("cannot create");
        file->mOut.reset();
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {L"create of " + path + L" (" + reason + L")"},
                     "SectorFile::Create");
    }
    // The header is written last, when the offsets are known; its room comes first.
    const std::vector<uint8_t> room(HeaderSize(version), 0);
    file->WriteBytes(room.data(), room.size());
    return file;
}

std::vector<uint8_t> SectorFile::Compress(const uint8_t* sector, uint32_t bytesPerSector) {
    std::vector<uint8_t> record{0, 0, kRecordRll};
    for (size_t i = 0, run = 1; i < bytesPerSector && record.size() - kRecordHeadSize < bytesPerSector;
         i += run, run = 1) {
        while (run < kMaxRunLength && i + run < bytesPerSector && sector[i + run] == sector[i]) ++run;
        record.push_back(static_cast<uint8_t>(run));
        record.push_back(sector[i]);
    }
    if (record.size() - kRecordHeadSize >= bytesPerSector) {
        record.assign({0, 0, kRecordStored});
        record.insert(record.end(), sector, sector + bytesPerSector);
    }
    CHECK_MSG(record.size() <= UINT16_MAX, "newLen <= UINT16_MAX");
    record[0] = static_cast<uint8_t>(record.size() >> 8);
    record[1] = static_cast<uint8_t>(record.size());
    return record;
}

void SectorFile::WriteBytes(const void* bytes, size_t length) {
    errno = 0;
    mOut->write(static_cast<const char*>(bytes), static_cast<std::streamsize>(length));
    CheckWritten("SectorFile::Write");
    mWriteOffset += length;
}

void SectorFile::CheckWritten(const char* function) {
    if (*mOut) return;
    const std::wstring reason = LastReason("write failed");
    Discard();
    throw Result(ERROR_SYSTEM_API_CALL_FAILED, {L"write of " + mPath + L" (" + reason + L")"}, function);
}

void SectorFile::Discard() {
    if (!mOut) return;
    mOut.reset();
    std::error_code ignored;
    std::filesystem::remove(mTempPath, ignored);
}

bool SectorFile::Holds(uint64_t sector) const {
    return mWriteMap.count(sector) != 0 || IsBadSector(sector);
}

void SectorFile::WriteFill(uint64_t sector) {
    PRECONDITION(mOut);
    PRECONDITION(sector < GetSectorCount());
    mWriteMap[sector] = kFillOffsetFlag;
}

void SectorFile::AddBadSector(uint64_t sector) {
    PRECONDITION(mOut);
    PRECONDITION(mHeader->GetVersion() >= 4);
    // Kept sorted and unique: Holds bisects it while the file is written.
    const auto at = std::lower_bound(mBadSectors.begin(), mBadSectors.end(), sector);
    if (at == mBadSectors.end() || *at != sector) mBadSectors.insert(at, sector);
}

void SectorFile::Close() {
    PRECONDITION(mOut);
    // Map: sorted by sector, as the reader bisects it.
    const uint64_t mapOffset = mWriteOffset;
    std::vector<MapEntry> entries;
    entries.reserve(mWriteMap.size());
    for (const auto& [sector, offset] : mWriteMap) entries.push_back({sector, offset});
    std::sort(entries.begin(), entries.end(), [](const MapEntry& a, const MapEntry& b) { return a.sector < b.sector; });
    std::vector<uint8_t> block(kSignatureLength + entries.size() * kMapEntrySize);
    std::memcpy(block.data(), kMapSignature, kSignatureLength);
    uint8_t* entry = block.data() + kSignatureLength;
    for (const MapEntry& e : entries) {
        PutLittleEndian64(entry, e.sector);
        PutLittleEndian64(entry + 8, e.offset);
        entry += kMapEntrySize;
    }
    WriteBytes(block.data(), block.size());

    const uint32_t version = mHeader->GetVersion();
    const uint64_t badSectorOffset = mWriteOffset;
    if (version >= 4) {
        block.assign(kSignatureLength + kBadSectorInfoSize + mBadSectors.size() * 8, 0);
        std::memcpy(block.data(), kBadSectorSignature, kSignatureLength);
        PutBigEndian(block.data() + kSignatureLength, mBadSectors.size(), 8);
        for (size_t i = 0; i < mBadSectors.size(); ++i)
            PutLittleEndian64(block.data() + kSignatureLength + kBadSectorInfoSize + i * 8, mBadSectors[i]);
        WriteBytes(block.data(), block.size());
    }

    CHECK_MSG(mWriteMap.size() <= UINT32_MAX, "The sector map has more entries than its count field holds");
    std::vector<uint8_t> header(HeaderSize(version), 0);
    std::memcpy(header.data(), kSignature, kSignatureLength);
    PutBigEndian(&header[0x0A], GetBytesPerSector(), 4);
    PutBigEndian(&header[0x0E], GetSectorCount(), 8);
    PutBigEndian(&header[0x16], mWriteMap.size(), 4);
    PutBigEndian(&header[0x1A], mapOffset, 8);
    PutBigEndian(&header[0x22], version, 4);
    header[0x26] = mHeader->IsCompressed() ? 1 : 0;
    if (version >= 4) {
        PutBigEndian(&header[0x3D], mBadSectors.empty() ? 0 : 1, 4);
        PutBigEndian(&header[0x41], badSectorOffset, 8);
    }
    mOut->seekp(0);
    WriteBytes(header.data(), header.size());
    errno = 0;
    mOut->close();
    CheckWritten("SectorFile::Close");
    mOut.reset();

    std::string reason;
    if (!FileReplace::Replace(mTempPath, std::filesystem::path(mPath), reason)) {
        std::error_code ignored;
        std::filesystem::remove(mTempPath, ignored);
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {L"rename to " + mPath + L" (" + Widen(reason) + L")"},
                     "SectorFile::Close");
    }
}

bool SectorFile::IsValidMapSignature(const uint8_t* bytes) {
    return std::memcmp(bytes, kMapSignature, kSignatureLength) == 0;
}

bool SectorFile::IsValidBadSectorSignature(const uint8_t* bytes) {
    return std::memcmp(bytes, kBadSectorSignature, kSignatureLength) == 0;
}

void SectorFile::Open() {
    OpenFile();
    ReadHeader();
    if (mHeader->GetVersion() >= 4) ReadBadSectors();
    ReadSectorMap();
    mFillSector.assign(GetBytesPerSector(), 0);
    mRecord.resize(GetBytesPerSector() + kRecordHeadSize);
}

void SectorFile::OpenFile() {
    const std::filesystem::path path(mPath);
    // The tool opens sector files only to read them; a writable open would be
    // for the write side, which this build does not have.
    errno = 0;
    auto file = std::make_unique<std::ifstream>(path, std::ios::in | std::ios::binary);
    if (!file->is_open()) {
        const int error = errno;
        std::string reason = error != 0 ? std::strerror(error) : "cannot open";
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {L"open of " + mPath + L" (" + Widen(reason) + L")"},
                     "SectorFile::OpenFile");
    }
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec) {
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {L"file size of " + mPath + L" (" + Widen(ec.message()) + L")"},
                     "SectorFile::OpenFile");
    }
    mFileSize = size;
    mFile = std::move(file);
}

bool SectorFile::InFile(uint64_t offset, uint64_t length) const {
    return offset <= mFileSize && length <= mFileSize - offset;
}

void SectorFile::ReadAt(uint64_t offset, void* target, uint64_t length) {
    ++mFileReadCount;
    mFile->clear();
    mFile->seekg(static_cast<std::streamoff>(offset), std::ios::beg);
    mFile->read(static_cast<char*>(target), static_cast<std::streamsize>(length));
    if (!*mFile || static_cast<uint64_t>(mFile->gcount()) != length) {
        throw Result(ERROR_SYSTEM_API_CALL_FAILED, {L"read of " + mPath}, "SectorFile::ReadAt");
    }
}

void SectorFile::ReadHeader() {
    uint8_t raw[kHeaderSizeV4] = {};
    const uint64_t firstPart = std::min<uint64_t>(mFileSize, kHeaderSizeV2);
    if (firstPart < kSignatureLength) throw InvalidSignature(mPath);
    ReadAt(0, raw, firstPart);
    if (std::memcmp(raw, kSignature, kSignatureLength) != 0) throw InvalidSignature(mPath);
    CHECK_MSG(firstPart == kHeaderSizeV2, kHeaderTruncated);

    auto header = std::make_unique<Header>();
    header->mVersion = static_cast<uint32_t>(BigEndian(raw + 0x22, 4));
    const uint32_t version = header->mVersion;
    CHECK_MSG(version <= 4, "Unsupported sector file header version");
    const size_t headerSize = version < 3 ? kHeaderSizeV2 : version == 3 ? kHeaderSizeV3 : kHeaderSizeV4;
    if (headerSize > kHeaderSizeV2) {
        CHECK_MSG(InFile(0, headerSize), kHeaderTruncated);
        ReadAt(0, raw, headerSize);
    }
    header->mBytesPerSector = static_cast<uint32_t>(BigEndian(raw + 0x0A, 4));
    header->mNumberOfSectors = BigEndian(raw + 0x0E, 8);
    header->mMapEntryCount = static_cast<uint32_t>(BigEndian(raw + 0x16, 4));
    header->mMapOffset = BigEndian(raw + 0x1A, 8);
    header->mCompression = raw[0x26];
    if (version >= 4) {
        header->mBadSectorField = static_cast<uint32_t>(BigEndian(raw + 0x3D, 4));
        header->mBadSectorOffset = BigEndian(raw + 0x41, 8);
    }
    const uint32_t bytesPerSector = header->mBytesPerSector;
    CHECK(bytesPerSector >= 1 && bytesPerSector <= kMaxBytesPerSector);
    mHeader = std::move(header);
}

void SectorFile::ReadBadSectors() {
    const uint64_t offset = mHeader->GetBadSectorOffset();
    CHECK_MSG(InFile(offset, kSignatureLength), kBadSectorBlockOutside);
    uint8_t signature[kSignatureLength];
    ReadAt(offset, signature, kSignatureLength);
    if (!IsValidBadSectorSignature(signature)) {
        throw InvalidSignature(mPath);
    }
    if (mHeader->GetBadSectorField() == 0) return;

    const uint64_t infoOffset = offset + kSignatureLength;
    CHECK_MSG(InFile(infoOffset, kBadSectorInfoSize), kBadSectorBlockOutside);
    uint8_t info[kBadSectorInfoSize];
    ReadAt(infoOffset, info, kBadSectorInfoSize);
    const uint64_t count = BigEndian(info, 8);
    const uint64_t listOffset = infoOffset + kBadSectorInfoSize;
    // Checked against the file before anything is allocated for it.
    CHECK_MSG(count <= (mFileSize - listOffset) / 8, kBadSectorListOutside);
    if (count == 0) return;
    std::vector<uint8_t> bytes(count * 8);
    ReadAt(listOffset, bytes.data(), bytes.size());
    mBadSectors.resize(count);
    for (uint64_t i = 0; i < count; ++i) mBadSectors[i] = LittleEndian64(bytes.data() + i * 8);
    std::sort(mBadSectors.begin(), mBadSectors.end());
}

void SectorFile::ReadSectorMap() {
    const uint64_t offset = mHeader->GetMapOffset();
    CHECK_MSG(InFile(offset, kSignatureLength), kMapOutside);
    uint8_t signature[kSignatureLength];
    ReadAt(offset, signature, kSignatureLength);
    if (!IsValidMapSignature(signature)) {
        throw InvalidSignature(mPath);
    }
    const uint64_t count = mHeader->GetMapEntryCount();
    const uint64_t entriesOffset = offset + kSignatureLength;
    // Checked against the file before anything is allocated for it.
    CHECK_MSG(InFile(entriesOffset, count * kMapEntrySize), kMapOutside);

    static_assert(sizeof(MapEntry) == kMapEntrySize);
    mSectorMap.resize(count);
    auto* target = reinterpret_cast<uint8_t*>(mSectorMap.data());
    const uint64_t piece = count < kSingleReadMapEntries ? count : kMapPieceEntries;
    for (uint64_t done = 0; done < count;) {
        const uint64_t n = std::min(piece, count - done);
        ReadAt(entriesOffset + done * kMapEntrySize, target + done * kMapEntrySize, n * kMapEntrySize);
        done += n;
    }
    // The entries are little-endian on disk whatever the machine's order.
    for (uint64_t i = 0; i < count; ++i) {
        const uint8_t* p = target + i * kMapEntrySize;
        mSectorMap[i] = MapEntry{LittleEndian64(p), LittleEndian64(p + 8)};
    }
    // Lookups bisect; a writer that broke the order still gets its sectors read.
    const auto bySector = [](const MapEntry& a, const MapEntry& b) { return a.sector < b.sector; };
    if (!std::is_sorted(mSectorMap.begin(), mSectorMap.end(), bySector))
        std::stable_sort(mSectorMap.begin(), mSectorMap.end(), bySector);
}

uint32_t SectorFile::GetBytesPerSector() const { return mHeader->GetBytesPerSector(); }

uint64_t SectorFile::GetSectorCount() const { return mHeader->GetNumberOfSectors(); }

void SectorFile::Read(uint64_t firstSector, uint64_t sectorCount, void* buffer) {
    DoRead(firstSector, sectorCount, static_cast<uint8_t*>(buffer));
}

void SectorFile::Write(uint64_t firstSector, uint64_t sectorCount, const void* buffer) {
    if (!mOut) {
        throw Result(SECTORBUFFER_ERROR_DEVICE_WRITE_FAILED,
                     {mPath, std::to_wstring(firstSector), std::to_wstring(sectorCount)}, "SectorFile::Write");
    }
    PRECONDITION_MSG(sectorCount <= GetSectorCount() && firstSector <= GetSectorCount() - sectorCount,
                     "start + count <= mHeader->GetNumberOfSectors()");
    PRECONDITION(buffer != nullptr || sectorCount == 0);
    const uint32_t bytesPerSector = GetBytesPerSector();
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    for (uint64_t i = 0; i < sectorCount; ++i) {
        const uint8_t* sector = bytes + i * bytesPerSector;
        std::vector<uint8_t> record = mHeader->IsCompressed() ? Compress(sector, bytesPerSector)
                                                              : std::vector<uint8_t>(sector, sector + bytesPerSector);
        // Sectors of equal content (zeros above all) share one record.
        const auto [at, added] = mRecordOffsets.try_emplace(std::string(record.begin(), record.end()), mWriteOffset);
        if (added) WriteBytes(record.data(), record.size());
        mWriteMap[firstSector + i] = at->second;
    }
}

bool SectorFile::IsBadSector(uint64_t sector) const {
    return std::binary_search(mBadSectors.begin(), mBadSectors.end(), sector);
}

void SectorFile::DoRead(uint64_t start, uint64_t count, uint8_t* buffer) {
    PRECONDITION(mHeader);
    PRECONDITION_MSG(count <= mHeader->GetNumberOfSectors() && start <= mHeader->GetNumberOfSectors() - count,
                     "start + count <= mHeader->GetNumberOfSectors()");
    PRECONDITION(buffer != nullptr);
    PRECONDITION(mFile);
    const uint64_t bytesPerSector = GetBytesPerSector();

    // One bit per requested sector: set while the sector is still to be read.
    std::vector<bool> unread(count, true);
    auto entry = std::lower_bound(mSectorMap.begin(), mSectorMap.end(), start,
                                  [](const MapEntry& e, uint64_t s) { return e.sector < s; });
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t s = start + i;
        uint8_t* slot = buffer + i * bytesPerSector;
        if (!mBadSectors.empty() && IsBadSector(s)) {
            throw Result(SECTORBUFFER_ERROR_DEVICE_READ_FAILED,
                         {mPath, std::to_wstring(start), std::to_wstring(count)}, "SectorFile::DoRead");
        }
        // The requested sectors ascend, so the bisection for the first one
        // leaves the cursor where the next lookup starts.
        while (entry != mSectorMap.end() && entry->sector < s) ++entry;
        if (entry == mSectorMap.end() || entry->sector != s) continue;
        unread[i] = false;
        if (entry->offset & kFillOffsetFlag) {
            std::memcpy(slot, mFillSector.data(), bytesPerSector);
        } else if (!mHeader->IsCompressed()) {
            ReadRaw(entry->offset, slot);
        } else {
            Decompress(entry->offset, slot);
        }
    }

    // Sectors the file does not hold: without a parent file they are zeros.
    uint64_t runStart = UINT64_MAX;
    for (uint64_t i = 0; i <= count; ++i) {
        const bool isUnread = i < count && unread[i];
        if (isUnread && runStart == UINT64_MAX) {
            runStart = i;
        } else if (!isUnread && runStart != UINT64_MAX) {
            std::memset(buffer + runStart * bytesPerSector, 0, (i - runStart) * bytesPerSector);
            runStart = UINT64_MAX;
        }
    }
}

void SectorFile::ReadRaw(uint64_t offset, uint8_t* target) {
    CHECK_MSG(InFile(offset, GetBytesPerSector()), kRecordOutside);
    ReadAt(offset, target, GetBytesPerSector());
}

void SectorFile::Decompress(uint64_t offset, uint8_t* target) {
    CHECK_MSG(InFile(offset, kRecordHeadSize), kRecordOutside);
    uint8_t head[kRecordHeadSize];
    ReadAt(offset, head, kRecordHeadSize);
    const uint64_t recordLength = BigEndian(head, 2);
    const uint8_t kind = head[2];
    CHECK(recordLength >= kRecordHeadSize && recordLength <= GetBytesPerSector() + kRecordHeadSize);
    const uint64_t payloadLength = recordLength - kRecordHeadSize;
    CHECK_MSG(InFile(offset + kRecordHeadSize, payloadLength),
              kRecordOutside);
    if (payloadLength > 0) ReadAt(offset + kRecordHeadSize, mRecord.data(), payloadLength);

    if (kind == kRecordStored) {
        CHECK(payloadLength == GetBytesPerSector());
        std::memcpy(target, mRecord.data(), payloadLength);
    } else if (kind == kRecordRll) {
        RllDecompress(mRecord.data(), payloadLength, target);
    } else {
        CHECK_MSG(false, "Invalid compression kind");
    }
}

void SectorFile::RllDecompress(const uint8_t* source, size_t sourceLength, uint8_t* target) {
    const uint8_t* s = source;
    const uint8_t* const sourceEnd = source + sourceLength;
    const uint64_t capacity = GetBytesPerSector();
    uint64_t targetLen = 0;
    // Writes stop at one sector; the length check below reports an overrun.
    while (sourceEnd - s >= 2) {
        const uint64_t runLength = s[0];
        const uint8_t value = s[1];
        s += 2;
        if (targetLen < capacity) std::memset(target + targetLen, value, std::min(runLength, capacity - targetLen));
        targetLen += runLength;
    }
    CHECK(s == sourceEnd);
    CHECK(targetLen == GetBytesPerSector());
}
