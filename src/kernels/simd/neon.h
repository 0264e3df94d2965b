// Operations of NEON (Advanced SIMD): blocks of 16 bytes.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t blockBytes = 16;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/vectors.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

ZELK_OPERATION uint8x16_t raw(Bytes bytes) {
    return reinterpret_cast<uint8x16_t>(bytes);
}

ZELK_OPERATION uint16x8_t rawUnits(Units units) {
    return reinterpret_cast<uint16x8_t>(units);
}

ZELK_OPERATION Bytes bytesOf(uint8x16_t vector) {
    return reinterpret_cast<Bytes>(vector);
}

ZELK_OPERATION Units unitsOf(uint16x8_t vector) {
    return reinterpret_cast<Units>(vector);
}

// An aligned block that no sanitizer looks at: a part of it may lie before a text or after its terminator.
ZELK_OPERATION Bytes loadAligned(const void *from) {
#if defined(__aarch64__)
    Bytes bytes;
    __asm__("ldr %q0, %1" : "=w"(bytes) : "m"(*static_cast<const Bytes *>(from)));
    return bytes;
#else
    return load(from);
#endif
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
    return bytesOf(vcombine_u8(vld1_u8(static_cast<const std::uint8_t *>(front)),
                               vld1_u8(static_cast<const std::uint8_t *>(back))));
}

// ---- Bytes

// Each byte of `index` looked up in the 16 bytes of its lane of `table`. An index is 0 to 15, or 0x80 and more for a 0.
ZELK_OPERATION Bytes lookUp(Bytes table, Bytes index) {
#if defined(__aarch64__)
    return bytesOf(vqtbl1q_u8(raw(table), raw(index)));
#else
    const uint8x8x2_t halves = {{vget_low_u8(raw(table)), vget_high_u8(raw(table))}};
    return bytesOf(vcombine_u8(vtbl2_u8(halves, vget_low_u8(raw(index))), vtbl2_u8(halves, vget_high_u8(raw(index)))));
#endif
}

ZELK_OPERATION Lane shuffleLane(Lane table, Lane index) {
    return lookUp(table, index);
}

#if defined(__aarch64__)
// What a table of 128 bytes has for each byte from 0x80 on; zeros for ASCII.
ZELK_OPERATION Bytes lookUpUpper(const std::uint8_t (&table)[128], Bytes text) {
    const uint8x16_t first = vqtbl4q_u8(vld1q_u8_x4(table), raw(text ^ 0x80)); // zeros for other indices
    return bytesOf(vorrq_u8(first, vqtbl4q_u8(vld1q_u8_x4(table + 64), raw(text ^ 0xC0))));
}
#endif

