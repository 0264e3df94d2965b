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

// The same, over the bytes of another block.
ZELK_OPERATION Block loadInLineOver(Block block, const void *from, Mask bytes) {
    __asm__("vmovdqu8 %1, %0%{%2%}"
            : "+v"(block)
            : "m"(*static_cast<const unsigned char(*)[blockBytes]>(from)), "Yk"(bytes));
    return block;
}

// The same, and ones in place of the other bytes: they are no end.
ZELK_OPERATION Block loadInLineBeforeOnes(const void *from, Mask bytes) {
    return loadInLineOver(_mm512_set1_epi8(-1), from, bytes);
}

// All of a block of such a text: a line, or one together with bytes of the line before it.
ZELK_OPERATION Block loadInLine(const void *from) {
    Block block;
    __asm__("vmovdqu64 %1, %0" : "=v"(block) : "m"(*static_cast<const unsigned char(*)[blockBytes]>(from)));
    return block;
}

// Whether all bytes of a mask are text.
ZELK_OPERATION bool areText(Block bytes, Mask which) {
    return _mm512_mask_testn_epi8_mask(which, bytes, bytes) == 0;
}

// The bytes of a mask that are equal to those of a block.
ZELK_OPERATION Mask equalInLine(const void *at, Mask bytes, Block block) {
    Mask equal = 0;
    __asm__("vpcmpeqb %1, %3, %0%{%2%}"
            : "=Yk"(equal)
            : "m"(*static_cast<const unsigned char(*)[blockBytes]>(at)), "Yk"(bytes), "v"(block));
    return equal;
}

// The zeros from a place on to the end of its line, perhaps among the bytes of a mask.
ZELK_OPERATION Mask zerosInLine(const void *from, Mask bytes) {
    const std::size_t place = placeInLine(from);
    return equalInLine(static_cast<const char *>(from) - place, bytes << place, _mm512_setzero_si512()) >> place;
}

ZELK_OPERATION Mask zerosInLine(const void *from) {
    const std::size_t place = placeInLine(from);
    Mask zeros = 0;
    __asm__("vpcmpeqb %1, %2, %0"
            : "=Yk"(zeros)
            : "m"(*reinterpret_cast<const unsigned char(*)[blockBytes]>(static_cast<const char *>(from) - place)),
              "v"(_mm512_setzero_si512()));
    return zeros >> place;
}

// The bytes of a block's size that may be read of a terminated text whose zeros in the line are these: up to the first
// one; all where there is none, for then the text goes on in the next line.
ZELK_OPERATION Mask readable(Mask zeros) {
    return _blsmsk_u64(zeros);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
