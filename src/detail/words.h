// Eight bytes at a time, on every machine.
#pragma once

#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::detail {

inline constexpr std::size_t wordBytes = sizeof(std::uint64_t);
inline constexpr std::uint64_t everyByte = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = 0x80 * everyByte;
inline constexpr std::uint64_t lowBits = ~highBits;

inline std::uint64_t wordAt(const void *bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// All bits of the first bytes as memory has them, less than all.
inline std::uint64_t firstBytes(std::size_t count) {
    constexpr std::uint64_t all = ~std::uint64_t{0};
    return std::endian::native == std::endian::little ? ~(all << CHAR_BIT * count) : ~(all >> CHAR_BIT * count);
}

// The zero bits before the first one as memory has them; all for none.
template <class Word>
constexpr unsigned int bitsBeforeFirst(Word word) {
    return static_cast<unsigned int>(std::endian::native == std::endian::little ? std::countr_zero(word)
                                                                                : std::countl_zero(word));
}

// Of a word that has bits in some bytes alone, the first of these bytes as memory has them; wordBytes for none.
inline std::size_t firstByteOf(std::uint64_t marks) {
#if SIZE_MAX < UINT64_MAX && !defined(__wasm__) // of 64 bits a function of the compiler's would count them
    constexpr unsigned int half = 32;
    constexpr bool lowFirst = std::endian::native == std::endian::little;
    const auto first = static_cast<std::uint32_t>(lowFirst ? marks : marks >> half);
    const auto last = static_cast<std::uint32_t>(lowFirst ? marks >> half : marks);
    const unsigned int bits = first != 0 ? bitsBeforeFirst(first) : half + bitsBeforeFirst(last);
#else
    const unsigned int bits = bitsBeforeFirst(marks);
#endif
    return bits / CHAR_BIT;
}

// High bits mark the bytes that are not zero.
constexpr std::uint64_t nonZeroBytes(std::uint64_t word) {
    return ((word & lowBits) + lowBits) | word;
}

// The high bits of those that are zero.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return ~(nonZeroBytes(word) | lowBits);
}

} // namespace zelk::detail
