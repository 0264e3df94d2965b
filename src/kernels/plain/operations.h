// The page of small named operations that the portable kernels are written in: words of eight bytes, and the compiler's
// vectors of sixteen, which it keeps in a register where the target has such (SSE2, NEON) and in words where not.
#pragma once

#include "detail/words.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

using detail::everyByte;
using detail::firstByteOf;
using detail::highBits;
using detail::lowBits;
using detail::nonZeroBytes;
using detail::wordAt;
using detail::wordBytes;
using detail::zeroBytes;

inline constexpr std::size_t vectorBytes = 16;
inline constexpr std::size_t vectorUnits = vectorBytes / 2;
using Bytes = std::uint8_t __attribute__((vector_size(vectorBytes)));
using Units = std::uint16_t __attribute__((vector_size(vectorBytes)));
using Fours = std::uint32_t __attribute__((vector_size(vectorBytes)));
using SignedFours = std::int32_t __attribute__((vector_size(vectorBytes)));
using Words = std::uint64_t __attribute__((vector_size(vectorBytes)));

template <class Vector>
Vector vectorAt(const void *bytes) {
    Vector vector;
    std::memcpy(&vector, bytes, sizeof vector);
    return vector;
}

template <class Value>
void store(void *out, Value value) {
    std::memcpy(out, &value, sizeof value);
}

// Whether the target keeps vectors in registers, and their first byte lowest. Where not, plain loops are as fast.
#if defined(__SSE2__) || (defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN))
#define ZELK_HAS_VECTORS
inline constexpr bool hasVectors = true;
#else
inline constexpr bool hasVectors = false;
#endif

// Four bytes, the lowest bits of a word, as four units. Compilers make slower code of a loop over bytes.
constexpr std::uint64_t unitsOf(std::uint64_t four) {
    const std::uint64_t pairs = (four | four << 16U) & 0x0000FFFF0000FFFFU;
    return (pairs | pairs << 8U) & 0x00FF00FF00FF00FFU;
}

// Eight bytes as units.
inline void putUnitsOf(unsigned short *out, std::uint64_t word) {
    const std::uint64_t low = unitsOf(word & 0xFFFFFFFFU);
    const std::uint64_t high = unitsOf(word >> 32U);
    constexpr bool lowFirst = std::endian::native == std::endian::little;
    store(out, lowFirst ? low : high);
    store(out + wordBytes / 2, lowFirst ? high : low);
}

// What reads after a text, but not on another page than the text lies on: the sanitizers, which know no pages, do not
// look there.
#define ZELK_UNSEEN __attribute__((no_sanitize("address", "thread")))

// At any address, and seen by no sanitizer: the C library's copy would be.
template <class Value>
struct __attribute__((packed, may_alias)) Unaligned {
    Value value;
};

ZELK_UNSEEN inline Bytes bytesAt(const unsigned char *text) {
    return reinterpret_cast<const Unaligned<Bytes> *>(text)->value;
}

ZELK_UNSEEN inline std::uint64_t alignedWordAt(const unsigned char *text) {
    return *reinterpret_cast<const std::uint64_t __attribute__((may_alias)) *>(text);
}

ZELK_UNSEEN inline std::uint32_t fourAt(const unsigned char *text) {
    return reinterpret_cast<const Unaligned<std::uint32_t> *>(text)->value;
}

inline Bytes everyByteIs(unsigned int byte) {
    return Bytes{} + static_cast<std::uint8_t>(byte);
}

// All bits of the first `count` bytes.
inline Bytes firstBytes(std::size_t count) {
    static const Bytes allThenNone[2] = {~Bytes{}, Bytes{}};
    return vectorAt<Bytes>(reinterpret_cast<const unsigned char *>(allThenNone) + vectorBytes - count);
}

// What bytes are above a limit, zero for those below it.
inline Bytes above(Bytes bytes, Bytes limit) {
#if defined(__SSE2__)
    return reinterpret_cast<Bytes>(_mm_subs_epu8(reinterpret_cast<__m128i>(bytes), reinterpret_cast<__m128i>(limit)));
#else
    return (bytes > limit ? bytes : limit) - limit;
#endif
}

// All bits of the bytes that are less than a limit as signed numbers: from 0x80 on they lie below zero.
inline Bytes signedBelow(Bytes bytes, Bytes limit) {
    using SignedBytes = std::int8_t __attribute__((vector_size(vectorBytes)));
    return reinterpret_cast<Bytes>(reinterpret_cast<SignedBytes>(bytes) < reinterpret_cast<SignedBytes>(limit));
}

// All bits of the bytes from `first` to `last`, a range that may go on at 0 after 0xFF.
inline Bytes among(Bytes bytes, unsigned int first, unsigned int last) {
    return signedBelow(bytes + everyByteIs(0x80 - first), everyByteIs(0x81 + last - first));
}

inline Bytes highBitToAll(Bytes bytes) {
    return signedBelow(bytes, Bytes{});
}

