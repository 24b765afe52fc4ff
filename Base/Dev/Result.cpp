#include "Base/Dev/Result.h"

#include <map>

namespace {

const std::map<uint32_t, const wchar_t*>& Registry() {
    static const std::map<uint32_t, const wchar_t*> texts = {
        {SECTORBUFFER_ERROR_NO_REAL_BUFFER,
         L"The buffer cannot be accessed because it is not connected to an underlying representation."},
        {SECTORBUFFER_ERROR_DEVICE_READ_FAILED, L"Device %1 cannot read %3 sectors starting at LBA %2."},
        {SECTORBUFFER_ERROR_DEVICE_WRITE_FAILED, L"Device %1 cannot write %3 sectors starting at LBA %2."},
        {SECTORBUFFER_ERROR_ACCESS_BEYOND_DEVICE_END, L"Attempt to access sector %1 beyond end of device (%2)."},
        {SECTORBUFFER_ERROR_OUT_OF_SPACE, L"There are no more free sectors remaining on this device."},
        {SECTORBUFFER_MISALIGNED_READ, L"Device %1 read failure: Misaligned data."},
        {SECTORBUFFER_MISALIGNED_WRITE, L"Device %1 write failure: Misaligned data."},
        {SECTORBUFFER_READ_EXCEPTION, L"Unknown exception reading from SectorBuffer."},
        {SECTORBUFFER_WRITE_EXCEPTION, L"Unknown exception writing to SectorBuffer."},
        {SECTORBUFFER_USE_DEFAULT_IMPLEMENTATION, L"Use SectorBuffer's default implementation of this method."},
        {SECTORBUFFER_INFORMATION_ENCOUNTERED_BAD_SECTORS, L"Encountered %1 bad sectors during copy."},
        {SECTORBUFFER_WARNING_HARD_DRIVE_FAILING,
         L"The type of errors encountered indicate that this hard disk drive is about to fail. It is "
         L"recommended that this drive be replaced soon. To ignore this error and backup this drive, select the "
         L"ignore bad sectors option."},
        {SECTORBUFFER_WARNING_HOW_TO_IGNORE_BAD_SECTORS,
         L"To ignore this error and backup this drive, select the ignore bad sectors option."},
        {SECTORBUFFER_WARNING_WINAPI_CALL_FAILED, L"Win32/Win64 API %1 failed."},
        {SECTORBUFFER_ERROR_CANNOT_LOCK_VOLUME, L"Volume '%1' cannot be locked."},
        {SECTORBUFFER_ERROR_DEVICE_ACCESS_FAILED, L"Device %1 LBA %2 cannot be accessed."},
        {SECTORBUFFER_ERROR_CANNOT_UNLOCK_VOLUME, L"Volume '%1' cannot be unlocked."},
        {SECTORBUFFER_ERROR_CANNOT_DISMOUNT_VOLUME, L"Volume '%1' cannot be dismounted."},
        {SECTORBUFFER_ERROR_WINAPI_CALL_FAILED, L"Win32/Win64 API %1 failed."},
        {SECTORBUFFER_WARNING_LINUXAPI_CALL_FAILED, L"Linux32/Linux64 API %1 failed."},
        {SECTORBUFFER_ERROR_LINUXAPI_CALL_FAILED, L"Linux32/Linux64 API %1 failed."},
        {SECTORBUFFER_ERROR_INVALID_SECTORFILE_SIGNATURE, L"Invalid signature found in the sector file %1."},
        {SECTORBUFFER_ERROR_UNABLE_TO_FIND_PARENT_SECTORFILE,
         L"Unbale to create the sector file %1 because the parent %2 doesn't exist."},
        {SECTORBUFFER_ERROR_UNABLE_TO_CREATE_CHILD_SECTORFILE,
         L"Unbale to create the sector file %1 because the parent file version is too old."},
        {ERROR_SYSTEM_API_CALL_FAILED, L"Operating System API %1 failed."},
    };
    return texts;
}

}  // namespace

Result::Result(uint32_t code, std::vector<std::wstring> args, std::string function)
    : mCode(code), mArgs(std::move(args)), mFunction(std::move(function)) {
    if (mArgs.size() > 3) mArgs.resize(3);
    mNarrow = Narrow(Message());
}

std::wstring Result::RegisteredText(uint32_t code) {
    auto it = Registry().find(code);
    return it == Registry().end() ? std::wstring() : std::wstring(it->second);
}

std::wstring Result::Message() const {
    std::wstring text = RegisteredText(mCode);
    if (text.empty()) {
        wchar_t buf[32];
        swprintf(buf, 32, L"Result 0x%08X", static_cast<unsigned>(mCode));
        return buf;
    }
    std::wstring out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == L'%' && i + 1 < text.size() && text[i + 1] >= L'1' && text[i + 1] <= L'3') {
            size_t n = static_cast<size_t>(text[i + 1] - L'1');
            if (n < mArgs.size()) out += mArgs[n];
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::wstring Widen(const std::string& s) {
    std::wstring w;
    w.reserve(s.size());
    for (unsigned char c : s) w += static_cast<wchar_t>(c);
    return w;
}

std::string Narrow(const std::wstring& s) {
    std::string n;
    n.reserve(s.size());
    for (wchar_t c : s) n += (static_cast<uint32_t>(c) > 255) ? '?' : static_cast<char>(c);
    return n;
}
