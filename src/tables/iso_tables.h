// The numbers by which ISO 8859 text is named: parts, as in the standard's name, and the tables of the supported ones.
#pragma once

#include "tables/byte_sets.h"

namespace zelk::tables {

inline constexpr unsigned int isoPartCount = 17; // parts above are ASCII only
inline constexpr unsigned int isoTableCount = 13;

inline constexpr std::array<ByteSet, isoTableCount> isoTableSets = {
    ByteSet::Ascii,               // 0
    ByteSet::Iso8859_1,           // 1
    ByteSet::Iso8859_2,           // 2
    ByteSet::Iso8859_3,           // 3
    ByteSet::Iso8859_4,           // 4
    ByteSet::Iso8859_5,           // 5
    ByteSet::Iso8859_7,           // 6
    ByteSet::Iso8859_9,           // 7
    ByteSet::Iso8859_10,          // 8
    ByteSet::Iso8859_13,          // 9
    ByteSet::Iso8859_14,          // 10
    ByteSet::Iso8859_15,          // 11
    ByteSet::Iso8859_16WithoutFF, // 12
};

// The table of each part; 0 where the part is not supported (Arabic, Hebrew, Thai) or does not exist (0 and 12).
inline constexpr std::array<std::uint8_t, isoPartCount> isoPartTables = {
    0, 1, 2, 3, 4, 5,  0,  6,  0, // 0 to 8
    7, 8, 0, 0, 9, 10, 11, 12,    // 9 to 16
};

// The combining mode of each table, of the same kind as those of the DVB tables: offered to callers, used by nothing
// here. -1 is none.
inline constexpr std::array<std::int8_t, isoTableCount> isoCombiningModes = {-1, -1, -1, -1, -1, -1, 1,
                                                                             2,  -1, -1, -1, -1, -1};

static_assert(isoTableSets[isoPartTables[7]] == ByteSet::Iso8859_7 && isoCombiningModes[isoPartTables[7]] == 1);
static_assert(isoTableSets[isoPartTables[9]] == ByteSet::Iso8859_9 && isoCombiningModes[isoPartTables[9]] == 2);
static_assert(isoTableSets[isoPartTables[13]] == ByteSet::Iso8859_13 && isoPartTables[12] == 0);
static_assert(isoTableSets[isoPartTables[16]] == ByteSet::Iso8859_16WithoutFF);

} // namespace zelk::tables
