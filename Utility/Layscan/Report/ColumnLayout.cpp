#include "Utility/Layscan/Report/ColumnLayout.h"

#include "Base/Dev/AssertionFailure.h"
#include "Utility/Layscan/Report/ReportPrimitives.h"

ColumnLayout::ColumnLayout(const std::wstring& header, std::initializer_list<const wchar_t*> names) {
    size_t from = 0;
    for (const wchar_t* name : names) {
        const std::wstring word(name);
        const size_t at = header.find(word, from);
        PRECONDITION_MSG(at != std::wstring::npos, "every column name is in the header");
        mColumns.push_back({at, at + word.size()});
        from = at + word.size();
    }
}

size_t ColumnLayout::GetStart(size_t column) const {
    PRECONDITION(column < mColumns.size());
    return mColumns[column].start;
}

size_t ColumnLayout::GetEnd(size_t column) const {
    PRECONDITION(column < mColumns.size());
    return mColumns[column].end;
}

ColumnLayout::Row& ColumnLayout::Row::Right(size_t column, const std::wstring& text) {
    const size_t end = mLayout.GetEnd(column);
    PlaceAt(text.size() < end ? end - text.size() : 0, text);
    return *this;
}

ColumnLayout::Row& ColumnLayout::Row::Left(size_t column, const std::wstring& text) {
    PlaceAt(mLayout.GetStart(column), text);
    return *this;
}

void ColumnLayout::Row::PlaceAt(size_t position, const std::wstring& text) {
    if (text.empty()) return;
    // What is already on the line keeps one blank between it and the value.
    if (!mText.empty() && position < mText.size() + 1) position = mText.size() + 1;
    mText.append(position - mText.size(), L' ');
    mText += text;
}

std::wstring ColumnLayout::Decimal(uint64_t value) {
    wchar_t digits[20];
    size_t first = sizeof digits / sizeof digits[0];
    do {
        digits[--first] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return std::wstring(digits + first, digits + sizeof digits / sizeof digits[0]);
}

std::wstring ColumnLayout::Count(uint64_t value) { return AddThousandsSeparators(Decimal(value), false); }

std::wstring ColumnLayout::Hex(uint64_t value, unsigned digits) {
    static const wchar_t hexDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    do {
        text.insert(text.begin(), hexDigits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    if (text.size() < digits) text.insert(0, digits - text.size(), L'0');
    return text;
}
