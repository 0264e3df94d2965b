// At most 64 bytes of a string with AVX-512, as parts of the functions that use them.
#pragma once

#include "clean/avx512.h"

#if defined(ZELK_INSIGHT_AVX512)

#include "clean.h"

#include "kernels/target.h"
#include "tables/byte_set_definitions.h"
#include "tables/dvb_marks.h"

#include <array>
#include <cstdint>

#include <immintrin.h>

// GCC 12 takes the registers that its own intrinsics leave undefined on purpose for mistakes of the caller.
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

#define ZELK_INSIGHT_TARGET "avx512bw,avx512vbmi,popcnt"

namespace zelk::insight::avx512 {

ZELK_TARGET_BEGIN(ZELK_INSIGHT_TARGET)

inline __m512i all(unsigned int byte) {
    return _mm512_set1_epi8(static_cast<char>(byte));
}

inline __m512i allUnits(unsigned int unit) {
    return _mm512_set1_epi16(static_cast<short>(unit));
}

// A bit for each of 1 to 64 bytes.
[[gnu::always_inline]] inline std::uint64_t onesOfBlock(std::size_t count) {
    return ~std::uint64_t{0} >> (-count % 64);
}

// The graphic characters of ASCII, from 0x20 on.
inline constexpr unsigned int graphicPlaces = 0x5F;

[[gnu::always_inline]] inline std::uint64_t beyondAscii(__m512i block) {
    return _mm512_cmpge_epu8_mask(_mm512_sub_epi8(block, all(0x20)), all(graphicPlaces));
}

// Of each set the graphic characters. By the upper half of a byte a bit for it, and by the lower half those bits that
// have a character there. The upper halves of ASCII, all full but the last, share a bit.
inline constexpr std::array<std::uint8_t, 16> upperBits = {0, 0, 64, 64, 64, 64, 64, 128, 0, 0, 1, 2, 4, 8, 16, 32};

inline constexpr auto graphicBytes = []() {
    std::array<std::array<std::uint8_t, 16>, tables::byteSetCount> result{};
    constexpr auto pool = tables::expandByteSets();
    for (std::size_t set = 0; set < pool.size(); ++set) {
        for (unsigned int byte = 0x20; byte <= 0xFF; ++byte) {
            const bool graphic = byte < 0x80 ? byte != 0x7F : pool[set][byte] != tables::unassigned;
            const unsigned int bits = graphic ? upperBits[byte >> 4U] : 0U;
            result[set][byte & 0x0FU] = static_cast<std::uint8_t>(result[set][byte & 0x0FU] | bits);
        }
    }
    return result;
}();

inline __m512i inEachQuarter(const std::uint8_t *bytes) {
    return _mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes)));
}

// The places of marks without a letter after them, at `next`, that is known to wear them.
[[gnu::always_inline]] inline std::uint64_t lonelyMarks(__m512i block, std::uint64_t high, __m512i next) {
    const tables::MarkPlanes &planes = tables::markPlanes;
    const __m512i bits = _mm512_maskz_permutex2var_epi8(high, _mm512_load_si512(planes.bits), block,
                                                        _mm512_load_si512(planes.bits + sizeof(__m512i)));
    const std::uint64_t last = _mm512_test_epi8_mask(block, all(0x08));
    const std::uint64_t letters = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(next, all(0x40)), all(0x40));
    const __m512i worn =
        _mm512_mask_blend_epi8(last, _mm512_maskz_permutexvar_epi8(letters, next, _mm512_load_si512(planes.firstMarks)),
                               _mm512_maskz_permutexvar_epi8(letters, next, _mm512_load_si512(planes.lastMarks)));
    return _mm512_mask_testn_epi8_mask(_mm512_test_epi8_mask(bits, bits), bits, worn);
}

// What is known of the bytes of a string: a bit for each.
struct Judgement {
    std::uint64_t high = 0;
    std::uint64_t other = 0; // that may have a finding

