#pragma once
// Whole files as bytes, and byte-order helpers for tests that build or damage
// files field by field.

#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

inline void PutBigEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    if (bytes.size() < offset + width) bytes.resize(offset + width);
    for (unsigned i = 0; i < width; ++i) bytes[offset + width - 1 - i] = uint8_t(value >> (8 * i));
}

inline void PutLittleEndian(std::vector<uint8_t>& bytes, uint64_t offset, uint64_t value, unsigned width) {
    if (bytes.size() < offset + width) bytes.resize(offset + width);
    for (unsigned i = 0; i < width; ++i) bytes[offset + i] = uint8_t(value >> (8 * i));
}

inline uint64_t GetBigEndian(const std::vector<uint8_t>& bytes, uint64_t offset, unsigned width) {
    uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) value = (value << 8) | bytes.at(offset + i);
    return value;
}

inline uint64_t GetLittleEndian(const std::vector<uint8_t>& bytes, uint64_t offset, unsigned width) {
    uint64_t value = 0;
    for (unsigned i = width; i-- > 0;) value = (value << 8) | bytes.at(offset + i);
    return value;
}

inline void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

inline std::vector<uint8_t> ReadFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
