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

// Of a word that has bits in some bytes alone, the first of these bytes as memory has them; wordBytes for none.
inline std::size_t firstByteOf(std::uint64_t marks) {
    const int bits = std::endian::native == std::endian::little ? std::countr_zero(marks) : std::countl_zero(marks);
    return static_cast<std::size_t>(bits) / CHAR_BIT;
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
