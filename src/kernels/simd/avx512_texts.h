// Texts that are not counted, and literals, by AVX-512; and the names that kernels for every set are written in.
#pragma once

#include "kernels/simd/avx512_lines.h"

#include <algorithm>

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- The names that kernels for every set are written in: of bytes compared, a mask is the answer.

inline constexpr std::size_t laneBytes = 16;

using Bytes = std::uint8_t __attribute__((vector_size(blockBytes)));
using Lane = std::uint8_t __attribute__((vector_size(laneBytes)));
using AlignedBytes __attribute__((may_alias)) = Bytes;
using Flags = Mask;

ZELK_OPERATION Block raw(Bytes bytes) {
    return reinterpret_cast<Block>(bytes);
}

ZELK_OPERATION Bytes repeatLane(Lane lane) {
    return reinterpret_cast<Bytes>(_mm512_broadcast_i32x4(reinterpret_cast<__m128i>(lane)));
}

ZELK_OPERATION Bytes lookUp(Bytes table, Bytes index) {
    return reinterpret_cast<Bytes>(_mm512_shuffle_epi8(raw(table), raw(index)));
}

ZELK_OPERATION Bytes lowerNibbles(Bytes bytes) {
    return bytes & 0x0F;
}

ZELK_OPERATION Flags equal(Bytes a, Bytes b) {
    return _mm512_cmpeq_epi8_mask(raw(a), raw(b));
}

ZELK_OPERATION Flags lessSigned(Bytes a, Bytes b) {
    return _mm512_cmplt_epi8_mask(raw(a), raw(b));
}

ZELK_OPERATION std::uint64_t placesOf(Flags flags) {
    return flags;
}

ZELK_OPERATION bool anyBit(Block block) {
    return nonZero(block) != 0;
}

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

// Whether two places are such that pairs may be read from there on.
ZELK_OPERATION bool arePaired(const unsigned char * /*left*/, const unsigned char * /*right*/) {
    return true;
}

ZELK_OPERATION Pair pairAt(const unsigned char *left, const unsigned char *right) {
    const std::size_t readable = std::min(bytesInLine(left), bytesInLine(right));
    const Mask inside = firstBytes(readable);
    return {reinterpret_cast<Bytes>(loadInLine(left, inside)), reinterpret_cast<Bytes>(loadInLine(right, inside)),
            inside, 0, readable};
}

// Whether so many literals are equal to as many bytes of text, perhaps as letters of ASCII in any case.
template <bool ignoresCase>
ZELK_OPERATION bool areEqual(const unsigned char *text, const unsigned char *literals, std::size_t count) {
    for (std::size_t at = 0; at < count; at += blockBytes) {
        const Mask bytes = firstBytes(std::min(count - at, blockBytes));
        const Block wanted = load(literals + at, bytes);
        Block different = _mm512_xor_si512(load(text + at, bytes), wanted);
        if constexpr (ignoresCase) {
            const Block caseBit = everyByte<'a' - 'A'>();
            const Block fromA = _mm512_sub_epi8(_mm512_or_si512(wanted, caseBit), everyByte<'a'>());
            const Mask letters = _mm512_cmplt_epu8_mask(fromA, everyByte<26>());
            different = _mm512_mask_andnot_epi32(different, 0xFFFF, _mm512_maskz_mov_epi8(letters, caseBit), different);
        }
        if (anyBit(different)) {
            return false;
        }
    }
    return true;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
