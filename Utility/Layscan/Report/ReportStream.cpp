#include "Utility/Layscan/Report/ReportStream.h"

#include <algorithm>
#include <cstring>
#include <string_view>

ReportStreamBuf::~ReportStreamBuf() { Close(); }

bool ReportStreamBuf::Open(const std::string& path) {
    Close();
    // Binary mode: the line-end translation is ours, so it is the same on every platform.
    mFile = std::fopen(path.c_str(), "wb");
    return mFile != nullptr;
}

void ReportStreamBuf::Close() {
    Drain();
    WriteBytes();
    if (mFile) {
        std::fclose(mFile);
        mFile = nullptr;
    }
}

bool ReportStreamBuf::Drain() {
    const wchar_t* const begin = pbase();
    const wchar_t* const end = pptr();
    setp(mChars, mChars + kBlockChars);
    return Convert(begin, static_cast<size_t>(end - begin));
}

bool ReportStreamBuf::Convert(const wchar_t* chars, size_t count) {
    // Narrow first, in a loop without a line-end branch so that it runs on
    // whole vectors: reports run to hundreds of megabytes.
    for (size_t i = 0; i < count; ++i) {
        const uint32_t c = static_cast<uint32_t>(chars[i]);
        mNarrow[i] = static_cast<char>(c > 255 ? '?' : c);
    }
    return Expand(mNarrow, count);
}

bool ReportStreamBuf::Expand(const char* text, size_t count) {
    if (!mFile && !mDiscard) return count == 0;
    // Every character may become two bytes.
    if (mByteCount + 2 * count > sizeof(mBytes) && !WriteBytes()) return false;
    // The pieces between line ends are copied with a "\r\n" for each.
    const char* piece = text;
    const char* const last = text + count;
    char* out = mBytes + mByteCount;
    for (const char* lineEnd; (lineEnd = static_cast<const char*>(std::memchr(piece, '\n', last - piece)));
         piece = lineEnd + 1) {
        NoteLine(piece, lineEnd, true);
        if (!mFile) continue;  // a discarding stream only counts
        out = std::copy(piece, lineEnd, out);
        *out++ = '\r';
        *out++ = '\n';
    }
    NoteLine(piece, last, false);
    if (mFile) out = std::copy(piece, last, out);
    mByteCount = static_cast<size_t>(out - mBytes);
    return true;
}

bool ReportStreamBuf::PutBytes(const char* text, size_t count) {
    if (!Drain()) return false;
    for (size_t done = 0; done < count;) {
        const size_t piece = std::min(kBlockChars, count - done);
        if (!Expand(text + done, piece)) return false;
        done += piece;
    }
    return true;
}

void ReportStreamBuf::NoteLine(const char* begin, const char* end, bool lineEnds) {
    if (!mHeadJudged) {
        const size_t take = std::min(kHeadChars - mHeadLength, static_cast<size_t>(end - begin));
        std::memcpy(mHead + mHeadLength, begin, take);
        mHeadLength += take;
        if (mHeadLength == kHeadChars || lineEnds) {
            const std::string_view head(mHead, mHeadLength);
            if (head.starts_with("WARNING")) ++mFindings.warnings;
            if (head.starts_with("ERROR")) ++mFindings.errors;
            mHeadJudged = true;
        }
    }
    if (lineEnds) {
        mHeadLength = 0;
        mHeadJudged = false;
    }
}

ReportFindings ReportStreamBuf::Findings() {
    Drain();
    return mFindings;
}

ReportFindings operator-(const ReportFindings& later, const ReportFindings& earlier) {
    return {later.warnings - earlier.warnings, later.errors - earlier.errors};
}

bool ReportStreamBuf::WriteBytes() {
    const size_t n = mByteCount;
    mByteCount = 0;
    return !mFile || std::fwrite(mBytes, 1, n, mFile) == n;
}

std::streamsize ReportStreamBuf::xsputn(const char_type* s, std::streamsize n) {
    // A long piece (a sector's hex dump) is converted where it stands rather
    // than copied into the put area first.
    if (n < static_cast<std::streamsize>(kBlockChars / 4)) return std::wstreambuf::xsputn(s, n);
    if (!Drain()) return 0;
    for (std::streamsize done = 0; done < n;) {
        const size_t count = std::min(kBlockChars, static_cast<size_t>(n - done));
        if (!Convert(s + done, count)) return done;
        done += static_cast<std::streamsize>(count);
    }
    return n;
}

ReportStreamBuf::int_type ReportStreamBuf::overflow(int_type ch) {
    if (!Drain()) return traits_type::eof();
    if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
    *pptr() = traits_type::to_char_type(ch);
    pbump(1);
    return ch;
}

int ReportStreamBuf::sync() {
    if (!Drain() || !WriteBytes()) return -1;
    if (!mFile) return mDiscard ? 0 : -1;
    return std::fflush(mFile) == 0 ? 0 : -1;
}

ReportStream::ReportStream(const std::string& path) : std::wostream(&mBuf) {
    if (!mBuf.Open(path)) setstate(std::ios::failbit);
}

ReportStream::ReportStream() : std::wostream(&mBuf) { mBuf.Discard(); }

void ReportStream::WriteBytes(std::string_view text) {
    // As a wide text would: nothing once the stream has failed, and a failed
    // write fails the stream.
    if (!good()) return;
    bool written;
    if (rdbuf() == &mBuf) {
        written = mBuf.PutBytes(text.data(), text.size());
    } else {
        // Another buffer was put in place (one that keeps the text): it gets the wide characters.
        std::wstring wide(text.size(), L' ');
        std::transform(text.begin(), text.end(), wide.begin(),
                       [](char c) { return static_cast<wchar_t>(static_cast<unsigned char>(c)); });
        written = rdbuf()->sputn(wide.data(), static_cast<std::streamsize>(wide.size())) ==
                  static_cast<std::streamsize>(wide.size());
    }
    if (!written) setstate(std::ios::badbit);
}

void ReportStream::Close() {
    flush();
    mBuf.Close();
}
