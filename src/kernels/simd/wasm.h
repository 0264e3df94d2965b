// Operations of WebAssembly's SIMD128: blocks of 16 bytes.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t blockBytes = 16;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/vectors.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

ZELK_OPERATION v128_t raw(Bytes bytes) {
    return reinterpret_cast<v128_t>(bytes);
}

ZELK_OPERATION v128_t rawUnits(Units units) {
    return reinterpret_cast<v128_t>(units);
}

ZELK_OPERATION Bytes bytesOf(v128_t vector) {
    return reinterpret_cast<Bytes>(vector);
}

ZELK_OPERATION Units unitsOf(v128_t vector) {
    return reinterpret_cast<Units>(vector);
}

// An aligned block: a part of it may lie before a text or after its terminator.
ZELK_OPERATION Bytes loadAligned(const void *from) {
    return load(from);
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
    return bytesOf(wasm_v128_load64_lane(back, wasm_v128_load64_zero(front), 1));
}

// ---- Bytes

// Each byte of `index` looked up in the 16 bytes of its lane of `table`. An index is 0 to 15, or 0x80 and more for a 0.
ZELK_OPERATION Bytes lookUp(Bytes table, Bytes index) {
    return bytesOf(wasm_i8x16_swizzle(raw(table), raw(index)));
}

ZELK_OPERATION Lane shuffleLane(Lane table, Lane index) {
    return lookUp(table, index);
}

ZELK_OPERATION Bytes addSaturated(Bytes a, Bytes b) {
    return bytesOf(wasm_u8x16_add_sat(raw(a), raw(b)));
}

ZELK_OPERATION Bytes subtractSaturated(Bytes a, Bytes b) {
    return bytesOf(wasm_u8x16_sub_sat(raw(a), raw(b)));
}

ZELK_OPERATION Bytes lesser(Bytes a, Bytes b) {
    return bytesOf(wasm_u8x16_min(raw(a), raw(b)));
}

ZELK_OPERATION Bytes greater(Bytes a, Bytes b) {
    return bytesOf(wasm_u8x16_max(raw(a), raw(b)));
}

ZELK_OPERATION Bytes choose(Flags flags, Bytes yes, Bytes no) {
    return bytesOf(wasm_v128_bitselect(raw(yes), raw(no), raw(flags)));
}

// ---- What flags say

// A bit for the high bit of each byte, that of the first byte lowest.
ZELK_OPERATION std::uint64_t signBits(Bytes bytes) {
    return wasm_i8x16_bitmask(raw(bytes));
}

ZELK_OPERATION bool anyBit(Bytes bytes) {
    return wasm_v128_any_true(raw(bytes));
}

ZELK_OPERATION bool anySignBit(Bytes bytes) {
    return wasm_i8x16_bitmask(raw(bytes)) != 0;
}

// Places in a block, for a search: as many bits for each byte as a set finds cheap, of which one is set.
inline constexpr unsigned int bitsPerPlace = 1;

ZELK_OPERATION std::uint64_t placesOf(Flags flags) {
    return signBits(flags);
}

// A bit for each unit, that of the first one lowest.
ZELK_OPERATION std::uint32_t unitBits(UnitFlags flags) {
    return wasm_i16x8_bitmask(rawUnits(flags));
}

ZELK_OPERATION std::uint32_t laneUnitBits(LaneUnits flags) {
    return unitBits(flags);
}

// For each lane 16 bits, those of the first lane lowest: a bit for each unit, and eight more without a meaning.
ZELK_OPERATION std::uint32_t unitBitsByLane(UnitFlags flags) {
    return unitBits(flags);
}

// For each lane 16 bits, those of the first lane lowest: four of `a`, four of `b`, the other four of `a`, those of `b`.
ZELK_OPERATION std::uint32_t groupBits(UnitFlags a, UnitFlags b) {
    const v128_t front = wasm_i64x2_shuffle(rawUnits(a), rawUnits(b), 0, 2);
    const v128_t back = wasm_i64x2_shuffle(rawUnits(a), rawUnits(b), 1, 3);
    return wasm_i8x16_bitmask(wasm_i8x16_narrow_i16x8(front, back));
}

