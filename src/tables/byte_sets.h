// The 256-position character sets of the ISO 8859, Windows and DVB families: one pool, one lookup.
//
// A family keeps only a list that turns its own table numbers into members of the pool. A set is 256 code points, 512
// bytes; U+FFFD marks an unassigned position, and only position 0 holds 0 (U+FFFD in the DVB default table, whose
// controls are no characters). The pool holds no pointers, so it needs no relocation. Its members are written down in
// iso8859.h, windows.h and dvb_default.h.
#pragma once

#include <array>
#include <cstdint>

namespace zelk::tables {

using CodePoints = std::array<std::uint16_t, 256>;

inline constexpr std::uint16_t unassigned = 0xFFFD;

enum class ByteSet : std::uint8_t {
    Ascii, // 0x80 to 0xFF unassigned
    Iso8859_1,
    Iso8859_2,
    Iso8859_3,
    Iso8859_4,
    Iso8859_5,
    Iso8859_6,
    Iso8859_7, // first edition with the euro sign: 0xA5 and 0xAA unassigned
    Iso8859_8, // first edition: 0xFD and 0xFE unassigned
    Iso8859_9,
    Iso8859_10,
    Iso8859_11,
    Iso8859_13,
    Iso8859_14,
    Iso8859_15,
    Iso8859_16,
    Iso8859_16WithoutFF,    // 0xFF unassigned
    Iso8859_5WithoutShortI, // 0xB9 and 0xD9 unassigned
    Windows1250,
    Windows1251,
    Windows1252,
    Windows1253,
    Windows1254,
    Windows1257, // 0xFF unassigned
    DvbDefault,  // ETSI EN 300 468 Annex A, Figure A.1, with the receiver's choices
    Count
};

inline constexpr unsigned int byteSetCount = static_cast<unsigned int>(ByteSet::Count);

extern const std::array<CodePoints, byteSetCount> byteSetPool;

inline const CodePoints &codePointsOf(ByteSet set) {
    return byteSetPool[static_cast<unsigned int>(set)];
}

} // namespace zelk::tables
