#pragma once
// The report file: a wide stream that stores one byte per character (code
// points above 255 become '?') and CR LF for every line end, with no byte
// order mark, on every platform.

#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>

class ReportStreamBuf : public std::wstreambuf {
public:
    ReportStreamBuf() { setp(mChars, mChars + kBlockChars); }
    // A buffer that accepts everything and stores nothing.
    void Discard() { mDiscard = true; }
    ~ReportStreamBuf() override;
    bool Open(const std::string& path);
    void Close();
    bool IsOpen() const { return mFile != nullptr; }

protected:
    int_type overflow(int_type ch) override;
    std::streamsize xsputn(const char_type* s, std::streamsize n) override;
    int sync() override;

private:
    // Characters gather in the put area and go to the file a block at a time:
    // a long report is written in few calls instead of one per character.
    static constexpr size_t kBlockChars = 8192;
    // The converted bytes of up to this many blocks go to the file in one write.
    static constexpr size_t kBlocksPerWrite = 2;
    // Converts what the put area holds, then empties it.
    bool Drain();
    // Narrows count (at most kBlockChars) characters and expands their line ends into mBytes.
    bool Convert(const wchar_t* chars, size_t count);
    bool WriteBytes();
    std::FILE* mFile = nullptr;
    bool mDiscard = false;
    size_t mByteCount = 0;
    wchar_t mChars[kBlockChars];
    char mNarrow[kBlockChars];
    char mBytes[2 * kBlockChars * kBlocksPerWrite];
};

class FindingLog;

class ReportStream : public std::wostream {
public:
    // Opens for writing, truncating. On failure the stream is left in a failed
    // state and swallows everything written to it.
    explicit ReportStream(const std::string& path);
    // A stream that writes nowhere (fuzzing, tests that only count).
    ReportStream();
    void Close();
    // The log that WriteFindings also records into; none by default.
    void SetFindingLog(FindingLog* log) { mFindings = log; }
    FindingLog* GetFindingLog() const { return mFindings; }

private:
    ReportStreamBuf mBuf;
    FindingLog* mFindings = nullptr;
};
