// The rows of the Malaysian codes, SKMM MTSFB TC G001:2013, as the compiler reads them from data/malaysia_*.tsv, and
// all that is known of the official tables. The files stay plain, so that a receiver's maker can put the official rows
// in their place: a file that does not agree with what is known stops the build, and the compiler names the fault and
// the line.
//
// A row is a code of 0 and 1, a tab, and a piece of text. Blanks count, nothing is quoted, and only a line that begins
// with # is a comment.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace zelk::tables {

enum class Line : std::size_t {}; // of a file, from 1

struct MalaysiaRow {
    std::string_view code;
    std::string_view piece;
    Line line{};

    constexpr bool isRow(const MalaysiaRow &other) const { return code == other.code && piece == other.piece; }
};

inline constexpr std::size_t longestPiece = 4; // characters

enum class MalaysiaFile { malaysia_en, malaysia_ms };

struct KnownMalaysiaTable {
    MalaysiaFile file;
    std::array<std::size_t, longestPiece> pieces; // by length, from 1 character
    std::size_t shortestCode;                     // bits
    std::size_t longestCode;
    std::size_t sum;                       // of 2^(12 - code length)
    std::span<const MalaysiaRow> first;    // the first rows, in order
    std::span<const MalaysiaRow> anywhere; // rows whose place in the order is not known
    MalaysiaRow last;
    std::string_view longerCode; // the one code that begins with another code

    constexpr std::size_t rows() const { return pieces[0] + pieces[1] + pieces[2] + pieces[3]; }
};

inline constexpr MalaysiaRow firstEnglishRows[] = {
    {"100010011", "This"}, {"101100111", "show"}, {"110000001", " Thi"}, {"110000010", " sho"},
    {"110000011", "s an"}, {"110001011", "is s"}, {"110001100", "for "}, {"110010000", "tion"},
};
inline constexpr MalaysiaRow someEnglishRows[] = {
    {"1101", " "},  {"00011", "r"}, {"01000", "n"},      {"01010", "o"},
    {"01101", "s"}, {"01110", "t"}, {"111111110", "ma"}, {"111111111", "ea"},
};
inline constexpr KnownMalaysiaTable englishTable = {
    .file = MalaysiaFile::malaysia_en,
    .pieces = {93, 126, 20, 19},
    .shortestCode = 4,
    .longestCode = 11,
    .sum = 3968,
    .first = firstEnglishRows,
    .anywhere = someEnglishRows,
    .last = {"1001010100", "A"},
    .longerCode = {},
};

inline constexpr MalaysiaRow firstMalayRows[] = {
    {"010101101", "di A"}, {"010111001", "sika"}, {"011100010", "ng m"},
    {"011110011", "aksi"}, {"101000100", "ma. "}, {"101010111", "ikan"},
};
inline constexpr MalaysiaRow someMalayRows[] = {
    {"1000", " "},       {"1100", "a"},        {"00101", "e"},        {"01101", "i"},     {"10111", "n"},
    {"0001100", "yang"}, {"01001011", "dan "}, {"110111011", "nya "}, {"11111111", ". "}, {"1010001001", "9"},
};
inline constexpr KnownMalaysiaTable malayTable = {
    .file = MalaysiaFile::malaysia_ms,
    .pieces = {93, 130, 21, 21},
    .shortestCode = 4,
    .longestCode = 12,
    .sum = 3833,
    .first = firstMalayRows,
    .anywhere = someMalayRows,
    .last = {"110100010", "j"},
    .longerCode = "1010001001", // begins with the code of "ma. "
};

