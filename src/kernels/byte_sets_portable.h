// The kernels for every processor: eight ASCII bytes at a time, else a table entry that holds a character's UTF-8 bytes
// and their number, so that a character costs one load, one store and no branch. Included by byte_sets.cpp alone.
#pragma once

#include "kernels/byte_sets.h"
#include "tables/byte_set_planes.h"

#include <cstdint>
#include <cstring>

namespace zelk::kernels::portable {

inline Progress byteSetToUtf8(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out, std::size_t room) {
    constexpr std::size_t step = 8;
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    const tables::PackedUtf8 &packed = tables::packedUtf8Of(set);
    std::size_t read = 0;
    std::size_t written = 0;
    // An entry is stored whole, four bytes for at most three that count: a step of characters may touch one byte more
    // than it needs, and the terminator's byte is there for it.
    while (length - read >= step && room - written > 3 * step) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, in + read, step);
        if ((eight & highBits) == 0) {
            std::memcpy(out + written, &eight, step);
            written += step;
        } else {
            for (std::size_t i = 0; i < step; ++i) {
                const tables::PackedCharacter &character = packed[in[read + i]];
                std::memcpy(out + written, character.bytes, sizeof character);
                written += character.count;
            }
        }
        read += step;
    }
    while (read < length && room - written > 3) {
        const tables::PackedCharacter &character = packed[in[read++]];
        std::memcpy(out + written, character.bytes, sizeof character);
        written += character.count;
    }
    return {read, written};
}

inline void byteSetToUcs2(tables::ByteSet set, const unsigned char *in, std::size_t length, unsigned short *out) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    for (std::size_t i = 0; i < length; ++i) {
        out[i] = codePoints[in[i]];
    }
}

} // namespace zelk::kernels::portable
