#include "Utility/Layscan/ReportStream.h"

ReportStreamBuf::~ReportStreamBuf() { Close(); }

bool ReportStreamBuf::Open(const std::string& path) {
    Close();
    // Binary mode: the line-end translation is ours, so it is the same on every platform.
    mFile = std::fopen(path.c_str(), "wb");
    return mFile != nullptr;
}

void ReportStreamBuf::Close() {
    if (mFile) {
        std::fclose(mFile);
        mFile = nullptr;
    }
}

bool ReportStreamBuf::Put(wchar_t c) {
    if (!mFile) return mDiscard;
    if (c == L'\n') return std::fputc('\r', mFile) != EOF && std::fputc('\n', mFile) != EOF;
    unsigned char byte = static_cast<uint32_t>(c) > 255 ? '?' : static_cast<unsigned char>(c);
    return std::fputc(byte, mFile) != EOF;
}

ReportStreamBuf::int_type ReportStreamBuf::overflow(int_type ch) {
    if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
    return Put(traits_type::to_char_type(ch)) ? ch : traits_type::eof();
}

std::streamsize ReportStreamBuf::xsputn(const wchar_t* s, std::streamsize n) {
    std::streamsize i = 0;
    for (; i < n; ++i)
        if (!Put(s[i])) break;
    return i;
}

int ReportStreamBuf::sync() {
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
