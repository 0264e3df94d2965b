// Texts side by side, as much of either as is sure to be readable: where they end is known only when they are read, and
// a line that holds a terminator is read to its end, but none after it.
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/avx512_texts.h"

#include <algorithm>
#include <bit>

namespace zelk::kernels::ZELK_KERNEL_SET {

// What two texts have side by side: a block of either, less where a line ends.
struct BlockPair {
    Block left;
    Block right;
    std::size_t count; // of bytes that were read; zeros after them

    ZELK_OPERATION BlockPair at(const unsigned char *a, const unsigned char *b) {
        const std::size_t readable = std::min(bytesInLine(a), bytesInLine(b));
        return {loadInLine(a, firstBytes(readable)), loadInLine(b, firstBytes(readable)), readable};
    }

    // The bytes that are the same, no terminators.
    inline __attribute__((always_inline)) Mask same() const {
        return _mm512_mask_test_epi8_mask(_mm512_cmpeq_epi8_mask(left, right), left, left);
    }
    // The bytes that are both ASCII, no terminators.
    inline __attribute__((always_inline)) Mask ascii() const {
        return nonZero(left) & nonZero(right) & ~highBits(_mm512_or_si512(left, right));
    }
    inline __attribute__((always_inline)) Mask differing(const std::uint8_t (&plane)[128], Mask bytes) const {
        const Table128 table = Table128::from(plane);
        return _mm512_cmpneq_epi8_mask(lookOrZero(table, left, bytes), lookOrZero(table, right, bytes));
    }
};

ZELK_STAGE std::size_t sharedBytes(const unsigned char *a, const unsigned char *b) {
    for (std::size_t shared = 0;;) {
        const BlockPair pair = BlockPair::at(a + shared, b + shared);
        const auto count = static_cast<std::size_t>(std::countr_one(pair.same()));
        shared += count;
        if (count < pair.count) {
            return shared;
        }
    }
}

ZELK_OPERATION void noteFirst(Mask places, const unsigned char *a, const unsigned char *b,
                              LesserDifferences &differences) {
    if (places != 0) {
        const int place = std::countr_zero(places);
        differences.note(tables::collationKeyOf(a[place]), tables::collationKeyOf(b[place]));
    }
}

ZELK_STAGE std::size_t alikeBytes(const unsigned char *a, const unsigned char *b, LesserDifferences &differences) {
    const tables::AsciiCollation &planes = tables::asciiCollation;
    for (std::size_t passed = 0;;) {
        const BlockPair pair = BlockPair::at(a + passed, b + passed);
        const Mask same = pair.same();
        const Mask ascii = pair.ascii();
        const Mask alike = same | (ascii & ~pair.differing(planes.mains, ascii));
        const auto count = static_cast<std::size_t>(std::countr_one(alike));
        if (const Mask unequal = ~same & firstBytes(count); unequal != 0) {
            const Mask accents = pair.differing(planes.accents, unequal);
            const Mask lesser = pair.differing(planes.cases, unequal) | accents;
            noteFirst(lesser, a + passed, b + passed, differences);
            noteFirst(accents, a + passed, b + passed, differences);
        }
        passed += count;
        if (count < pair.count) {
            return passed;
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
