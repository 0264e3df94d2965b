// The single-byte sets once more, in the forms that the kernels read. All follow from the code points of byte_sets.h
// when the library is compiled; a library has those that its kernels read.
//
// PackedUtf8, 128 entries of 4 bytes for the upper half of each set and for ASCII, which all sets share: a character's
// UTF-8 bytes, then their number. Entry 0 counts no byte: a character of value 0 is never written.
//
// BytePlanes, 6 planes of 128 bytes a set, for the upper half: of characters of two UTF-8 bytes the first and the last;
// of those of three bytes the second in the place of the first, and the others in planes of their own (absent bytes are
// zero, so that a zero last byte means three); the low and the high byte of the code point.
//
// ByteSteps, 8 steps of 16 bytes a set and byte, for shuffles that look up 16 bytes and give zeros from a limit on. The
// byte that belongs to a byte of sixteenth n is step n with the steps after it, all combined by exclusive or. Of a
// pair, the first byte is combined with the text as well, so that ASCII, for which no step counts, becomes itself.
#pragma once

#include "tables/byte_sets.h"

#include <array>
#include <cstdint>

namespace zelk::tables {

struct alignas(4) PackedCharacter {
    std::uint8_t bytes[3];
    std::uint8_t count;
};

inline constexpr std::size_t halfOfSet = 128;

// ASCII, then the upper halves.
extern const std::array<PackedCharacter, (1 + byteSetCount) * halfOfSet> packedUtf8Pool;

// The controls of the default table of DVB text are those of ASCII here.
class PackedUtf8 {
public:
    explicit PackedUtf8(ByteSet set) : positions_((1 + static_cast<unsigned int>(set)) * halfOfSet + halfOfSet - 1) {}

    // A byte of the upper half has a sign, in which the mask leaves the number of the half.
    const PackedCharacter &operator[](unsigned char byte) const {
        return packedUtf8Pool[static_cast<std::size_t>(static_cast<signed char>(byte)) & positions_];
    }

private:
    std::size_t positions_;
};

struct alignas(64) BytePlanes {
    std::uint8_t first[128];
    std::uint8_t last[128];
    std::uint8_t firstOfThree[128];
    std::uint8_t lastOfThree[128];
    std::uint8_t ucs2Low[128];
    std::uint8_t ucs2High[128];
};

extern const std::array<BytePlanes, byteSetCount> bytePlanesPool;

struct alignas(16) ByteSteps {
    std::uint8_t first[128];
    std::uint8_t second[128];
};

// The low and the high byte of the code points; the two bytes of their UTF-8, or notOfTwoBytes as the second.
extern const std::array<ByteSteps, byteSetCount> unitStepsPool;
extern const std::array<ByteSteps, byteSetCount> pairStepsPool;

inline constexpr std::uint8_t notOfTwoBytes = 0x40;

inline PackedUtf8 packedUtf8Of(ByteSet set) {
    return PackedUtf8(set);
}

inline const BytePlanes &planesOf(ByteSet set) {
    return bytePlanesPool[static_cast<unsigned int>(set)];
}

} // namespace zelk::tables
