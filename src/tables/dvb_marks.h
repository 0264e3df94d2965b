// Non-spacing marks of DVB text. Unlike Unicode, ISO/IEC 6937 and its kin send the mark before its letter; the pair
// becomes one precomposed character.
//
// A set turns a mark byte into a column and a base byte into a row of its grid of composed characters, both from 1:
//
//     composed[set.grid + (row - 1) * set.columns + column - 1]
//
// Both byte maps have an entry for every byte; 0 is "no mark", "no base". Grids lie back to back in one array of 840
// units (Latin 53 x 15, Greek 15 x 3). Sets 0 and 2 share the Latin grid. 1,536 bytes of maps and 1,680 of grids,
// without a pointer.
#pragma once

#include <array>
#include <cstdint>

namespace zelk::tables {

struct MarkSet {
    std::array<std::uint8_t, 256> columnOf; // by mark byte
    std::array<std::uint8_t, 256> rowOf;    // by base byte
    std::uint16_t grid;
    std::uint16_t columns;
};

inline constexpr unsigned int markSetCount = 3;
inline constexpr unsigned int latinRows = 1 + 26 + 26; // space, A to Z, a to z
inline constexpr unsigned int latinColumns = 15;
inline constexpr unsigned int greekRows = 15;
inline constexpr unsigned int greekColumns = 3;
inline constexpr unsigned int composedCount = latinRows * latinColumns + greekRows * greekColumns;

struct DvbMarks {
    std::array<MarkSet, markSetCount> sets; // ISO/IEC 6937; Greek; the marks of ISO 8859-1 and its kin
    std::array<char16_t, composedCount> composed;
};

extern const DvbMarks dvbMarks;

// 0 where the two do not compose.
constexpr char16_t composeIn(const DvbMarks &marks, unsigned int set, unsigned int base, unsigned int mark) {
    if (set >= markSetCount || base > 0xFF || mark > 0xFF) {
        return 0;
    }
    const MarkSet &markSet = marks.sets[set];
    const unsigned int column = markSet.columnOf[mark];
    const unsigned int row = markSet.rowOf[base];
    if (column == 0 || row == 0) {
        return 0;
    }
    return marks.composed[markSet.grid + (row - 1) * markSet.columns + column - 1];
}

} // namespace zelk::tables
