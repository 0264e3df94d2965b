// How far a text may be read that a zero may end before its count: to the end of the aligned block that holds the zero.
// Such a block is a line: 64 bytes with AVX-512, 32 with AVX2, else 16, which Arm's memory tagging gives one tag, too.
// A load of an aligned line is one that Valgrind takes for right, if a part of it belongs to the text.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t lineBytes = blockBytes;

ZELK_OPERATION std::size_t placeInLine(const void *at) {
    return reinterpret_cast<std::uintptr_t>(at) & (lineBytes - 1);
}

// The bytes from an address to the end of its line.
ZELK_OPERATION std::size_t bytesInLine(const void *at) {
    return lineBytes - placeInLine(at);
}

// Whether so many bytes lie in one line. The count may be any.
ZELK_OPERATION bool areInLine(const void *at, std::size_t bytes) {
    return bytes <= bytesInLine(at);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