    Bytes kind() const { return other != 0 ? Bytes::Unknown : high == 0 ? Bytes::Ascii : Bytes::Whole; }
};

// Of a block and the bytes that are one place further.
[[gnu::always_inline]] inline Judgement judge(__m512i block, std::uint64_t valid, const unsigned char *next,
                                              std::uint64_t nextValid, tables::DvbTable table) {
    const __m512i lower = inEachQuarter(graphicBytes[static_cast<std::size_t>(table.set)].data());
    const __m512i half = all(0x0F);
    const __m512i upperHalf = _mm512_and_si512(_mm512_srli_epi16(block, 4), half);
    Judgement judgement;
    judgement.high = _mm512_movepi8_mask(block);
    judgement.other = _mm512_mask_testn_epi8_mask(valid, _mm512_shuffle_epi8(lower, _mm512_and_si512(block, half)),
                                                  _mm512_shuffle_epi8(inEachQuarter(upperBits.data()), upperHalf));
    if (table.marks == tables::latinMarks && judgement.high != 0) {
        judgement.other |= lonelyMarks(block, judgement.high, _mm512_maskz_loadu_epi8(nextValid, next));
    }
    return judgement;
}

// copyIfAscii() of 1 to 64 bytes.
[[gnu::always_inline]] inline Bytes copyAsciiBlock(char *out, const unsigned char *bytes, std::size_t count,
                                                   tables::DvbTable table) {
    const std::uint64_t valid = onesOfBlock(count);
    const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes);
    const Bytes kind = judge(block, valid, bytes + 1, valid >> 1U, table).kind();
    if (kind == Bytes::Ascii) {
        _mm512_mask_storeu_epi8(out, valid, block);
    }
    return kind;
}

// Two-byte characters in the order of the machine.
[[gnu::always_inline]] inline __m512i unitsOf(__m512i block) {
    return _mm512_or_si512(_mm512_slli_epi16(block, 8), _mm512_srli_epi16(block, 8));
}

// The places of those beyond the graphic characters of ASCII.
[[gnu::always_inline]] inline std::uint32_t unitsBeyondAscii(__m512i units) {
    return _mm512_cmpge_epu16_mask(_mm512_sub_epi16(units, allUnits(0x20)), allUnits(graphicPlaces));
}

// Of these, the places of control codes, and of U+D800 to U+E0FF: surrogates and images of control codes.
[[gnu::always_inline]] inline std::uint32_t doubtfulUnits(__m512i units, std::uint32_t beyond) {
    constexpr unsigned int first = 0xD800;
    return _mm512_mask_cmplt_epu16_mask(beyond, units, allUnits(0xA0)) |
           _mm512_mask_cmplt_epu16_mask(beyond, _mm512_sub_epi16(units, allUnits(first)), allUnits(0xE100 - first));
}

[[gnu::always_inline]] inline void storeLowBytes(char *out, std::uint32_t characters, __m512i units) {
    _mm512_mask_storeu_epi8(out, characters, _mm512_castsi256_si512(_mm512_cvtepi16_epi8(units)));
}

// copyTwoByte() of 1 to 32 characters.
[[gnu::always_inline]] inline Bytes copyTwoByteBlock(char *out, const unsigned char *bytes, std::size_t count) {
    const __m512i units = unitsOf(_mm512_maskz_loadu_epi8(onesOfBlock(count), bytes));
    const auto characters = static_cast<std::uint32_t>(onesOfBlock(count / 2));
    const std::uint32_t beyond = characters & unitsBeyondAscii(units);
    if (beyond != 0) {
        return doubtfulUnits(units, beyond) == 0 ? Bytes::Whole : Bytes::Other;
    }
    storeLowBytes(out, characters, units);
    return Bytes::Ascii;
}

ZELK_TARGET_END

} // namespace zelk::insight::avx512

#endif
