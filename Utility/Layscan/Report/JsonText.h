#pragma once
// Texts of the model and the report as UTF-8 for the JSON document.

#include <string>
#include <string_view>

// UTF-16 code units (a GPT partition name) as UTF-8, surrogate pairs joined;
// an unpaired surrogate becomes U+FFFD.
std::string Utf8FromUtf16(std::u16string_view units);
// A wide text of this platform (UTF-16 on Windows, UTF-32 elsewhere) as UTF-8.
std::string Utf8FromWide(std::wstring_view text);
