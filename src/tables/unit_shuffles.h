// How bytes of UTF-8 that units do not need are left out: by shuffles of 16 bytes, from tables of 256.
#pragma once

#include "tables/derived.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

using Shuffle = std::array<std::uint8_t, 16>;

inline constexpr std::uint8_t leftOut = 0x80; // as an index of a shuffle: a zero, after what counts

// By a bit for each of eight units, set above ASCII: of a pair of bytes for each unit the first, or both.
ZELK_DERIVING std::array<Shuffle, 256> shufflesOfPairs() {
    std::array<Shuffle, 256> shuffles{};
    for (unsigned int above = 0; above < shuffles.size(); ++above) {
        shuffles[above].fill(leftOut);
        std::size_t count = 0;
        for (unsigned int unit = 0; unit < 8; ++unit) {
            shuffles[above][count++] = static_cast<std::uint8_t>(2 * unit);
            if ((above >> unit & 1U) != 0) {
                shuffles[above][count++] = static_cast<std::uint8_t>(2 * unit + 1);
            }
        }
    }
    return shuffles;
}

alignas(sizeof(Shuffle)) inline ZELK_DERIVED std::array<Shuffle, 256> pairShuffles = shufflesOfPairs();

// By a bit for each of four units, set above ASCII, and four bits above those, set from U+0800 on: of four bytes for
// each unit the first, the first two, or the first three.
ZELK_DERIVING std::array<Shuffle, 256> shufflesOfTriples() {
    std::array<Shuffle, 256> shuffles{};
    for (unsigned int bits = 0; bits < shuffles.size(); ++bits) {
        shuffles[bits].fill(leftOut);
        std::size_t count = 0;
        for (unsigned int unit = 0; unit < 4; ++unit) {
            const unsigned int bytes = 1 + (bits >> unit & 1U) + (bits >> (unit + 4) & 1U);
            for (unsigned int byte = 0; byte < bytes; ++byte) {
                shuffles[bits][count++] = static_cast<std::uint8_t>(4 * unit + byte);
            }
        }
    }
    return shuffles;
}

alignas(sizeof(Shuffle)) inline ZELK_DERIVED std::array<Shuffle, 256> tripleShuffles = shufflesOfTriples();

} // namespace zelk::tables
