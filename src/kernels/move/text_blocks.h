// How the kernels of UTF-8 and UCS-2 read: by blocks that may reach behind the terminator of a text, and behind what
// its caller described where its count is too large, but never onto another page than the one where the text surely
// goes on.
#pragma once

#include "kernels/move/units_by_compress.h"
#include "kernels/simd/avx512.h"

#include <algorithm>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET {

// The sanitizers, which know no pages, do not see these two loads.
ZELK_OPERATION Block loadText(const unsigned char *text) {
    Block block;
    __asm__("vmovdqu64 %1, %0" : "=v"(block) : "m"(*reinterpret_cast<const unsigned char(*)[blockBytes]>(text)));
    return block;
}

ZELK_OPERATION Block loadText(const unsigned char *text, Mask bytes) {
    Block block;
    __asm__("vmovdqu8 %1, %0%{%2%}%{z%}"
            : "=v"(block)
            : "m"(*reinterpret_cast<const unsigned char(*)[blockBytes]>(text)), "Yk"(bytes));
    return block;
}

// Whether whole blocks may be read, whatever they hold.
ZELK_OPERATION bool mayRead(const unsigned char *text, std::size_t length, std::size_t bytes) {
    return length >= bytes && bytesInPage(text) >= bytes;
}

// The whole blocks that may be read without another look.
ZELK_OPERATION std::size_t readableBlocks(const unsigned char *text, std::size_t length) {
    return std::min(length, bytesInPage(text)) / blockBytes;
}

// Whole blocks may be stored in a room that holds them.
ZELK_OPERATION bool isAmple(std::size_t room, std::size_t least) {
    return room >= least;
}

inline constexpr std::size_t longText = 16 * blockBytes;

// The bytes up to the next line of the cache, for long texts: blocks then lie each in a line of its own.
ZELK_OPERATION std::size_t bytesToLine(const unsigned char *text, std::size_t length) {
    return length >= longText ? -reinterpret_cast<std::uintptr_t>(text) % blockBytes : 0;
}

// Of the next `bytes` of a text, at most a block, those that may be read: all of them, unless a page ends before them
// and the text ends on that page.
ZELK_OPERATION std::size_t readableBytes(const unsigned char *text, std::size_t bytes) {
    const std::size_t onPage = bytesInPage(text);
    if (bytes <= onPage) [[likely]] {
        return bytes;
    }
    const Mask present = firstBytes(onPage);
    return (nonZero(loadText(text, present)) & present) == present ? bytes : onPage;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
