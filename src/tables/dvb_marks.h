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

// By byte: bit n for each mark of ISO/IEC 6937 of column n that composes with it to another character, or with a space
// to any. Bit 0, of column 0, which is no mark, is always set.
extern const std::array<std::uint16_t, 256> marksWornBy;

// Characters for kernels that look up 64 bytes at once, of the marks of ISO/IEC 6937 alone: the pairs with a letter
// whose character has two UTF-8 bytes, the first of which is one of four. Indices are the low bits of a byte, six or
// seven.
//
// A letter knows the marks that it composes with, so that a mark's row in a plane of characters is no wider than its
// letters: rows lie across each other where the letters of one are gaps of the other.
struct alignas(64) MarkPlanes {
    std::uint8_t bits[128];      // by byte of the upper half: a mark's bit in the sets of marks, or zero
    std::uint8_t rows[64];       // by mark: where its row begins
    std::uint8_t firstMarks[64]; // by letter: the set of those of 0xC0 to 0xC7 that it composes with
    std::uint8_t lastMarks[64];  // the same of 0xC8 to 0xCF
    std::uint8_t capitals[128];  // by row plus letter, modulo 128: six bits of the character and the number of its page
    std::uint8_t smalls[128];
    std::uint8_t leads[64]; // by page, and four bits that do not matter: the first byte of its UTF-8
    std::uint8_t lows[64];  // the bits 6 and 7 of the character
    std::uint8_t highs[64]; // its high byte
};

extern const MarkPlanes markPlanes;

} // namespace zelk::tables
