#include "support/SectorFileWriter.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <unordered_map>
#include <stdexcept>

#include "SectorBuffer/Dev/SectorFile.h"

void PutBigEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    if (bytes.size() < offset + width) bytes.resize(offset + width);
    for (unsigned i = 0; i < width; ++i) bytes[offset + width - 1 - i] = static_cast<uint8_t>(value >> (8 * i));
}

void PutLittleEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    if (bytes.size() < offset + width) bytes.resize(offset + width);
    for (unsigned i = 0; i < width; ++i) bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}

void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

SectorFileWriter::SectorFileWriter(uint32_t bytesPerSector, uint64_t sectorCount)
    : mBytesPerSector(bytesPerSector), mSectorCount(sectorCount) {}

void SectorFileWriter::AddSector(uint64_t sector, const std::vector<uint8_t>& bytes) {
    if (bytes.size() != mBytesPerSector) throw std::invalid_argument("AddSector needs exactly one sector");
    AddSector(sector, bytes.data());
}

void SectorFileWriter::AddSector(uint64_t sector, const uint8_t* bytes) {
    if (mOmitZero && std::all_of(bytes, bytes + mBytesPerSector, [](uint8_t b) { return b == 0; })) return;
    mItems.push_back({sector, Kind::Data, static_cast<uint32_t>(mData.size())});
    mData.emplace_back(bytes, bytes + mBytesPerSector);
}

void SectorFileWriter::AddRecord(uint64_t sector, const std::vector<uint8_t>& record) {
    mItems.push_back({sector, Kind::Record, static_cast<uint32_t>(mData.size())});
    mData.push_back(record);
}

uint64_t SectorFileWriter::AddImage(const std::string& imagePath) {
    std::ifstream in(imagePath, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + imagePath);
    const size_t chunkSectors = std::max<size_t>(1, (1u << 20) / mBytesPerSector);
    std::vector<uint8_t> chunk(chunkSectors * mBytesPerSector);
    uint64_t sector = 0;
    for (;;) {
        in.read(reinterpret_cast<char*>(chunk.data()), static_cast<std::streamsize>(chunk.size()));
        const size_t whole = static_cast<size_t>(in.gcount()) / mBytesPerSector;
        for (size_t i = 0; i < whole; ++i) AddSector(sector + i, chunk.data() + i * mBytesPerSector);
        sector += whole;
        if (whole < chunkSectors) break;
    }
    return sector;
}

namespace {

// A compressed record of one sector: run-length (count 1 to 255, value pairs)
// when that is shorter, else stored.
std::vector<uint8_t> MakeRecord(const uint8_t* sector, uint32_t bytesPerSector) {
    std::vector<uint8_t> record{0, 0, SectorFile::kRecordRll};
    for (size_t i = 0; i < bytesPerSector;) {
        size_t run = 1;
        while (run < 255 && i + run < bytesPerSector && sector[i + run] == sector[i]) ++run;
        record.insert(record.end(), {static_cast<uint8_t>(run), sector[i]});
        i += run;
    }
    if (record.size() - SectorFile::kRecordHeadSize >= bytesPerSector) {
        record.assign({0, 0, SectorFile::kRecordStored});
        record.insert(record.end(), sector, sector + bytesPerSector);
    }
    if (record.size() > UINT16_MAX) throw std::length_error("a record longer than its length field");
    record[0] = static_cast<uint8_t>(record.size() >> 8);
    record[1] = static_cast<uint8_t>(record.size());
    return record;
}

}  // namespace

std::vector<uint8_t> SectorFileWriter::Build(Layout* layout) const {
    // Map order is sector order; of a sector added twice the last one counts.
    std::vector<Item> items = mItems;
    std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.sector < b.sector; });
    std::vector<Item> unique;
    unique.reserve(items.size());
    for (const Item& item : items) {
        if (!unique.empty() && unique.back().sector == item.sector) {
            unique.back() = item;
        } else {
            unique.push_back(item);
        }
    }

    const uint64_t headerSize = mVersion < 3    ? SectorFile::kHeaderSizeV2
                                : mVersion == 3 ? SectorFile::kHeaderSizeV3
                                                : SectorFile::kHeaderSizeV4;
    std::vector<uint8_t> file(headerSize, 0);
    std::memcpy(file.data(), SectorFile::kSignature, SectorFile::kSignatureLength);
    PutBigEndian(file, 0x0A, mBytesPerSector, 4);
    PutBigEndian(file, 0x0E, mSectorCount, 8);
    PutBigEndian(file, 0x16, unique.size(), 4);
    PutBigEndian(file, 0x22, mVersion, 4);
    file[0x26] = mCompressed ? 1 : 0;

    std::vector<uint64_t> offsets;
    offsets.reserve(unique.size());
    // Sectors with the same content share one record: the map may point any
    // number of sectors at the same offset.
    std::unordered_map<std::string, uint64_t> written;
    for (const Item& item : unique) {
        if (item.kind == Kind::Fill) {
            offsets.push_back(SectorFile::kFillOffsetFlag);
            continue;
        }
        const std::vector<uint8_t>& data = mData[item.dataIndex];
        if (item.kind == Kind::Record) {
            offsets.push_back(file.size());
            file.insert(file.end(), data.begin(), data.end());
            continue;
        }
        const std::vector<uint8_t> record = mCompressed ? MakeRecord(data.data(), mBytesPerSector) : data;
        const auto [at, added] = written.emplace(std::string(record.begin(), record.end()), file.size());
        offsets.push_back(at->second);
        if (added) file.insert(file.end(), record.begin(), record.end());
    }

    const uint64_t mapOffset = file.size();
    PutBigEndian(file, 0x1A, mapOffset, 8);
    file.insert(file.end(), SectorFile::kMapSignature, SectorFile::kMapSignature + SectorFile::kSignatureLength);
    file.resize(file.size() + unique.size() * SectorFile::kMapEntrySize);
    for (size_t i = 0; i < unique.size(); ++i) {
        const uint64_t at = mapOffset + SectorFile::kSignatureLength + i * SectorFile::kMapEntrySize;
        PutLittleEndian(file, at, unique[i].sector, 8);
        PutLittleEndian(file, at + 8, offsets[i], 8);
    }

    uint64_t badOffset = 0;
    if (mVersion >= 4) {
        badOffset = file.size();
        PutBigEndian(file, 0x3D, mBadSectors.empty() ? 0 : 1, 4);
        PutBigEndian(file, 0x41, badOffset, 8);
        file.insert(file.end(), SectorFile::kBadSectorSignature,
                    SectorFile::kBadSectorSignature + SectorFile::kSignatureLength);
        const uint64_t info = file.size();
        file.resize(info + SectorFile::kBadSectorInfoSize, 0);
        PutBigEndian(file, info, mBadSectors.size(), 8);
        for (uint64_t bad : mBadSectors) PutLittleEndian(file, file.size(), bad, 8);
    }

    if (layout) *layout = {mapOffset, badOffset};
    return file;
}

void SectorFileWriter::Save(const std::string& path, Layout* layout) const { WriteFileBytes(path, Build(layout)); }
