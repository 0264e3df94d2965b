// Sixty-four characters at a time. The upper half of a set is five planes of 128 bytes: the three UTF-8 bytes of each
// character, absent ones zero, and the two bytes of its code point; a plane is two registers, and one permutation looks
// 64 characters up. Interleaved planes closed up over their zeros are the UTF-8 text. Included by byte_sets.cpp alone.
#pragma once

#include "kernels/avx512_operations.h"
#include "kernels/byte_sets.h"
#include "tables/byte_set_planes.h"

ZELK_AVX512_BEGIN

namespace zelk::kernels::avx512 {

using tables::BytePlanes;

// Characters of up to three bytes: 16 at a time, each in a lane of four bytes whose zeros fall out.
ZELK_OPERATION std::size_t storeTriples(char *out, __m256i firsts, __m256i pairs) {
    const Block lanes = _mm512_or_si512(_mm512_cvtepu16_epi32(firsts), _mm512_slli_epi32(_mm512_cvtepu16_epi32(pairs), 8));
    return storeKept<false>(out, nonZero(lanes), lanes);
}

ZELK_OPERATION std::size_t storeTriples(char *out, Block firsts, Block pairs) {
    const std::size_t front = storeTriples(out, _mm512_castsi512_si256(firsts), _mm512_castsi512_si256(pairs));
    return front + storeTriples(out + front, _mm512_extracti64x4_epi64(firsts, 1), _mm512_extracti64x4_epi64(pairs, 1));
}

// One block with characters above ASCII; needs room for three bytes a character.
ZELK_OPERATION std::size_t storeBlock(const BytePlanes &planes, char *out, Block text, std::size_t count) {
    const Block order = spreadOrder();
    const Block characters = spread(text, order);
    const Mask upper = highBits(characters);
    const Block third = look(Table128::from(planes.utf8Third), characters, upper, characters);
    const Block second = lookOrZero(Table128::from(planes.utf8Second), characters, upper);
    const Block first = lookOrZero(Table128::from(planes.utf8First), characters, upper);
    const Block front = frontPairs(second, third);
    const Block back = backPairs(second, third);
    std::size_t written = 0;
    if (nonZero(first) == 0) {
        written = storeKept<false>(out, nonZero(front), front);
        if (count > blockBytes / 2) {
            written += storeKept<false>(out + written, nonZero(back), back);
        }
    } else {
        const Block none = _mm512_setzero_si512();
        written = storeTriples(out, frontPairs(first, none), front);
        if (count > blockBytes / 2) {
            written += storeTriples(out + written, backPairs(first, none), back);
        }
    }
    return written;
}

inline Progress byteSetToUtf8(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out, std::size_t room) {
    const BytePlanes &planes = tables::planesOf(set);
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length) {
        const std::size_t left = length - read;
        const std::size_t count = left < blockBytes ? left : blockBytes;
        const std::size_t roomLeft = room - written;
        if (roomLeft <= count) {
            break;
        }
        const Mask bytes = firstBytes(count);
        const Block text = load(in + read, bytes);
        if (highBits(text) == 0) {
            store(out + written, bytes, text);
            written += count;
        } else if (roomLeft > 3 * count) {
            written += storeBlock(planes, out + written, text, count);
        } else {
            break;
        }
        read += count;
    }
    return {read, written};
}

inline void byteSetToUcs2(tables::ByteSet set, const unsigned char *in, std::size_t length, unsigned short *out) {
    const BytePlanes &planes = tables::planesOf(set);
    const Table128 lows = Table128::from(planes.ucs2Low);
    const Table128 highs = Table128::from(planes.ucs2High);
    const Block order = spreadOrder();
    for (std::size_t read = 0; read < length; read += blockBytes) {
        const std::size_t left = length - read;
        const Block characters = spread(left < blockBytes ? load(in + read, firstBytes(left)) : load(in + read), order);
        const Mask upper = highBits(characters);
        const Block low = look(lows, characters, upper, characters);
        const Block high = lookOrZero(highs, characters, upper);
        if (left >= blockBytes) {
            store(out + read, frontPairs(low, high));
            store(out + read + blockBytes / 2, backPairs(low, high));
        } else {
            store(out + read, firstBytes(2 * left), frontPairs(low, high));
            if (left > blockBytes / 2) {
                store(out + read + blockBytes / 2, firstBytes(2 * left - blockBytes), backPairs(low, high));
            }
        }
    }
}

} // namespace zelk::kernels::avx512

ZELK_AVX512_END
