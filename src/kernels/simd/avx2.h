// Operations of AVX2: blocks of 32 bytes, two lanes.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t blockBytes = 32;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/vectors.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

ZELK_OPERATION __m256i raw(Bytes bytes) {
    return reinterpret_cast<__m256i>(bytes);
}

ZELK_OPERATION Bytes bytesOf(__m256i vector) {
    return reinterpret_cast<Bytes>(vector);
}

// An aligned block that no sanitizer looks at: a part of it may lie before a text or after its terminator.
ZELK_OPERATION Bytes loadAligned(const void *from) {
    Bytes bytes;
    __asm__("vmovdqa %1, %0" : "=x"(bytes) : "m"(*static_cast<const Bytes *>(from)));
    return bytes;
}

// A constant from memory: GCC would make it in three steps, of which one crosses lanes.
template <std::uint8_t byte>
ZELK_OPERATION Bytes everyByte() {
    static constexpr std::uint32_t four = 0x1010101U * byte;
    Bytes bytes;
    __asm__("vpbroadcastd %1, %0" : "=x"(bytes) : "m"(four));
    return bytes;
}

// ---- Lanes

// The same 16 bytes in every lane of a block.
ZELK_OPERATION Bytes repeatLane(Lane lane) {
    return bytesOf(_mm256_broadcastsi128_si256(reinterpret_cast<__m128i>(lane)));
}

// Two lanes as a block.
ZELK_OPERATION Bytes joined(Lane front, Lane back) {
    return bytesOf(_mm256_inserti128_si256(_mm256_castsi128_si256(reinterpret_cast<__m128i>(front)),
                                           reinterpret_cast<__m128i>(back), 1));
}

template <std::size_t lane>
ZELK_OPERATION Lane laneOf(Bytes bytes) {
    return reinterpret_cast<Lane>(_mm256_extracti128_si256(raw(bytes), static_cast<int>(lane)));
}

// A block whose two halves come from two places.
ZELK_OPERATION Bytes loadHalves(const void *front, const void *back) {
    return bytesOf(_mm256_loadu2_m128i(static_cast<const __m128i *>(back), static_cast<const __m128i *>(front)));
}

// ---- Bytes

// Each byte of `index` looked up in the 16 bytes of its lane of `table`. An index is 0 to 15, or 0x80 and more for a 0.
ZELK_OPERATION Bytes lookUp(Bytes table, Bytes index) {
    return bytesOf(_mm256_shuffle_epi8(raw(table), raw(index)));
}

ZELK_OPERATION Lane shuffleLane(Lane table, Lane index) {
    return reinterpret_cast<Lane>(_mm_shuffle_epi8(reinterpret_cast<__m128i>(table), reinterpret_cast<__m128i>(index)));
}

