// The single-byte sets once more, in the two forms that the kernels read. Both follow from the code points of
// byte_sets.h when the library is compiled.
//
// PackedUtf8, 256 entries of 4 bytes a set: a character's UTF-8 bytes, then their number. Entry 0 counts no byte: a
// character of value 0 is never written.
//
// BytePlanes, 6 planes of 128 bytes a set, for the upper half: of characters of two UTF-8 bytes the first and the last;
// of those of three bytes the second in the place of the first, and the others in planes of their own (absent bytes are
// zero, so that a zero last byte tells three); the low and the high byte of the code point.
#pragma once

#include "tables/byte_sets.h"

#include <array>
#include <cstdint>

namespace zelk::tables {

struct PackedCharacter {
    std::uint8_t bytes[3];
    std::uint8_t count;
};

using PackedUtf8 = std::array<PackedCharacter, 256>;

struct alignas(64) BytePlanes {
    std::uint8_t first[128];
    std::uint8_t last[128];
    std::uint8_t firstOfThree[128];
    std::uint8_t lastOfThree[128];
    std::uint8_t ucs2Low[128];
    std::uint8_t ucs2High[128];
};

extern const std::array<PackedUtf8, byteSetCount> packedUtf8Pool;
extern const std::array<BytePlanes, byteSetCount> bytePlanesPool;

inline const PackedUtf8 &packedUtf8Of(ByteSet set) {
    return packedUtf8Pool[static_cast<unsigned int>(set)];
}

inline const BytePlanes &planesOf(ByteSet set) {
    return bytePlanesPool[static_cast<unsigned int>(set)];
}

} // namespace zelk::tables
