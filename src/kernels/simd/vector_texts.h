// Texts that are not counted, and literals, for the sets whose comparisons are vectors.
#pragma once

#include "detail/words.h"
#include "kernels/simd/lines.h"

#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- Two texts side by side

// Bytes of both, from a place on that is `begin` in the block, as far as they lie in the texts or in the lines that end
// them: these places are `inside`.
struct Pair {
    Bytes left;
    Bytes right;
    std::uint64_t inside;
    std::size_t begin;
    std::size_t end;
};

// Whether two places are such that pairs may be read from there on: lanes of both, as wholes. What allocators return
// is.
ZELK_OPERATION bool arePaired(const unsigned char *left, const unsigned char *right) {
    return ((reinterpret_cast<std::uintptr_t>(left) ^ reinterpret_cast<std::uintptr_t>(right)) & (laneBytes - 1)) == 0;
}

// A lane of which some byte belongs to a text. The sanitizers, who know no lines, do not see this.
[[maybe_unused]] __attribute__((no_sanitize("address", "thread"))) static inline Lane
laneAt(const unsigned char *start) {
    return *reinterpret_cast<const AlignedLane *>(start);
}

ZELK_OPERATION Pair pairAt(const unsigned char *left, const unsigned char *right) {
    const std::size_t begin = reinterpret_cast<std::uintptr_t>(left) & (laneBytes - 1);
    const std::uint64_t lane = ~std::uint64_t{0} >> (64 - laneBytes * bitsPerPlace);
    return {joined(laneAt(left - begin), Lane{}), joined(laneAt(right - begin), Lane{}),
            lane << begin * bitsPerPlace & lane, begin, laneBytes};
}

// ---- Literals

ZELK_OPERATION std::uint64_t pairOf(const unsigned char *front, const unsigned char *back) {
    std::uint32_t halves[2];
    std::memcpy(&halves[0], front, sizeof halves[0]);
    std::memcpy(&halves[1], back, sizeof halves[1]);
    return halves[0] | std::uint64_t{halves[1]} << 32U;
}

// Zero where eight literals are equal to eight bytes of text, perhaps as letters of ASCII in any case.
template <bool ignoresCase>
ZELK_OPERATION std::uint64_t differences(std::uint64_t text, std::uint64_t literals) {
    using detail::everyByte;
    if constexpr (ignoresCase) {
        constexpr std::uint64_t caseBit = 'a' - 'A';
        const std::uint64_t small = (literals | caseBit * everyByte) & detail::lowBits;
        const std::uint64_t fromA = small + (0x80 - 'a') * everyByte;
        const std::uint64_t afterZ = small + (0x7F - 'z') * everyByte;
        return (text ^ literals) & ~((fromA & ~afterZ & ~literals & detail::highBits) >> 2U);
    } else {
        return text ^ literals;
    }
}

// Whether so many literals are equal to as many bytes of text. Four to sixteen without a branch on their number.
template <bool ignoresCase>
ZELK_OPERATION bool areEqual(const unsigned char *text, const unsigned char *literals, std::size_t count) {
    using detail::wordAt;
    using detail::wordBytes;
    if (count < 4) {
        std::uint64_t different = 0;
        for (std::size_t at = 0; at < count; ++at) {
            different |= differences<ignoresCase>(text[at], literals[at]);
        }
        return different == 0;
    }
    if (count <= 2 * wordBytes) {
        const std::size_t second = count >= wordBytes ? 4 : 0;
        const std::size_t last = count - 4;
        const std::size_t third = last - second;
        return (differences<ignoresCase>(pairOf(text, text + second), pairOf(literals, literals + second)) |
                differences<ignoresCase>(pairOf(text + third, text + last),
                                         pairOf(literals + third, literals + last))) == 0;
    }
    const std::size_t last = count - wordBytes;
    std::uint64_t different = differences<ignoresCase>(wordAt(text + last), wordAt(literals + last));
    for (std::size_t at = 0; at < last; at += wordBytes) {
        different |= differences<ignoresCase>(wordAt(text + at), wordAt(literals + at));
    }
    return different == 0;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
