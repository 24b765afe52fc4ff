#include "Utility/Layscan/Report/ColumnLayout.h"

#include <ostream>

#include "Base/Dev/AssertionFailure.h"

ColumnLayout::ColumnLayout(const std::wstring& header, std::initializer_list<const wchar_t*> names) {
    size_t from = 0;
    for (const wchar_t* name : names) {
        const std::wstring word(name);
        const size_t at = header.find(word, from);
        PRECONDITION_MSG(at != std::wstring::npos, "every column name is in the header");
        mColumns.push_back({at, at + word.size()});
        from = at + word.size();
    }
    mWidth = header.size();
}

size_t ColumnLayout::GetStart(size_t column) const {
    PRECONDITION(column < mColumns.size());
    return mColumns[column].start;
}

size_t ColumnLayout::GetEnd(size_t column) const {
    PRECONDITION(column < mColumns.size());
    return mColumns[column].end;
}

namespace {

// A number formatted into the end of a buffer on the stack: the twenty digits
// of the largest value with their six separators, or sixteen hex digits
// zero-filled to at most 32.
class Figure {
public:
    static Figure Decimal(uint64_t value, bool separators) {
        Figure figure;
        for (unsigned digits = 0;; ++digits) {
            if (separators && digits != 0 && digits % 3 == 0) figure.Put(L',');
            figure.Put(static_cast<wchar_t>(L'0' + value % 10));
            value /= 10;
            if (value == 0) break;
        }
        return figure;
    }
    static Figure Hex(uint64_t value, unsigned digits) {
        static const wchar_t hexDigits[] = L"0123456789ABCDEF";
        Figure figure;
        do {
            figure.Put(hexDigits[value & 0xF]);
            value >>= 4;
        } while (value != 0);
        while (figure.View().size() < digits && figure.mFirst > 0) figure.Put(L'0');
        return figure;
    }
    std::wstring_view View() const { return {mChars + mFirst, kChars - mFirst}; }

private:
    static constexpr size_t kChars = 32;
    void Put(wchar_t c) { mChars[--mFirst] = c; }
    wchar_t mChars[kChars];
    size_t mFirst = kChars;
};

}  // namespace

ColumnLayout::Row::Row(const ColumnLayout& layout) : mLayout(layout) { mText.reserve(layout.mWidth); }

ColumnLayout::Row& ColumnLayout::Row::Right(size_t column, std::wstring_view text) {
    const size_t end = mLayout.GetEnd(column);
    PlaceAt(text.size() < end ? end - text.size() : 0, text);
    return *this;
}

ColumnLayout::Row& ColumnLayout::Row::Left(size_t column, std::wstring_view text) {
    PlaceAt(mLayout.GetStart(column), text);
    return *this;
}

ColumnLayout::Row& ColumnLayout::Row::RightDecimal(size_t column, uint64_t value) {
    return Right(column, Figure::Decimal(value, false).View());
}

ColumnLayout::Row& ColumnLayout::Row::RightCount(size_t column, uint64_t value) {
    return Right(column, Figure::Decimal(value, true).View());
}

ColumnLayout::Row& ColumnLayout::Row::RightHex(size_t column, uint64_t value, unsigned digits) {
    return Right(column, Figure::Hex(value, digits).View());
}

void ColumnLayout::Row::WriteLine(std::wostream& out) {
    mText += L'\n';
    out << mText;
    mText.pop_back();
}

void ColumnLayout::Row::PlaceAt(size_t position, std::wstring_view text) {
    if (text.empty()) return;
    // What is already on the line keeps one blank between it and the value.
    if (!mText.empty() && position < mText.size() + 1) position = mText.size() + 1;
    mText.append(position - mText.size(), L' ');
    mText += text;
}

std::wstring ColumnLayout::Decimal(uint64_t value) { return std::wstring(Figure::Decimal(value, false).View()); }

std::wstring ColumnLayout::Count(uint64_t value) { return std::wstring(Figure::Decimal(value, true).View()); }

std::wstring ColumnLayout::Hex(uint64_t value, unsigned digits) {
    std::wstring text(Figure::Hex(value, digits).View());
    if (text.size() < digits) text.insert(0, digits - text.size(), L'0');
    return text;
}
