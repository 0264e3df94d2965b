// Text that a zero may end, by AVX-512: of the line that holds the zero the rest may be read too.
#pragma once

#include "kernels/simd/avx512.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// The bytes of a mask, which the sanitizers, who know no lines, do not see.
ZELK_OPERATION Block loadInLine(const void *from, Mask bytes) {
    Block block;
    __asm__("vmovdqu8 %1, %0%{%2%}%{z%}"
            : "=v"(block)
            : "m"(*static_cast<const unsigned char(*)[blockBytes]>(from)), "Yk"(bytes));
    return block;
}

// The same, and ones in place of the other bytes: they are no end.
ZELK_OPERATION Block loadInLineBeforeOnes(const void *from, Mask bytes) {
    Block block = _mm512_set1_epi8(-1);
    __asm__("vmovdqu8 %1, %0%{%2%}"
            : "+v"(block)
            : "m"(*static_cast<const unsigned char(*)[blockBytes]>(from)), "Yk"(bytes));
    return block;
}

// All of a block of such a text: a line, or one together with bytes of the line before it.
ZELK_OPERATION Block loadInLine(const void *from) {
    Block block;
    __asm__("vmovdqu64 %1, %0" : "=v"(block) : "m"(*static_cast<const unsigned char(*)[blockBytes]>(from)));
    return block;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
