// Collation keys of U+0000 to U+215E. A key is four bytes, the most significant first:
//
//     main       the place in the alphabet; 0 with everything else 0: ignorable
//     accent     the variant of the letter; 0 is the plain one
//     case       0 for capitals and what has no case, 1 for small letters, 3 for the sharp s
//     expansion  0, or a second character (U+0001 to U+00FF) that is collated right after this one
//
// The keys lie in pages of 64 code points, and 134 pages share the distinct ones: about 5 KB. Letters, symbols and
// their order are explained in docs/collation.md.
#pragma once

#include "tables/page_table.h"

#include <cstddef>
#include <cstdint>

namespace zelk::tables {

inline constexpr unsigned int lastCollated = 0x215E;

// The key of all that has no key of its own, in the table and beyond it: after every letter, all alike.
inline constexpr std::uint32_t catchAllKey = 0xFF000000;

constexpr int mainOf(std::uint32_t key) {
    return static_cast<int>(key >> 24U);
}
constexpr int accentOf(std::uint32_t key) {
    return static_cast<int>(key >> 16U & 0xFFU);
}
constexpr int caseOf(std::uint32_t key) {
    return static_cast<int>(key >> 8U & 0xFFU);
}
constexpr unsigned int expansionOf(std::uint32_t key) {
    return key & 0xFFU;
}

inline constexpr std::size_t collationPageSize = 64;
inline constexpr std::size_t collationPageCount = lastCollated / collationPageSize + 1;
inline constexpr std::size_t distinctCollationPages = 20;

using CollationKeys = PageTable<std::uint32_t, collationPageSize, collationPageCount, distinctCollationPages>;
extern const CollationKeys collationKeys;

// Pages stand in the order of their first use and the pages below this code point are all different, so that their
// keys lie at collationKeys.pages[code] without a look at the page number.
inline constexpr unsigned int directlyIndexed = 0x0240;

constexpr std::uint32_t collationKeyOf(unsigned int code) {
    if (code < directlyIndexed) {
        return collationKeys.pages[code];
    }
    return code <= lastCollated ? collationKeys[code] : catchAllKey;
}

// The keys of ASCII a part at a time, for looking up many at once. What expands, the percent sign, has the main key
// 0xFF here, so that it is like nothing but itself.
struct AsciiCollation {
    std::uint8_t mains[128];
    std::uint8_t accents[128];
    std::uint8_t cases[128];
};
extern const AsciiCollation asciiCollation;

} // namespace zelk::tables
