#include "Utility/Layscan/ReportStream.h"

#include <cstring>

ReportStreamBuf::~ReportStreamBuf() { Close(); }

bool ReportStreamBuf::Open(const std::string& path) {
    Close();
    // Binary mode: the line-end translation is ours, so it is the same on every platform.
    mFile = std::fopen(path.c_str(), "wb");
    return mFile != nullptr;
}

void ReportStreamBuf::Close() {
    Drain();
    if (mFile) {
        std::fclose(mFile);
        mFile = nullptr;
    }
}

bool ReportStreamBuf::Drain() {
    const wchar_t* const begin = pbase();
    const wchar_t* const end = pptr();
    setp(mChars, mChars + kBlockChars);
    if (!mFile) return mDiscard || begin == end;
    // Narrow first, in a loop without a line-end branch so that it runs on
    // whole vectors, then copy the pieces between line ends with a "\r\n"
    // for each: reports run to hundreds of megabytes.
    const size_t count = static_cast<size_t>(end - begin);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t c = static_cast<uint32_t>(begin[i]);
        mNarrow[i] = static_cast<char>(c > 255 ? '?' : c);
    }
    const char* piece = mNarrow;
    const char* const last = mNarrow + count;
    size_t n = 0;
    for (const char* lineEnd; (lineEnd = static_cast<const char*>(std::memchr(piece, '\n', last - piece)));
         piece = lineEnd + 1) {
        std::memcpy(mBytes + n, piece, static_cast<size_t>(lineEnd - piece));
        n += static_cast<size_t>(lineEnd - piece);
        mBytes[n++] = '\r';
        mBytes[n++] = '\n';
    }
    std::memcpy(mBytes + n, piece, static_cast<size_t>(last - piece));
    n += static_cast<size_t>(last - piece);
    return std::fwrite(mBytes, 1, n, mFile) == n;
}

ReportStreamBuf::int_type ReportStreamBuf::overflow(int_type ch) {
    if (!Drain()) return traits_type::eof();
    if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
    *pptr() = traits_type::to_char_type(ch);
    pbump(1);
    return ch;
}

int ReportStreamBuf::sync() {
    if (!Drain()) return -1;
    if (!mFile) return mDiscard ? 0 : -1;
    return std::fflush(mFile) == 0 ? 0 : -1;
}

ReportStream::ReportStream(const std::string& path) : std::wostream(&mBuf) {
    if (!mBuf.Open(path)) setstate(std::ios::failbit);
}

ReportStream::ReportStream() : std::wostream(&mBuf) { mBuf.Discard(); }

void ReportStream::Close() {
    flush();
    mBuf.Close();
}
