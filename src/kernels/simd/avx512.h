// The page of small named operations that the AVX-512 kernels are written in. A block is 64 bytes; `count` bytes at its
// front are text, the rest is zero. Loads and stores are masked, or whole where a block lies within the text's pages or
// the output's room: nothing outside of these is read or written, not even for a moment.
#pragma once

#include "kernels/pages.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <immintrin.h>

// GCC 12 takes the registers that its own intrinsics leave undefined on purpose for mistakes of the caller.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t blockBytes = 64;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

inline constexpr std::size_t blockUnits = blockBytes / 2;

using Block = __m512i;
using Mask = std::uint64_t; // one bit a byte of a block, the first byte lowest

inline constexpr unsigned int bitsPerPlace = 1;

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/places.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

ZELK_OPERATION bool blockInPage(const void *at) {
    return areOnPage(at, blockBytes);
}

// A constant that stays in a register: without this GCC loads it anew wherever it is used.
ZELK_OPERATION Block held(Block constant) {
    __asm__("" : "+v"(constant));
    return constant;
}

// Eight bytes again and again, from memory: GCC would make a constant from an integer, which takes twice as long.
ZELK_OPERATION Block everyEight(const std::uint64_t &eight) {
    Block block;
    __asm__("vpbroadcastq %1, %0" : "=v"(block) : "m"(eight));
    return block;
}

template <std::uint64_t eight>
ZELK_OPERATION Block everyEight() {
    static constexpr std::uint64_t constant = eight;
    return everyEight(constant);
}

template <std::uint32_t four>
ZELK_OPERATION Block everyFour() {
    return everyEight<four * 0x100000001U>();
}

template <std::uint16_t unit>
ZELK_OPERATION Block everyUnit() {
    return everyFour<unit * 0x10001U>();
}

template <std::uint8_t byte>
ZELK_OPERATION Block everyByte() {
    return everyFour<byte * 0x1010101U>();
}

// Sixteen bytes as a table for look16().
ZELK_OPERATION Block nibbleTable(__m128i table) {
    return held(_mm512_broadcast_i32x4(table));
}

ZELK_OPERATION Mask firstBytes(std::size_t count) {
    return _bzhi_u64(~0ULL, static_cast<unsigned int>(count));
}

// A mask in an integer register as well: the way there is long and narrow, and GCC would take it for each use.
ZELK_OPERATION Mask asInteger(Mask mask) {
    __asm__("" : "+r"(mask));
    return mask;
}

ZELK_OPERATION std::size_t firstOf(Mask mask) {
    return static_cast<std::size_t>(_tzcnt_u64(mask)); // 64 where there is none
}

ZELK_OPERATION Block load(const void *from, Mask bytes) {
    return _mm512_maskz_loadu_epi8(bytes, from);
}

ZELK_OPERATION Block loadOver(Block block, const void *from, Mask bytes) {
    return _mm512_mask_loadu_epi8(block, bytes, from);
}

ZELK_OPERATION Block load(const void *from) {
    return _mm512_loadu_si512(from);
}

ZELK_OPERATION void store(void *to, Mask bytes, Block block) {
    _mm512_mask_storeu_epi8(to, bytes, block);
}

ZELK_OPERATION void store(void *to, Block block) {
    _mm512_storeu_si512(to, block);
}

ZELK_OPERATION bool all(Mask mask) {
    return _kortestc_mask64_u8(mask, mask) != 0;
}

ZELK_OPERATION bool none(Mask mask) {
    return _kortestz_mask64_u8(mask, mask) != 0;
}

ZELK_OPERATION Mask highBits(Block block) {
    return _mm512_movepi8_mask(block);
}

ZELK_OPERATION Mask nonZero(Block block) {
    return _mm512_test_epi8_mask(block, block);
}

