// Operations of SSE4.1: blocks of 16 bytes.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t blockBytes = 16;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/vectors.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

ZELK_OPERATION __m128i raw(Bytes bytes) {
    return reinterpret_cast<__m128i>(bytes);
}

ZELK_OPERATION Bytes bytesOf(__m128i vector) {
    return reinterpret_cast<Bytes>(vector);
}

// An aligned block that no sanitizer looks at: a part of it may lie before a text or after its terminator.
ZELK_OPERATION Bytes loadAligned(const void *from) {
    Bytes bytes;
    __asm__("movdqa %1, %0" : "=x"(bytes) : "m"(*static_cast<const Bytes *>(from)));
    return bytes;
}

template <std::uint8_t byte>
ZELK_OPERATION Bytes everyByte() {
    return repeatByte(byte);
}

// ---- Lanes

// The same 16 bytes in every lane of a block.
ZELK_OPERATION Bytes repeatLane(Lane lane) {
    return lane;
}

// As many lanes as a block has: one.
ZELK_OPERATION Bytes joined(Lane lane, Lane) {
    return lane;
}

template <std::size_t>
ZELK_OPERATION Lane laneOf(Bytes bytes) {
    return bytes;
}

// A block whose two halves come from two places.
ZELK_OPERATION Bytes loadHalves(const void *front, const void *back) {
    return bytesOf(_mm_unpacklo_epi64(_mm_loadu_si64(front), _mm_loadu_si64(back)));
}

// ---- Bytes

// Each byte of `index` looked up in the 16 bytes of its lane of `table`. An index is 0 to 15, or 0x80 and more for a 0.
ZELK_OPERATION Bytes lookUp(Bytes table, Bytes index) {
    return bytesOf(_mm_shuffle_epi8(raw(table), raw(index)));
}

ZELK_OPERATION Lane shuffleLane(Lane table, Lane index) {
    return lookUp(table, index);
}