ZELK_OPERATION Bytes addSaturated(Bytes a, Bytes b) {
    return bytesOf(_mm256_adds_epu8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes subtractSaturated(Bytes a, Bytes b) {
    return bytesOf(_mm256_subs_epu8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes lesser(Bytes a, Bytes b) {
    return bytesOf(_mm256_min_epu8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes greater(Bytes a, Bytes b) {
    return bytesOf(_mm256_max_epu8(raw(a), raw(b)));
}

// By one instruction: what is not chosen has no part in the result for Valgrind, either.
ZELK_OPERATION Bytes choose(Flags flags, Bytes yes, Bytes no) {
    return bytesOf(_mm256_blendv_epi8(raw(no), raw(yes), raw(flags)));
}

// ---- What flags say

// A bit for the high bit of each byte, that of the first byte lowest.
ZELK_OPERATION std::uint64_t signBits(Bytes bytes) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(raw(bytes)));
}

// By a number, of which Valgrind knows that one bit is enough, whatever comes after a text's end.
ZELK_OPERATION bool anyBit(Bytes bytes) {
    return _mm256_movemask_epi8(raw(equal(bytes, Bytes{}))) != -1;
}

ZELK_OPERATION bool anySignBit(Bytes bytes) {
    return _mm256_movemask_epi8(raw(bytes)) != 0;
}

// Places in a block, for a search: as many bits for each byte as a set finds cheap, of which one is set.
inline constexpr unsigned int bitsPerPlace = 1;

ZELK_OPERATION std::uint64_t placesOf(Flags flags) {
    return signBits(flags);
}

// A bit for each unit, that of the first one lowest.
ZELK_OPERATION std::uint32_t unitBits(UnitFlags flags) {
    const __m256i bytes = _mm256_packs_epi16(raw(asBytes(flags)), _mm256_setzero_si256()); // in lanes
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(bytes, 0b11'01'10'00)));
}

ZELK_OPERATION std::uint32_t laneUnitBits(LaneUnits flags) {
    const __m128i bytes = _mm_packs_epi16(reinterpret_cast<__m128i>(flags), _mm_setzero_si128());
    return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
}

// For each lane 16 bits, those of the first lane lowest: a bit for each unit, and eight more without a meaning.
ZELK_OPERATION std::uint32_t unitBitsByLane(UnitFlags flags) {
    const __m256i numbers = raw(asBytes(flags));
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_packs_epi16(numbers, numbers)));
}

// For each lane 16 bits, those of the first lane lowest: four of `a`, four of `b`, the other four of `a`, those of `b`.
ZELK_OPERATION std::uint32_t groupBits(UnitFlags a, UnitFlags b) {
    const __m256i front = _mm256_unpacklo_epi64(raw(asBytes(a)), raw(asBytes(b)));
    const __m256i back = _mm256_unpackhi_epi64(raw(asBytes(a)), raw(asBytes(b)));
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_packs_epi16(front, back)));
}

ZELK_OPERATION std::uint32_t laneGroupBits(LaneUnits a, LaneUnits b) {
    const __m128i front = _mm_unpacklo_epi64(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
    const __m128i back = _mm_unpackhi_epi64(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(front, back)));
}

// ---- Between bytes and units

ZELK_OPERATION Units frontUnits(Bytes bytes) {
    return reinterpret_cast<Units>(_mm256_cvtepu8_epi16(_mm256_castsi256_si128(raw(bytes))));
}

ZELK_OPERATION Units backUnits(Bytes bytes) {
    return reinterpret_cast<Units>(_mm256_cvtepu8_epi16(_mm256_extracti128_si256(raw(bytes), 1)));
}

// The bytes of two blocks of units, of which each is 0 to 0xFF: a unit from 0x100 to 0x7FFF gives 0xFF, a greater one
// 0.
ZELK_OPERATION Bytes packed(Units front, Units back) {
    return bytesOf(
        _mm256_permute4x64_epi64(_mm256_packus_epi16(raw(asBytes(front)), raw(asBytes(back))), 0b11'01'10'00));
}

// The same of two lanes.
ZELK_OPERATION Lane packed(LaneUnits front, LaneUnits back) {
    return reinterpret_cast<Lane>(_mm_packus_epi16(reinterpret_cast<__m128i>(front), reinterpret_cast<__m128i>(back)));
}

// The first eight bytes of each lane of `first` and `second` interleaved, and the last eight.
ZELK_OPERATION Bytes interleavedLow(Bytes first, Bytes second) {
    return bytesOf(_mm256_unpacklo_epi8(raw(first), raw(second)));
}

ZELK_OPERATION Bytes interleavedHigh(Bytes first, Bytes second) {
    return bytesOf(_mm256_unpackhi_epi8(raw(first), raw(second)));
}

// The same of four units each, as groups of four bytes.
ZELK_OPERATION Bytes interleavedUnitsLow(Units first, Units second) {
    return bytesOf(_mm256_unpacklo_epi16(raw(asBytes(first)), raw(asBytes(second))));
}

ZELK_OPERATION Bytes interleavedUnitsHigh(Units first, Units second) {
    return bytesOf(_mm256_unpackhi_epi16(raw(asBytes(first)), raw(asBytes(second))));
}

ZELK_OPERATION Units lesserUnits(Units a, Units b) {
    return reinterpret_cast<Units>(_mm256_min_epu16(raw(asBytes(a)), raw(asBytes(b))));
}

ZELK_OPERATION Units highProducts(Units a, Units b) {
    return reinterpret_cast<Units>(_mm256_mulhi_epu16(raw(asBytes(a)), raw(asBytes(b))));
}

// The low eight bytes of a lane as a number, and the bytes of eight units, of which each is 0 to 0xFF.
ZELK_OPERATION std::uint64_t lowWord(Lane lane) {
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(reinterpret_cast<__m128i>(lane)));
}

// The two bytes of each unit exchanged.
ZELK_OPERATION Units exchanged(Bytes bytes) {
    return asUnits(lookUp(bytes, repeatLane(Lane{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14})));
}

// The sum of all bytes.
ZELK_OPERATION std::size_t sumOf(Bytes bytes) {
    const __m256i quarters = _mm256_sad_epu8(raw(bytes), _mm256_setzero_si256());
    const __m128i sums = _mm_add_epi64(_mm256_castsi256_si128(quarters), _mm256_extracti128_si256(quarters, 1));
    return static_cast<std::size_t>(_mm_cvtsi128_si64(sums) + _mm_extract_epi64(sums, 1));
}

} // namespace zelk::kernels::ZELK_KERNEL_SET

namespace zelk::kernels::ZELK_KERNEL_SET {

// Whether tables of 128 bytes are faster by shuffles than by loads.
inline constexpr bool hasFastTables = true;

// Whether the few other characters of a block of ASCII are put one by one: where a number of their places is cheap, and
// the code worth its size.
inline constexpr bool putsFewSingly = true;

// Whether code that only saves time is worth its size: a module for the web is fetched by its users.
inline constexpr bool sparesNoCode = true;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/places.h"
#include "kernels/simd/steps.h"
#include "kernels/simd/vector_texts.h"