// What may be wrong with a file.
enum class Fault {
    None,
    RowIsNotCodeTabAndPiece,
    CodeIsShorterThanAllOfTheTable,
    CodeIsLongerThanAllOfTheTable,
    PieceIsNotPrintable7BitText,
    PieceIsLongerThanFourCharacters,
    ApostropheAndBackslashHaveNoCode,
    TableBeginsWithOtherRows,
    FileHasMoreRowsThanTheTable,
    FileHasFewerRowsThanTheTable,
    TableHasAnotherLastRow,
    PieceStandsInAnotherLineToo,
    CodeStandsInAnotherLineToo,
    CodeBeginsWithTheCodeOfAnotherLine,
    TableHasAnotherCodeForThisPieceOrPieceForThisCode,
    TableHasOtherNumbersOfPiecesOfOneToFourCharacters,
    SumOfTwoToThePowerOfMinusCodeLengthIsAnother,
};

struct Finding {
    Fault fault = Fault::None;
    Line line{}; // of a fault that no single row has, the last row's
};

// Instantiated for what has been found in a file: the compiler's message shows the arguments.
template <MalaysiaFile, Line, Fault fault>
struct MalaysiaFileAgrees {
    static_assert(fault == Fault::None, "a file of Malaysian rows does not agree with what is known of its table");
    static constexpr bool value = true;
};

constexpr Fault faultOf(const MalaysiaRow &row, const KnownMalaysiaTable &known) {
    const auto isPrintable = [](char character) { return ' ' <= character && character <= '~'; };
    if (row.code.empty() || row.code.find_first_not_of("01") != std::string_view::npos) {
        return Fault::RowIsNotCodeTabAndPiece;
    }
    if (row.code.size() < known.shortestCode) {
        return Fault::CodeIsShorterThanAllOfTheTable;
    }
    if (row.code.size() > known.longestCode) {
        return Fault::CodeIsLongerThanAllOfTheTable;
    }
    if (row.piece.empty() || !std::ranges::all_of(row.piece, isPrintable)) {
        return Fault::PieceIsNotPrintable7BitText;
    }
    if (row.piece.size() > longestPiece) {
        return Fault::PieceIsLongerThanFourCharacters;
    }
    return row.piece == "'" || row.piece == "\\" ? Fault::ApostropheAndBackslashHaveNoCode : Fault::None;
}

// A code or a piece as a number of 32 bits, its first bit highest: sorted, what goes on comes right after its
// beginning.
struct SortedText {
    std::uint64_t value;
    std::size_t length; // bits
    Line line;

    constexpr bool operator<(const SortedText &other) const {
        return value != other.value     ? value < other.value
               : length != other.length ? length < other.length
                                        : line < other.line;
    }
    constexpr bool goesOnFrom(const SortedText &before) const {
        return (value ^ before.value) >> (32 - before.length) == 0;
    }
};

constexpr SortedText sortedCode(std::string_view code, Line line) {
    std::uint64_t value = 0;
    for (const char bit : code) {
        value = value << 1U | (bit == '1' ? 1U : 0U);
    }
    return {value << (32 - code.size()), code.size(), line};
}

constexpr SortedText sortedPiece(std::string_view piece, Line line) {
    std::uint64_t value = 0;
    for (const char character : piece) {
        value = value << 8U | static_cast<unsigned char>(character);
    }
    return {value << (32 - 8 * piece.size()), 8 * piece.size(), line};
}

template <std::size_t Count>
struct MalaysiaRows {
    std::array<MalaysiaRow, Count> rows{};
    Finding found;
};

template <std::size_t Count>
constexpr Finding findDoubledPiece(const std::array<MalaysiaRow, Count> &rows) {
    std::array<SortedText, Count> pieces{};
    std::ranges::transform(rows, pieces.begin(), [](const auto &row) { return sortedPiece(row.piece, row.line); });
    std::sort(pieces.begin(), pieces.end());
    for (std::size_t i = 1; i < Count; ++i) {
        if (pieces[i].value == pieces[i - 1].value) {
            return {Fault::PieceStandsInAnotherLineToo, pieces[i].line};
        }
    }
    return {};
}