ZELK_OPERATION std::uint32_t laneGroupBits(LaneUnits a, LaneUnits b) {
    return groupBits(a, b);
}

// ---- Between bytes and units

ZELK_OPERATION Units frontUnits(Bytes bytes) {
    return unitsOf(wasm_u16x8_extend_low_u8x16(raw(bytes)));
}

ZELK_OPERATION Units backUnits(Bytes bytes) {
    return unitsOf(wasm_u16x8_extend_high_u8x16(raw(bytes)));
}

// The bytes of two blocks of units, of which each is 0 to 0xFF: a unit from 0x100 to 0x7FFF gives 0xFF, a greater one
// 0.
ZELK_OPERATION Bytes packed(Units front, Units back) {
    return bytesOf(wasm_u8x16_narrow_i16x8(rawUnits(front), rawUnits(back)));
}

// The first eight bytes of each lane of `first` and `second` interleaved, and the last eight.
ZELK_OPERATION Bytes interleavedLow(Bytes first, Bytes second) {
    return __builtin_shufflevector(first, second, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

ZELK_OPERATION Bytes interleavedHigh(Bytes first, Bytes second) {
    return __builtin_shufflevector(first, second, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}

// The same of four units each, as groups of four bytes.
ZELK_OPERATION Bytes interleavedUnitsLow(Units first, Units second) {
    return asBytes(__builtin_shufflevector(first, second, 0, 8, 1, 9, 2, 10, 3, 11));
}

ZELK_OPERATION Bytes interleavedUnitsHigh(Units first, Units second) {
    return asBytes(__builtin_shufflevector(first, second, 4, 12, 5, 13, 6, 14, 7, 15));
}

ZELK_OPERATION Units lesserUnits(Units a, Units b) {
    return unitsOf(wasm_u16x8_min(rawUnits(a), rawUnits(b)));
}

ZELK_OPERATION Units highProducts(Units a, Units b) {
    const v128_t low = wasm_u32x4_extmul_low_u16x8(rawUnits(a), rawUnits(b));
    const v128_t high = wasm_u32x4_extmul_high_u16x8(rawUnits(a), rawUnits(b));
    return unitsOf(wasm_i16x8_shuffle(low, high, 1, 3, 5, 7, 9, 11, 13, 15));
}

// The low eight bytes of a lane as a number, and the bytes of eight units, of which each is 0 to 0xFF.
ZELK_OPERATION std::uint64_t lowWord(Lane lane) {
    return static_cast<std::uint64_t>(wasm_i64x2_extract_lane(raw(lane), 0));
}

// The two bytes of each unit exchanged.
ZELK_OPERATION Units exchanged(Bytes bytes) {
    return asUnits(lookUp(bytes, Lane{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14}));
}

// The sum of all bytes.
ZELK_OPERATION std::size_t sumOf(Bytes bytes) {
    const v128_t sums = wasm_u32x4_extadd_pairwise_u16x8(wasm_u16x8_extadd_pairwise_u8x16(raw(bytes)));
    return wasm_u32x4_extract_lane(sums, 0) + wasm_u32x4_extract_lane(sums, 1) + wasm_u32x4_extract_lane(sums, 2) +
           wasm_u32x4_extract_lane(sums, 3);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET

namespace zelk::kernels::ZELK_KERNEL_SET {

// Whether tables of 128 bytes are faster by shuffles than by loads.
inline constexpr bool hasFastTables = false;

// Whether the few other characters of a block of ASCII are put one by one: where a number of their places is cheap, and
// the code worth its size.
inline constexpr bool putsFewSingly = false;

// Whether code that only saves time is worth its size: a module for the web is fetched by its users.
inline constexpr bool sparesNoCode = false;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/places.h"
#include "kernels/simd/sixteenths.h"
#include "kernels/simd/vector_texts.h"
