// Texts side by side, as much of either as is sure to be readable: where they end is known only when they are read, and
// a line that holds a terminator is read to its end, but none after it.
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/avx512_texts.h"

#include <algorithm>
#include <bit>

namespace zelk::kernels::ZELK_KERNEL_SET {

ZELK_STAGE TextPlaces passShared(const unsigned char *a, const unsigned char *b) {
    for (;; a += blockBytes, b += blockBytes) {
        const Mask bytes = readable(zerosInLine(a) | zerosInLine(b));
        const Block block = loadInLine(a, bytes);
        const Mask others = ~equalInLine(b, nonZero(block), block);
        if (others != 0) [[likely]] {
            return {a + firstOf(others), b + firstOf(others)};
        }
    }
}

// What two texts have side by side: a block of either, up to the first terminator; zeros after it.
struct BlockPair {
    Block left;
    Block right;

    ZELK_OPERATION BlockPair at(const unsigned char *a, const unsigned char *b) {
        const Mask bytes = readable(zerosInLine(a) | zerosInLine(b));
        return {loadInLine(a, bytes), loadInLine(b, bytes)};
    }

    // The bytes that are the same, no terminators.
    inline __attribute__((always_inline)) Mask same() const {
        return _mm512_mask_test_epi8_mask(_mm512_cmpeq_epi8_mask(left, right), left, left);
    }
    // The bytes that are both ASCII, no terminators.
    inline __attribute__((always_inline)) Mask ascii() const {
        return nonZero(_mm512_min_epu8(left, right)) & ~highBits(_mm512_or_si512(left, right));
    }
    // The bytes of a mask that differ in a part of their keys. All are looked up, which waits for no mask.
    inline __attribute__((always_inline)) Mask differing(const std::uint8_t (&plane)[128], Mask bytes) const {
        const Table128 table = Table128::from(plane);
        return _mm512_mask_cmpneq_epi8_mask(bytes, _mm512_permutex2var_epi8(table.low, left, table.high),
                                            _mm512_permutex2var_epi8(table.low, right, table.high));
    }
};

ZELK_OPERATION void noteFirst(Mask places, const unsigned char *a, const unsigned char *b,
                              LesserDifferences &differences) {
    if (places != 0) {
        const int place = std::countr_zero(places);
        differences.note(tables::collationKeyOf(a[place]), tables::collationKeyOf(b[place]));
    }
}

ZELK_STAGE std::size_t alikeBytes(const unsigned char *a, const unsigned char *b, LesserDifferences &differences) {
    const tables::AsciiCollation &planes = tables::asciiCollation;
    for (std::size_t passed = 0;; passed += blockBytes) {
        const BlockPair pair = BlockPair::at(a + passed, b + passed);
        const Mask same = pair.same();
        const Mask ascii = pair.ascii();
        const Mask alike = same | (ascii & ~pair.differing(planes.mains, ascii));
        const std::size_t count = firstOf(~alike);
        if (const Mask unequal = ~same & firstBytes(count); unequal != 0) {
            const Mask accents = pair.differing(planes.accents, unequal);
            const Mask lesser = pair.differing(planes.cases, unequal) | accents;
            noteFirst(lesser, a + passed, b + passed, differences);
            noteFirst(accents, a + passed, b + passed, differences);
        }
        if (count < blockBytes) {
            return passed + count;
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
