// The page of small named operations that the portable kernels are written in: words of eight bytes, and the compiler's
// vectors of sixteen, which it keeps in a register where the target has such (SSE2, NEON) and in words where not.
#pragma once

#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::portable {

inline constexpr std::size_t wordBytes = sizeof(std::uint64_t);
inline constexpr std::uint64_t everyByte = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = 0x80 * everyByte;
inline constexpr std::uint64_t lowBits = ~highBits;

inline std::uint64_t wordAt(const void *bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// Of a word that has bits in some bytes alone, the first of these bytes as memory has them; wordBytes for none.
inline std::size_t firstByteOf(std::uint64_t marks) {
    const int bits = std::endian::native == std::endian::little ? std::countr_zero(marks) : std::countl_zero(marks);
    return static_cast<std::size_t>(bits) / CHAR_BIT;
}

// High bits tell the bytes that are not zero.
constexpr std::uint64_t nonZeroBytes(std::uint64_t word) {
    return ((word & lowBits) + lowBits) | word;
}

inline constexpr std::size_t vectorBytes = 16;
using Bytes = std::uint8_t __attribute__((vector_size(vectorBytes)));
using Units = std::uint16_t __attribute__((vector_size(vectorBytes)));
using Words = std::uint64_t __attribute__((vector_size(vectorBytes)));

template <class Vector>
Vector vectorAt(const void *bytes) {
    Vector vector;
    std::memcpy(&vector, bytes, sizeof vector);
    return vector;
}

template <class Vector>
bool isZero(Vector vector) {
    const auto words = reinterpret_cast<Words>(vector);
    return (words[0] | words[1]) == 0;
}

} // namespace zelk::kernels::portable