ZELK_OPERATION Bytes addSaturated(Bytes a, Bytes b) {
    return bytesOf(_mm_adds_epu8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes subtractSaturated(Bytes a, Bytes b) {
    return bytesOf(_mm_subs_epu8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes lesser(Bytes a, Bytes b) {
    return bytesOf(_mm_min_epu8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes greater(Bytes a, Bytes b) {
    return bytesOf(_mm_max_epu8(raw(a), raw(b)));
}

// By one instruction: what is not chosen has no part in the result for Valgrind, either.
ZELK_OPERATION Bytes choose(Flags flags, Bytes yes, Bytes no) {
    return bytesOf(_mm_blendv_epi8(raw(no), raw(yes), raw(flags)));
}

// ---- What flags say

// A bit for the high bit of each byte, that of the first byte lowest.
ZELK_OPERATION std::uint64_t signBits(Bytes bytes) {
    return static_cast<std::uint32_t>(_mm_movemask_epi8(raw(bytes)));
}

// By a number, of which Valgrind knows that one bit is enough, whatever comes after a text's end.
ZELK_OPERATION bool anyBit(Bytes bytes) {
    return _mm_movemask_epi8(raw(equal(bytes, Bytes{}))) != 0xFFFF;
}

ZELK_OPERATION bool anySignBit(Bytes bytes) {
    return _mm_movemask_epi8(raw(bytes)) != 0;
}

// Places in a block, for a search: as many bits for each byte as a set finds cheap, of which one is set.
inline constexpr unsigned int bitsPerPlace = 1;

ZELK_OPERATION std::uint64_t placesOf(Flags flags) {
    return signBits(flags);
}

// A bit for each unit, that of the first one lowest.
ZELK_OPERATION std::uint32_t unitBits(UnitFlags flags) {
    const __m128i bytes = _mm_packs_epi16(raw(asBytes(flags)), _mm_setzero_si128());
    return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
}

ZELK_OPERATION std::uint32_t laneUnitBits(LaneUnits flags) {
    return unitBits(flags);
}

// For each lane 16 bits, those of the first lane lowest: a bit for each unit, and eight more without a meaning.
ZELK_OPERATION std::uint32_t unitBitsByLane(UnitFlags flags) {
    const __m128i numbers = raw(asBytes(flags));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(numbers, numbers)));
}

// For each lane 16 bits, those of the first lane lowest: four of `a`, four of `b`, the other four of `a`, those of `b`.
ZELK_OPERATION std::uint32_t groupBits(UnitFlags a, UnitFlags b) {
    const __m128i front = _mm_unpacklo_epi64(raw(asBytes(a)), raw(asBytes(b)));
    const __m128i back = _mm_unpackhi_epi64(raw(asBytes(a)), raw(asBytes(b)));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(front, back)));
}

ZELK_OPERATION std::uint32_t laneGroupBits(LaneUnits a, LaneUnits b) {
    return groupBits(a, b);
}

// ---- Between bytes and units

ZELK_OPERATION Units frontUnits(Bytes bytes) {
    return reinterpret_cast<Units>(_mm_unpacklo_epi8(raw(bytes), _mm_setzero_si128()));
}

ZELK_OPERATION Units backUnits(Bytes bytes) {
    return reinterpret_cast<Units>(_mm_unpackhi_epi8(raw(bytes), _mm_setzero_si128()));
}

// The bytes of two blocks of units, of which each is 0 to 0xFF: a unit from 0x100 to 0x7FFF gives 0xFF, a greater one
// 0.
ZELK_OPERATION Bytes packed(Units front, Units back) {
    return bytesOf(_mm_packus_epi16(raw(asBytes(front)), raw(asBytes(back))));
}

// The first eight bytes of each lane of `first` and `second` interleaved, and the last eight.
ZELK_OPERATION Bytes interleavedLow(Bytes first, Bytes second) {
    return bytesOf(_mm_unpacklo_epi8(raw(first), raw(second)));
}

ZELK_OPERATION Bytes interleavedHigh(Bytes first, Bytes second) {
    return bytesOf(_mm_unpackhi_epi8(raw(first), raw(second)));
}

// The same of four units each, as groups of four bytes.
ZELK_OPERATION Bytes interleavedUnitsLow(Units first, Units second) {
    return bytesOf(_mm_unpacklo_epi16(raw(asBytes(first)), raw(asBytes(second))));
}

ZELK_OPERATION Bytes interleavedUnitsHigh(Units first, Units second) {
    return bytesOf(_mm_unpackhi_epi16(raw(asBytes(first)), raw(asBytes(second))));
}

ZELK_OPERATION Units lesserUnits(Units a, Units b) {
    return reinterpret_cast<Units>(_mm_min_epu16(raw(asBytes(a)), raw(asBytes(b))));
}

ZELK_OPERATION Units highProducts(Units a, Units b) {
    return reinterpret_cast<Units>(_mm_mulhi_epu16(raw(asBytes(a)), raw(asBytes(b))));
}

// The low eight bytes of a lane as a number, and the bytes of eight units, of which each is 0 to 0xFF.
ZELK_OPERATION std::uint64_t lowWord(Lane lane) {
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(reinterpret_cast<__m128i>(lane)));
}

// The two bytes of each unit exchanged.
ZELK_OPERATION Units exchanged(Bytes bytes) {
    return asUnits(
        bytesOf(_mm_shuffle_epi8(raw(bytes), _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14))));
}

// The sum of all bytes.
ZELK_OPERATION std::size_t sumOf(Bytes bytes) {
    const __m128i sums = _mm_sad_epu8(raw(bytes), _mm_setzero_si128());
    return static_cast<std::size_t>(_mm_cvtsi128_si64(sums) + _mm_extract_epi64(sums, 1));
}

} // namespace zelk::kernels::ZELK_KERNEL_SET

namespace zelk::kernels::ZELK_KERNEL_SET {

// Whether tables of 128 bytes are faster by shuffles than by loads.
inline constexpr bool hasFastTables = false;

// Whether the few other characters of a block of ASCII are put one by one: where a number of their places is cheap, and
// the code worth its size.
inline constexpr bool putsFewSingly = true;

// Whether code that only saves time is worth its size: a module for the web is fetched by its users.
inline constexpr bool sparesNoCode = true;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/places.h"
#include "kernels/simd/steps.h"
#include "kernels/simd/vector_texts.h"