template <std::size_t Count>
constexpr Finding findCodeInCode(const std::array<MalaysiaRow, Count> &rows, const KnownMalaysiaTable &known) {
    std::array<SortedText, Count> codes{};
    std::ranges::transform(rows, codes.begin(), [](const auto &row) { return sortedCode(row.code, row.line); });
    std::sort(codes.begin(), codes.end());
    for (std::size_t i = 1; i < Count; ++i) {
        const SortedText &code = codes[i];
        if (!code.goesOnFrom(codes[i - 1])) {
            continue;
        }
        if (code.length == codes[i - 1].length) {
            return {Fault::CodeStandsInAnotherLineToo, code.line};
        }
        const SortedText longer = sortedCode(known.longerCode, code.line);
        if (code < longer || longer < code) {
            return {Fault::CodeBeginsWithTheCodeOfAnotherLine, code.line};
        }
    }
    return {};
}

template <std::size_t Count>
constexpr Finding findOtherRow(const std::array<MalaysiaRow, Count> &rows, const KnownMalaysiaTable &known) {
    for (const MalaysiaRow &wanted : known.anywhere) {
        const auto near = [&](const MalaysiaRow &row) { return row.code == wanted.code || row.piece == wanted.piece; };
        const auto row = std::ranges::find_if(rows, near);
        const MalaysiaRow &found = row == rows.end() ? rows.back() : *row;
        if (!found.isRow(wanted)) {
            return {Fault::TableHasAnotherCodeForThisPieceOrPieceForThisCode, found.line};
        }
    }
    return {};
}

template <std::size_t Count>
constexpr Finding findOtherFigure(const std::array<MalaysiaRow, Count> &rows, const KnownMalaysiaTable &known) {
    std::array<std::size_t, longestPiece> pieces{};
    std::size_t sum = 0;
    for (const MalaysiaRow &row : rows) {
        ++pieces[row.piece.size() - 1];
        sum += std::size_t{1} << (12 - row.code.size());
    }
    if (pieces != known.pieces) {
        return {Fault::TableHasOtherNumbersOfPiecesOfOneToFourCharacters, rows.back().line};
    }
    return {sum == known.sum ? Fault::None : Fault::SumOfTwoToThePowerOfMinusCodeLengthIsAnother, rows.back().line};
}

template <std::size_t Count>
constexpr Finding findFault(const std::array<MalaysiaRow, Count> &rows, const KnownMalaysiaTable &known) {
    if (!rows.back().isRow(known.last)) {
        return {Fault::TableHasAnotherLastRow, rows.back().line};
    }
    Finding found = findDoubledPiece(rows);
    found = found.fault == Fault::None ? findCodeInCode(rows, known) : found;
    found = found.fault == Fault::None ? findOtherRow(rows, known) : found;
    return found.fault == Fault::None ? findOtherFigure(rows, known) : found;
}

// The rows of a file, with the first thing that is wrong with them. `Count` is known.rows().
template <std::size_t Count>
constexpr MalaysiaRows<Count> readMalaysiaRows(std::string_view text, const KnownMalaysiaTable &known) {
    MalaysiaRows<Count> table;
    std::size_t count = 0;
    std::size_t number = 0;
    Line last{};
    while (!text.empty()) {
        const std::string_view content = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(content.size() + 1, text.size()));
        const Line line{++number};
        if (content.empty() || content.front() == '#') {
            continue;
        }
        if (count == Count) {
            return {table.rows, {Fault::FileHasMoreRowsThanTheTable, line}};
        }
        const std::size_t tab = std::min(content.find('\t'), content.size());
        MalaysiaRow &row = table.rows[count];
        row = {content.substr(0, tab), content.substr(std::min(tab + 1, content.size())), line};
        const Fault fault = tab == content.size() ? Fault::RowIsNotCodeTabAndPiece : faultOf(row, known);
        if (fault != Fault::None) {
            return {table.rows, {fault, line}};
        }
        if (count < known.first.size() && !row.isRow(known.first[count])) {
            return {table.rows, {Fault::TableBeginsWithOtherRows, line}};
        }
        last = line;
        ++count;
    }
    table.found = count == Count ? findFault(table.rows, known) : Finding{Fault::FileHasFewerRowsThanTheTable, last};
    return table;
}

} // namespace zelk::tables
