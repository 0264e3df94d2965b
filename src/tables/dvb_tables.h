// Which single-byte set each table of DVB text is and which marks it has, and which table a region and a character code
// select.
#pragma once

#include "tables/byte_sets.h"

#include <array>
#include <cstdint>

namespace zelk::tables {

inline constexpr unsigned int dvbTableCount = 19;

inline constexpr std::uint8_t latinMarks = 0; // the sets of marks of dvb_marks.h
inline constexpr std::uint8_t greekMarks = 1;
inline constexpr std::uint8_t noMarks = 0xFF;

struct DvbTable {
    ByteSet set;
    std::uint8_t marks;
};

// Kept on purpose: the Greek marks belong to table 7, which is Arabic, and tables 16 and 18 lose letters to marks.
inline constexpr std::array<DvbTable, dvbTableCount> dvbTables = {{
    {ByteSet::DvbDefault, latinMarks},             // 0
    {ByteSet::Ascii, noMarks},                     // 1
    {ByteSet::Iso8859_1, noMarks},                 // 2
    {ByteSet::Iso8859_2, noMarks},                 // 3
    {ByteSet::Iso8859_3, noMarks},                 // 4
    {ByteSet::Iso8859_4, noMarks},                 // 5
    {ByteSet::Iso8859_5, noMarks},                 // 6
    {ByteSet::Iso8859_6, greekMarks},              // 7
    {ByteSet::Iso8859_7, noMarks},                 // 8
    {ByteSet::Iso8859_8, noMarks},                 // 9
    {ByteSet::Iso8859_9, noMarks},                 // 10
    {ByteSet::Iso8859_10, noMarks},                // 11
    {ByteSet::Iso8859_11, noMarks},                // 12
    {ByteSet::Iso8859_13, noMarks},                // 13
    {ByteSet::Iso8859_14, noMarks},                // 14
    {ByteSet::Iso8859_15, noMarks},                // 15
    {ByteSet::Iso8859_16, latinMarks},             // 16
    {ByteSet::Iso8859_5WithoutShortI, latinMarks}, // 17, selected by nothing
    {ByteSet::Iso8859_15, latinMarks},             // 18, whose text has the default table's marks
}};

inline constexpr unsigned int dvbRegionCount = 7; // regions above read every code as ISO 8859-9
inline constexpr unsigned int dvbCodeCount = 17;  // codes above select like code 0
inline constexpr std::uint8_t dvbOtherRegionTable = 10;

// By region (dvbCharSet_t) and code (DvbCode_t). A row is the plain one, code n for ISO 8859-n, with its own first
// cell; two regions change more, and the Chinese one reads every code with the default table.
inline constexpr std::array<std::array<std::uint8_t, dvbCodeCount>, dvbRegionCount> dvbSelectionMatrix = {{
    {10, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 13, 14, 15, 16}, // 0: ISO 8859-9
    {0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 13, 14, 15, 16},  // 1: the standard
    {3, 2, 3, 4, 5, 0, 7, 8, 9, 10, 11, 12, 1, 13, 14, 15, 16},  // 2: ISO 8859-2; code 5 is the default table
    {8, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 13, 14, 15, 16},  // 3: ISO 8859-7
    {10, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 13, 14, 15, 16}, // 4: as 0
    {18, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 13, 14, 15, 16}, // 5: ISO 8859-15 with marks
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},         // 6: GB 2312
}};

// The same to look up by whatever a caller gives: the last row stands for all regions above, and the columns above
// those of the matrix for all other codes.
inline constexpr unsigned int dvbSelectedRows = dvbRegionCount + 1;
inline constexpr unsigned int dvbSelectedColumns = 32;

inline constexpr auto dvbSelectedTables = []() {
    std::array<std::array<DvbTable, dvbSelectedColumns>, dvbSelectedRows> tables{};
    for (unsigned int row = 0; row < dvbSelectedRows; ++row) {
        for (unsigned int column = 0; column < dvbSelectedColumns; ++column) {
            const unsigned int code = column < dvbCodeCount ? column : 0;
            tables[row][column] = dvbTables[row < dvbRegionCount ? dvbSelectionMatrix[row][code] : dvbOtherRegionTable];
        }
    }
    return tables;
}();

constexpr DvbTable selectedDvbTable(unsigned int region, unsigned int code) {
    const unsigned int row = region < dvbSelectedRows ? region : dvbSelectedRows - 1;
    return dvbSelectedTables[row][code < dvbSelectedColumns ? code : dvbSelectedColumns - 1];
}

namespace matrix_checks {

constexpr bool selectsTables() {
    for (const auto &row : dvbSelectionMatrix) {
        for (const unsigned int table : row) {
            if (table >= dvbTableCount || table == 17) {
                return false;
            }
        }
    }
    return true;
}

constexpr unsigned int differencesToStandard(unsigned int region) {
    unsigned int count = 0;
    for (unsigned int code = 0; code < dvbCodeCount; ++code) {
        count += dvbSelectionMatrix[region][code] != dvbSelectionMatrix[1][code] ? 1U : 0U;
    }
    return count;
}

static_assert(selectsTables(), "table 17 is selected by nothing");
static_assert(dvbSelectionMatrix[0] == dvbSelectionMatrix[4]);
static_assert(differencesToStandard(0) == 1 && differencesToStandard(3) == 1 && differencesToStandard(5) == 1);
static_assert(differencesToStandard(2) == 2 && dvbSelectionMatrix[2][5] == 0, "kept on purpose");
static_assert(differencesToStandard(6) == 16);
static_assert(dvbTables[dvbSelectionMatrix[1][12]].set == ByteSet::Ascii, "ISO 8859 has no part 12");
static_assert(dvbTables[dvbOtherRegionTable].set == ByteSet::Iso8859_9);
static_assert(dvbTables[18].set == dvbTables[15].set);

} // namespace matrix_checks

} // namespace zelk::tables
