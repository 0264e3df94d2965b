// How far a text may be read that a zero may end before its count: to the end of the aligned line that holds the zero.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

// 64 bytes are a line of the cache of every x86 processor; 16 are what a tag of Arm's memory tagging stands for.
#if defined(__x86_64__) || defined(__i386__)
inline constexpr std::size_t lineBytes = 64;
#else
inline constexpr std::size_t lineBytes = 16;
#endif

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