// The bytes of a block that the mask keeps, compressed in front of zeros. Written to the register that it comes from:
// the processor waits for the old value of another one, though nothing of it remains.
ZELK_OPERATION Block compressed(Mask keep, Block block) {
    __asm__("vpcompressb %0, %0%{%1%}%{z%}" : "+v"(block) : "Yk"(keep));
    return block;
}

// Stores the bytes of a block that the mask keeps, compressed, and returns how many.
ZELK_OPERATION std::size_t storeKept(void *to, Mask keep, Block block) {
    const std::size_t count = countOf(keep);
    store(to, firstBytes(count), compressed(keep, block));
    return count;
}

// A table of 128 bytes, held in registers.
struct Table128 {
    Block low;
    Block high;

    ZELK_OPERATION Table128 from(const std::uint8_t (&bytes)[128]) { return {load(bytes), load(bytes + blockBytes)}; }
};

// table[index & 127] for every byte of `index` that the mask selects; the others stay as they are, or become zero.
ZELK_OPERATION Block lookOrKeep(const Table128 &table, Block index, Mask selected) {
    return _mm512_mask2_permutex2var_epi8(table.low, index, selected, table.high);
}

ZELK_OPERATION Block lookOrZero(const Table128 &table, Block index, Mask selected) {
    return _mm512_maskz_permutex2var_epi8(selected, table.low, index, table.high);
}

// Two blocks of bytes interleaved, as two blocks. By unpacking: a permutation of two blocks takes three operations.
struct Pairs {
    Block front;
    Block back;
};

// The eights of bytes of a block in another order.
ZELK_OPERATION Block inOrder(Block block, Block order) {
    return _mm512_permutexvar_epi64(order, block);
}

// To each lane eight bytes of a block's front half and eight of its back half: what interleaved() takes.
ZELK_OPERATION Block spreadOrder() {
    alignas(blockBytes) static constexpr std::uint64_t order[] = {0, 4, 1, 5, 2, 6, 3, 7};
    return load(order);
}

ZELK_OPERATION Pairs interleaved(Block first, Block second) {
    return {_mm512_unpacklo_epi8(first, second), _mm512_unpackhi_epi8(first, second)};
}

// The bytes of half a block as units.
ZELK_OPERATION Block frontUnits(Block bytes) {
    return _mm512_cvtepu8_epi16(_mm512_castsi512_si256(bytes));
}

ZELK_OPERATION Block backUnits(Block bytes) {
    return _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(bytes, 1));
}

// The low bytes of the units of two blocks. Units from 0x80 on become bytes that are no ASCII, or zero.
ZELK_OPERATION Block packed(Block front, Block back) {
    return _mm512_packus_epi16(front, back);
}

// For what packed() gives: the order of the text.
ZELK_OPERATION Block gatherOrder() {
    alignas(blockBytes) static constexpr std::uint64_t order[] = {0, 2, 4, 6, 1, 3, 5, 7};
    return load(order);
}

// Each byte of `nibbles` (0 to 15) looked up in a nibbleTable().
ZELK_OPERATION Block look16(Block table, Block nibbles) {
    return _mm512_shuffle_epi8(table, nibbles);
}

// The numbers of the places of a block, beginning with one of them.
template <std::size_t place>
ZELK_OPERATION Block placesFrom() {
    static constexpr auto places = []() {
        std::array<std::uint8_t, blockBytes> result{};
        for (std::size_t i = 0; i < blockBytes; ++i) {
            result[i] = static_cast<std::uint8_t>((i + place) % blockBytes);
        }
        return result;
    }();
    return load(places.data());
}

// The bytes of a block from a place on, and after them its front again.
template <std::size_t place>
ZELK_OPERATION Block startingAt(Block block) {
    return _mm512_permutexvar_epi8(placesFrom<place>(), block);
}

ZELK_OPERATION Block startingAt(Block block, std::size_t place) {
    const Block places = _mm512_add_epi8(placesFrom<0>(), _mm512_set1_epi8(static_cast<char>(place)));
    return _mm512_permutexvar_epi8(places, block);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
