#include "Utility/Layscan/ReportStream.h"

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
    size_t n = 0;
    for (const wchar_t* c = begin; c != end; ++c) {
        if (*c == L'\n') mBytes[n++] = '\r';
        mBytes[n++] = static_cast<uint32_t>(*c) > 255 ? '?' : static_cast<char>(static_cast<unsigned char>(*c));
    }
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