ZELK_OPERATION Bytes addSaturated(Bytes a, Bytes b) {
    return bytesOf(vqaddq_u8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes subtractSaturated(Bytes a, Bytes b) {
    return bytesOf(vqsubq_u8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes lesser(Bytes a, Bytes b) {
    return bytesOf(vminq_u8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes greater(Bytes a, Bytes b) {
    return bytesOf(vmaxq_u8(raw(a), raw(b)));
}

ZELK_OPERATION Bytes choose(Flags flags, Bytes yes, Bytes no) {
    return bytesOf(vbslq_u8(raw(flags), raw(yes), raw(no)));
}

// ---- What flags say

// A bit for the high bit of each byte, that of the first byte lowest.
ZELK_OPERATION std::uint64_t signBits(Bytes bytes) {
    const Lane weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t bits = vandq_u8(vreinterpretq_u8_s8(vshrq_n_s8(vreinterpretq_s8_u8(raw(bytes)), 7)), raw(weights));
    uint8x8_t sums = vpadd_u8(vget_low_u8(bits), vget_high_u8(bits));
    sums = vpadd_u8(sums, sums);
    return vget_lane_u16(vreinterpret_u16_u8(vpadd_u8(sums, sums)), 0);
}

ZELK_OPERATION bool anyBit(Bytes bytes) {
#if defined(__aarch64__)
    return vmaxvq_u32(vreinterpretq_u32_u8(raw(bytes))) != 0;
#else
    const uint32x2_t halves = vreinterpret_u32_u8(vorr_u8(vget_low_u8(raw(bytes)), vget_high_u8(raw(bytes))));
    return vget_lane_u32(vpmax_u32(halves, halves), 0) != 0;
#endif
}

ZELK_OPERATION bool anySignBit(Bytes bytes) {
#if defined(__aarch64__)
    return vmaxvq_u8(raw(bytes)) >= 0x80;
#else
    return anyBit(bytes & 0x80);
#endif
}

// Places in a block, for a search: as many bits for each byte as a set finds cheap, of which one is set.
inline constexpr unsigned int bitsPerPlace = 4;

ZELK_OPERATION std::uint64_t placesOf(Flags flags) {
    const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(raw(flags)), 4);
    return vget_lane_u64(vreinterpret_u64_u8(nibbles), 0) & 0x1111111111111111U;
}

// A bit for each unit, that of the first one lowest.
ZELK_OPERATION std::uint32_t unitBits(UnitFlags flags) {
    const LaneUnits weights = {1, 2, 4, 8, 16, 32, 64, 128};
#if defined(__aarch64__)
    return vaddvq_u16(vandq_u16(rawUnits(flags), rawUnits(weights)));
#else
    const uint16x8_t bits = vandq_u16(rawUnits(flags), rawUnits(weights));
    uint16x4_t sums = vadd_u16(vget_low_u16(bits), vget_high_u16(bits));
    sums = vpadd_u16(sums, sums);
    return vget_lane_u16(vpadd_u16(sums, sums), 0);
#endif
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
    const uint8x8_t low = vcreate_u8(0x0804020108040201U);
    const uint8x8_t high = vcreate_u8(0x8040201080402010U);
    const uint8x8_t bits = vorr_u8(vand_u8(vmovn_u16(rawUnits(a)), low), vand_u8(vmovn_u16(rawUnits(b)), high));
    const uint8x8_t sums = vpadd_u8(bits, bits);
    return vget_lane_u16(vreinterpret_u16_u8(vpadd_u8(sums, sums)), 0);
}

ZELK_OPERATION std::uint32_t laneGroupBits(LaneUnits a, LaneUnits b) {
    return groupBits(a, b);
}

// ---- Between bytes and units

ZELK_OPERATION Units frontUnits(Bytes bytes) {
    return unitsOf(vmovl_u8(vget_low_u8(raw(bytes))));
}

ZELK_OPERATION Units backUnits(Bytes bytes) {
    return unitsOf(vmovl_u8(vget_high_u8(raw(bytes))));
}

// The bytes of two blocks of units, of which each is 0 to 0xFF: a unit from 0x100 to 0x7FFF gives 0xFF, a greater one
// 0.
ZELK_OPERATION Bytes packed(Units front, Units back) {
    return bytesOf(vcombine_u8(vqmovun_s16(vreinterpretq_s16_u16(rawUnits(front))),
                               vqmovun_s16(vreinterpretq_s16_u16(rawUnits(back)))));
}

// The first eight bytes of each lane of `first` and `second` interleaved, and the last eight.
ZELK_OPERATION Bytes interleavedLow(Bytes first, Bytes second) {
    return bytesOf(vzipq_u8(raw(first), raw(second)).val[0]);
}

ZELK_OPERATION Bytes interleavedHigh(Bytes first, Bytes second) {
    return bytesOf(vzipq_u8(raw(first), raw(second)).val[1]);
}

// The same of four units each, as groups of four bytes.
ZELK_OPERATION Bytes interleavedUnitsLow(Units first, Units second) {
    return bytesOf(vreinterpretq_u8_u16(vzipq_u16(rawUnits(first), rawUnits(second)).val[0]));
}

ZELK_OPERATION Bytes interleavedUnitsHigh(Units first, Units second) {
    return bytesOf(vreinterpretq_u8_u16(vzipq_u16(rawUnits(first), rawUnits(second)).val[1]));
}

ZELK_OPERATION Units lesserUnits(Units a, Units b) {
    return unitsOf(vminq_u16(rawUnits(a), rawUnits(b)));
}

ZELK_OPERATION Units highProducts(Units a, Units b) {
    const uint16x8_t x = rawUnits(a);
    const uint16x8_t y = rawUnits(b);
    return unitsOf(vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(x), vget_low_u16(y)), 16),
                                vshrn_n_u32(vmull_u16(vget_high_u16(x), vget_high_u16(y)), 16)));
}

// The low eight bytes of a lane as a number, and the bytes of eight units, of which each is 0 to 0xFF.
ZELK_OPERATION std::uint64_t lowWord(Lane lane) {
    return vgetq_lane_u64(vreinterpretq_u64_u8(raw(lane)), 0);
}

// The two bytes of each unit exchanged.
ZELK_OPERATION Units exchanged(Bytes bytes) {
    return asUnits(bytesOf(vrev16q_u8(raw(bytes))));
}

// The sum of all bytes.
ZELK_OPERATION std::size_t sumOf(Bytes bytes) {
#if defined(__aarch64__)
    return vaddlvq_u8(raw(bytes));
#else
    const uint64x2_t sums = vpaddlq_u32(vpaddlq_u16(vpaddlq_u8(raw(bytes))));
    return static_cast<std::size_t>(vgetq_lane_u64(sums, 0) + vgetq_lane_u64(sums, 1));
#endif
}

} // namespace zelk::kernels::ZELK_KERNEL_SET

namespace zelk::kernels::ZELK_KERNEL_SET {

// Whether tables of 128 bytes are faster by shuffles than by loads.
inline constexpr bool hasFastTables = true;

// Whether the few other characters of a block of ASCII are put one by one: where a number of their places is cheap, and
// the code worth its size.
inline constexpr bool putsFewSingly = false;

// Whether code that only saves time is worth its size: a module for the web is fetched by its users.
inline constexpr bool sparesNoCode = true;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/places.h"
#if defined(__aarch64__)
#include "kernels/simd/planes.h"
#else
#include "kernels/simd/sixteenths.h"
#endif
#include "kernels/simd/vector_texts.h"