// The high bits of the bytes, that of the first one lowest.
inline unsigned int highBitsOf(Bytes bytes) {
#if defined(__SSE2__)
    return static_cast<unsigned int>(_mm_movemask_epi8(reinterpret_cast<__m128i>(bytes)));
#else
    constexpr std::uint64_t gather = 0x0102040810204080U; // bit 8n goes to bit 56 + n
    const Words bits = reinterpret_cast<Words>(bytes) >> 7 & everyByte;
    return static_cast<unsigned int>(bits[0] * gather >> 56 | bits[1] * gather >> 56 << 8);
#endif
}

// The sum of the bytes of each half, none of which is more than 31.
inline Words sumsOf(Bytes bytes) {
#if defined(__SSE2__)
    return reinterpret_cast<Words>(_mm_sad_epu8(reinterpret_cast<__m128i>(bytes), _mm_setzero_si128()));
#else
    return reinterpret_cast<Words>(bytes) * everyByte >> 56;
#endif
}

// Each byte one or two places further up, after zeros.
inline Bytes oneUp(Bytes bytes) {
    return __builtin_shufflevector(Bytes{}, bytes, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30);
}

inline Bytes twoUp(Bytes bytes) {
    return __builtin_shufflevector(Bytes{}, bytes, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29);
}

// The low halves of numbers of four bytes, as one word.
inline std::uint64_t lowHalves(Fours fours) {
#if defined(__SSE2__) // packing saturates: numbers are made signed ones first
    const __m128i numbers = _mm_srai_epi32(_mm_slli_epi32(reinterpret_cast<__m128i>(fours), 16), 16);
    return reinterpret_cast<Words>(_mm_packs_epi32(numbers, numbers))[0];
#else
    using HalfUnits = std::uint16_t __attribute__((vector_size(wordBytes)));
    return std::bit_cast<std::uint64_t>(__builtin_convertvector(fours, HalfUnits));
#endif
}

// The units of low and high bytes, of the front and of the back half.
inline Bytes frontUnits(Bytes low, Bytes high) {
    return __builtin_shufflevector(low, high, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

inline Bytes backUnits(Bytes low, Bytes high) {
    return __builtin_shufflevector(low, high, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}

template <class Vector>
bool isZero(Vector vector) {
    const auto words = reinterpret_cast<Words>(vector);
    return (words[0] | words[1]) == 0;
}

// The first four units of both, interleaved, and the last four.
inline Fours frontInTurn(Units a, Units b) {
    return reinterpret_cast<Fours>(__builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11));
}

inline Fours backInTurn(Units a, Units b) {
    return reinterpret_cast<Fours>(__builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15));
}

// Of bits, one a byte or unit, that of the first place lowest: the first place, where there is one.
template <class Bits>
constexpr std::size_t firstOf(Bits bits) {
    return static_cast<std::size_t>(std::countr_zero(bits));
}

// The bits below the first one; all where there is none.
template <class Bits>
constexpr Bits bitsBefore(Bits bits) {
    return ~bits & (bits - 1);
}

// What takes an instruction that no operator stands for.
#if defined(ZELK_HAS_VECTORS)

// Of units that are zero or have all bits, a bit each: the eight of `a` lowest.
inline unsigned int bitsOf(Units a, Units b) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_packs_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
    return static_cast<unsigned int>(_mm_movemask_epi8(bytes));
#else
    const uint8x8_t places = vcreate_u8(0x8040201008040201U);
    const uint8x8_t low = vand_u8(vmovn_u16(reinterpret_cast<uint16x8_t>(a)), places);
    const uint8x8_t high = vand_u8(vmovn_u16(reinterpret_cast<uint16x8_t>(b)), places);
    const uint8x8_t quarters = vpadd_u8(vpadd_u8(low, high), vdup_n_u8(0));
    return vget_lane_u16(vreinterpret_u16_u8(vpadd_u8(quarters, quarters)), 0);
#endif
}

// As bytes: the units up to 0xFF as they are, those up to 0x7FFF as 0xFF, the others, negative ones, as 0.
inline std::uint64_t saturated(Units units) {
#if defined(__SSE2__)
    const auto numbers = reinterpret_cast<__m128i>(units);
    return reinterpret_cast<Words>(_mm_packus_epi16(numbers, numbers))[0];
#else
    return vget_lane_u64(vreinterpret_u64_u8(vqmovun_s16(reinterpret_cast<int16x8_t>(units))), 0);
#endif
}

// The upper halves of the products of units.
inline Units highProducts(Units a, Units b) {
#if defined(__SSE2__)
    return reinterpret_cast<Units>(_mm_mulhi_epu16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
    const auto x = reinterpret_cast<uint16x8_t>(a);
    const auto y = reinterpret_cast<uint16x8_t>(b);
    return reinterpret_cast<Units>(vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(x), vget_low_u16(y)), 16),
                                                vshrn_n_u32(vmull_u16(vget_high_u16(x), vget_high_u16(y)), 16)));
#endif
}

#endif

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
