#pragma once
// A 32-bit result code of the framework with up to three text arguments.
// The top two bits give the severity (11 error, 10 warning, 01 information).
// A Result is also thrown: the sector sources raise it for data they cannot serve.

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

// The sector library's registered codes: its vocabulary, kept whole although
// this tool raises only some of them.
enum ResultCode : uint32_t {
    SECTORBUFFER_ERROR_NO_REAL_BUFFER = 0xE7C30001,
    SECTORBUFFER_ERROR_DEVICE_READ_FAILED = 0xE7C3000F,
    SECTORBUFFER_ERROR_DEVICE_WRITE_FAILED = 0xE7C30010,
    SECTORBUFFER_ERROR_ACCESS_BEYOND_DEVICE_END = 0xE7C30011,
    SECTORBUFFER_ERROR_OUT_OF_SPACE = 0xE7C30012,
    SECTORBUFFER_MISALIGNED_READ = 0xE7C30013,
    SECTORBUFFER_MISALIGNED_WRITE = 0xE7C30014,
    SECTORBUFFER_READ_EXCEPTION = 0xE7C30015,
    SECTORBUFFER_WRITE_EXCEPTION = 0xE7C30016,
    SECTORBUFFER_USE_DEFAULT_IMPLEMENTATION = 0xE7C30017,
    SECTORBUFFER_INFORMATION_ENCOUNTERED_BAD_SECTORS = 0x67C30018,
    SECTORBUFFER_WARNING_HARD_DRIVE_FAILING = 0xA7C30019,
    SECTORBUFFER_WARNING_HOW_TO_IGNORE_BAD_SECTORS = 0xA7C3001A,
    SECTORBUFFER_WARNING_WINAPI_CALL_FAILED = 0xA7C3001B,
    SECTORBUFFER_ERROR_CANNOT_LOCK_VOLUME = 0xE7C3001C,
    SECTORBUFFER_ERROR_DEVICE_ACCESS_FAILED = 0xE7C3001D,
    SECTORBUFFER_ERROR_CANNOT_UNLOCK_VOLUME = 0xE7C3001E,
    SECTORBUFFER_ERROR_CANNOT_DISMOUNT_VOLUME = 0xE7C3001F,
    SECTORBUFFER_ERROR_WINAPI_CALL_FAILED = 0xE7C30020,
    SECTORBUFFER_WARNING_LINUXAPI_CALL_FAILED = 0xA7C30021,
    SECTORBUFFER_ERROR_LINUXAPI_CALL_FAILED = 0xE7C30022,
    SECTORBUFFER_ERROR_INVALID_SECTORFILE_SIGNATURE = 0xE7C30023,
    SECTORBUFFER_ERROR_UNABLE_TO_FIND_PARENT_SECTORFILE = 0xE7C30024,
    SECTORBUFFER_ERROR_UNABLE_TO_CREATE_CHILD_SECTORFILE = 0xE7C30025,
    ERROR_SYSTEM_API_CALL_FAILED = 0xEBAB03EE,
};

class Result : public std::exception {
public:
    explicit Result(uint32_t code, std::vector<std::wstring> args = {}, std::string function = {});

    uint32_t Code() const { return mCode; }
    const std::vector<std::wstring>& Args() const { return mArgs; }
    const std::string& Function() const { return mFunction; }

    // The registered text of the code with %1 to %3 filled from the arguments.
    std::wstring Message() const;
    const char* what() const noexcept override { return mNarrow.c_str(); }

    bool IsFailure() const { return IsFailureCode(mCode); }
    // Bit 31 set, or a non-zero code with the upper 16 bits clear.
    static bool IsFailureCode(uint32_t code) { return (code & 0x80000000u) || (code != 0 && (code >> 16) == 0); }
    // The registered text of a code, or empty when the code is not registered.
    static std::wstring RegisteredText(uint32_t code);

private:
    uint32_t mCode;
    std::vector<std::wstring> mArgs;
    std::string mFunction;
    std::string mNarrow;
};

// Widens or narrows text one byte to one character, as the report does.
std::wstring Widen(const std::string& s);
std::string Narrow(const std::wstring& s);
