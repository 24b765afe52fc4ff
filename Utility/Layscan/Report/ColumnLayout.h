#pragma once
// The columns of a report table, taken from its header line: each column is
// one of the header's words (or word groups such as "Part Table LBA"), and a
// row places its values under them. Numbers end where their header word ends,
// text starts where its header word starts. A value wider than its column
// pushes the rest of the row to the right, always after at least one blank,
// so neighbouring values never run together.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

class ColumnLayout {
public:
    // Finds each name in header, in order, each after the end of the one
    // before, so repeated words ("Head", "Sect") name different columns.
    // Every name must be in the header: the layouts are the report's own.
    ColumnLayout(const std::wstring& header, std::initializer_list<const wchar_t*> names);

    size_t GetColumnCount() const { return mColumns.size(); }
    // The position of the column's first character in the header.
    size_t GetStart(size_t column) const;
    // One past the position of the column's last character.
    size_t GetEnd(size_t column) const;

    // One line of the table, built from left to right.
    class Row {
    public:
        explicit Row(const ColumnLayout& layout);
        // text ends under the end of the column's header word.
        Row& Right(size_t column, std::wstring_view text);
        // text starts under the start of the column's header word.
        Row& Left(size_t column, std::wstring_view text);
        // Right() of Decimal, Count and Hex, without a string of their own:
        // the tables of long chains place millions of numbers.
        Row& RightDecimal(size_t column, uint64_t value);
        Row& RightCount(size_t column, uint64_t value);
        Row& RightHex(size_t column, uint64_t value, unsigned digits);
        // The line without a line end; trailing blanks never occur.
        const std::wstring& Text() const { return mText; }
        // Writes the line and its line end in one piece.
        void WriteLine(std::wostream& out);

    private:
        void PlaceAt(size_t position, std::wstring_view text);
        const ColumnLayout& mLayout;
        std::wstring mText;
    };

    // Plain decimal. Tables of long logical chains write millions of numbers;
    // this does not go through the C library's wide formatting.
    static std::wstring Decimal(uint64_t value);
    // Decimal with "," between groups of three digits, for counts meant for people.
    static std::wstring Count(uint64_t value);
    // Upper-case hexadecimal of exactly digits digits, zero-filled (more when the value needs them).
    static std::wstring Hex(uint64_t value, unsigned digits);

private:
    struct Column {
        size_t start;
        size_t end;
    };
    std::vector<Column> mColumns;
    // The header's length: what a row usually needs, reserved at once.
    size_t mWidth = 0;
};
