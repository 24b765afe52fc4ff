#pragma once
// The report file: a wide stream that stores one byte per character (code
// points above 255 become '?') and CR LF for every line end, with no byte
// order mark, on every platform. It counts the finding lines it writes, so
// that what the console tells of a report always equals the report's text.

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

// Lines that start with "WARNING" and lines that start with "ERROR".
struct ReportFindings {
    uint64_t warnings = 0;
    uint64_t errors = 0;
};
ReportFindings operator-(const ReportFindings& later, const ReportFindings& earlier);

class ReportStreamBuf : public std::wstreambuf {
public:
    ReportStreamBuf() { setp(mChars, mChars + kBlockChars); }
    // A buffer that accepts everything and stores nothing.
    void Discard() { mDiscard = true; }
    ~ReportStreamBuf() override;
    bool Open(const std::string& path);
    void Close();
    bool IsOpen() const { return mFile != nullptr; }
    // The finding lines written so far; a line counts once its first seven
    // characters or its line end have been written.
    ReportFindings Findings();
    // Writes text whose characters are already the report's bytes, after
    // what the put area holds: long generated texts (hex dumps) skip being
    // built wide and narrowed again.
    bool PutBytes(const char* text, size_t count);

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
    // Expands the line ends of count (at most kBlockChars) bytes into mBytes.
    bool Expand(const char* text, size_t count);
    bool WriteBytes();
    // Notes the text of one line, or of its start when lineEnds is false.
    void NoteLine(const char* begin, const char* end, bool lineEnds);
    std::FILE* mFile = nullptr;
    bool mDiscard = false;
    size_t mByteCount = 0;
    ReportFindings mFindings;
    // The start of the current line, as much as tells a finding line apart.
    static constexpr size_t kHeadChars = 7;
    char mHead[kHeadChars] = {};
    size_t mHeadLength = 0;
    bool mHeadJudged = false;
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
    ReportFindings Findings() { return mBuf.Findings(); }
    // Writes text of one byte per character, as a wide text of the same
    // characters would be written.
    void WriteBytes(std::string_view text);
    // The log that WriteFindings also records into; none by default.
    void SetFindingLog(FindingLog* log) { mFindings = log; }
    FindingLog* GetFindingLog() const { return mFindings; }

private:
    ReportStreamBuf mBuf;
    FindingLog* mFindings = nullptr;
};
