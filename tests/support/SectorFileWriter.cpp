#include "support/SectorFileWriter.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <unordered_map>

#include "SectorBuffer/Dev/SectorFile.h"

void PutBigEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    if (bytes.size() < offset + width) bytes.resize(offset + width);
    for (unsigned i = 0; i < width; ++i) bytes[offset + width - 1 - i] = uint8_t(value >> (8 * i));
}

void PutLittleEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    if (bytes.size() < offset + width) bytes.resize(offset + width);
    for (unsigned i = 0; i < width; ++i) bytes[offset + i] = uint8_t(value >> (8 * i));
}

void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

void SectorFileWriter::AddSector(uint64_t sector, const std::vector<uint8_t>& bytes) {
    if (bytes.size() != mBytesPerSector) throw std::invalid_argument("AddSector needs exactly one sector");
    AddSector(sector, bytes.data());
}

void SectorFileWriter::AddSector(uint64_t sector, const uint8_t* bytes) {
    if (mOmitZero && std::all_of(bytes, bytes + mBytesPerSector, [](uint8_t b) { return b == 0; })) return;
    mItems.push_back({sector, false, mData.size()});
    mData.emplace_back(bytes, bytes + mBytesPerSector);
}

uint64_t SectorFileWriter::AddImage(const std::string& imagePath) {
    std::ifstream in(imagePath, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + imagePath);
    const size_t chunkSectors = std::max<size_t>(1, (1u << 20) / mBytesPerSector);
    std::vector<uint8_t> chunk(chunkSectors * mBytesPerSector);
    for (uint64_t sector = 0;;) {
        in.read(reinterpret_cast<char*>(chunk.data()), std::streamsize(chunk.size()));
        const size_t whole = size_t(in.gcount()) / mBytesPerSector;
        for (size_t i = 0; i < whole; ++i) AddSector(sector + i, chunk.data() + i * mBytesPerSector);
        sector += whole;
        if (whole < chunkSectors) return sector;
    }
}

namespace {

// A compressed record of one sector: run-length (count 1 to 255, value pairs)
// when that is shorter, else stored.
std::vector<uint8_t> MakeRecord(const std::vector<uint8_t>& sector) {
    std::vector<uint8_t> record{0, 0, SectorFile::kRecordRll};
    for (size_t i = 0, run = 1; i < sector.size(); i += run, run = 1) {
        while (run < 255 && i + run < sector.size() && sector[i + run] == sector[i]) ++run;
        record.insert(record.end(), {uint8_t(run), sector[i]});
    }
    if (record.size() - SectorFile::kRecordHeadSize >= sector.size()) {
        record.assign({0, 0, SectorFile::kRecordStored});
        record.insert(record.end(), sector.begin(), sector.end());
    }
    if (record.size() > UINT16_MAX) throw std::length_error("a record longer than its length field");
    record[0] = uint8_t(record.size() >> 8);
    record[1] = uint8_t(record.size());
    return record;
}

}  // namespace

std::vector<uint8_t> SectorFileWriter::Build(Layout* layout) const {
    std::vector<Item> items = mItems;  // map order is sector order
    std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.sector < b.sector; });
    std::vector<uint8_t> file(mVersion < 3 ? SectorFile::kHeaderSizeV2
                              : mVersion == 3 ? SectorFile::kHeaderSizeV3 : SectorFile::kHeaderSizeV4, 0);
    std::memcpy(file.data(), SectorFile::kSignature, SectorFile::kSignatureLength);
    PutBigEndian(file, 0x0A, mBytesPerSector, 4);
    PutBigEndian(file, 0x0E, mSectorCount, 8);
    PutBigEndian(file, 0x16, items.size(), 4);
    PutBigEndian(file, 0x22, mVersion, 4);
    file[0x26] = mCompressed ? 1 : 0;

    // Sectors with the same content share one record: the map may point any
    // number of sectors at the same offset.
    std::vector<uint64_t> offsets;
    std::unordered_map<std::string, uint64_t> written;
    for (const Item& item : items) {
        if (item.fill) {
            offsets.push_back(SectorFile::kFillOffsetFlag);
            continue;
        }
        const std::vector<uint8_t>& data = mData[item.dataIndex];
        const std::vector<uint8_t> record = mCompressed ? MakeRecord(data) : data;
        const auto [at, added] = written.emplace(std::string(record.begin(), record.end()), file.size());
        offsets.push_back(at->second);
        if (added) file.insert(file.end(), record.begin(), record.end());
    }

    const uint64_t mapOffset = file.size();
    PutBigEndian(file, 0x1A, mapOffset, 8);
    file.insert(file.end(), SectorFile::kMapSignature, SectorFile::kMapSignature + SectorFile::kSignatureLength);
    for (size_t i = 0; i < items.size(); ++i) {
        PutLittleEndian(file, file.size(), items[i].sector, 8);
        PutLittleEndian(file, file.size(), offsets[i], 8);
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

void SectorFileWriter::Save(const std::string& path) const { WriteFileBytes(path, Build()); }
