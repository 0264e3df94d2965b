// UTF-8 and UCS-2 a block at a time. Included by utf8.cpp alone.
#pragma once

#include "kernels/avx512_operations.h"
#include "kernels/utf8.h"

ZELK_AVX512_BEGIN

namespace zelk::kernels::avx512 {

// ---- UCS-2 to UTF-8

inline constexpr std::size_t blockUnits = blockBytes / 2;

using UnitMask = __mmask32;

ZELK_OPERATION UnitMask unitsBelow(Block units, unsigned short limit) {
    return _mm512_cmplt_epu16_mask(units, _mm512_set1_epi16(static_cast<short>(limit)));
}

ZELK_OPERATION UnitMask unitsFrom(Block units, unsigned short first, unsigned short count) {
    return unitsBelow(_mm512_sub_epi16(units, _mm512_set1_epi16(static_cast<short>(first))), count);
}

ZELK_OPERATION Block exchangeBytes(Block units) {
    const __m128i order = _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
    return _mm512_shuffle_epi8(units, _mm512_broadcast_i32x4(order));
}

// Units below 0x800 as byte pairs: lead and continuation, or a zero and the ASCII byte.
ZELK_OPERATION Block pairsOf(Block units, UnitMask ascii) {
    const Block lead = _mm512_srli_epi16(units, 6);
    const Block trail = _mm512_slli_epi16(_mm512_and_si512(units, _mm512_set1_epi16(0x3F)), 8);
    const Block two = _mm512_ternarylogic_epi32(lead, trail, _mm512_set1_epi16(static_cast<short>(0x80C0)), 0xFE);
    return _mm512_mask_slli_epi16(two, ascii, units, 8);
}

// Sixteen units of any size in lanes of four bytes, aligned at the third, zeros in front.
ZELK_OPERATION Block triplesOf(__m256i units) {
    const Block lanes = _mm512_cvtepu16_epi32(units);
    const __mmask16 two = _mm512_cmpge_epu32_mask(lanes, _mm512_set1_epi32(0x80));
    const __mmask16 three = _mm512_cmpge_epu32_mask(lanes, _mm512_set1_epi32(0x800));
    const Block first = _mm512_maskz_add_epi32(three, _mm512_srli_epi32(lanes, 12), _mm512_set1_epi32(0xE0));
    const Block second = _mm512_slli_epi32(_mm512_and_si512(_mm512_srli_epi32(lanes, 6), _mm512_set1_epi32(0x3F)), 8);
    const Block third = _mm512_slli_epi32(_mm512_and_si512(lanes, _mm512_set1_epi32(0x3F)), 16);
    Block bytes = _mm512_or_si512(_mm512_or_si512(first, second),
                                  _mm512_or_si512(third, _mm512_set1_epi32(0x808000)));
    bytes = _mm512_mask_or_epi32(bytes, static_cast<__mmask16>(~three), bytes, _mm512_set1_epi32(0x4000));
    return _mm512_mask_slli_epi32(bytes, static_cast<__mmask16>(~two), lanes, 16);
}

template <bool whole>
ZELK_OPERATION std::size_t storeTriples(char *out, __m256i units) {
    const Block lanes = triplesOf(units);
    return storeKept<whole>(out, nonZero(lanes), lanes);
}

// One block of units: false, with nothing changed, where the kernel has to stop. A whole block with room to spare is
// stored without masks; what the store writes behind the result lies inside the room.
template <bool whole, UnitOrder order, Clean clean>
ZELK_OPERATION bool encodeBlock(const unsigned char *text, std::size_t units, char *out, std::size_t room, Progress &done) {
    const auto present = static_cast<UnitMask>(firstBytes(units));
    Block block = whole ? load(text) : load(text, firstBytes(2 * units));
    if (order == UnitOrder::HighFirst) {
        block = exchangeBytes(block);
    }
    const UnitMask ascii = unitsBelow(block, 0x80);
    if ((ascii & present) == present) {
        if ((unitsBelow(block, clean == Clean::Any ? 1 : 0x20) & present) != 0) {
            return false;
        }
        _mm256_mask_storeu_epi8(out, present, _mm512_cvtepi16_epi8(block));
        done.written += units;
    } else {
        if (room <= 3 * units) {
            return false;
        }
        UnitMask special = unitsBelow(block, clean == Clean::Any ? 1 : 0x20);
        if (clean == Clean::NoControls) {
            special |= unitsFrom(block, 0x80, 0x20) | unitsFrom(block, 0xE080, 0x20);
        }
        if ((special & present) != 0) {
            return false;
        }
        if ((unitsBelow(block, 0x800) & present) == present) {
            const Block pairs = pairsOf(block, ascii);
            done.written += storeKept<whole>(out, nonZero(pairs), pairs);
        } else {
            const std::size_t front = storeTriples<whole>(out, _mm512_castsi512_si256(block));
            done.written += front;
            if (units > blockUnits / 2) {
                done.written += storeTriples<false>(out + front, _mm512_extracti64x4_epi64(block, 1));
            }
        }
    }
    done.read += units;
    return true;
}

template <UnitOrder order, Clean clean>
Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    Progress done;
    bool going = true;
    while (going && count - done.read >= blockUnits && room - done.written > blockBytes) {
        going = encodeBlock<true, order, clean>(text + 2 * done.read, blockUnits, out + done.written,
                                                    room - done.written, done);
    }
    while (going && done.read < count) {
        const std::size_t left = count - done.read;
        const std::size_t units = left < blockUnits ? left : blockUnits;
        going = room - done.written > units &&
                encodeBlock<false, order, clean>(text + 2 * done.read, units, out + done.written,
                                                     room - done.written, done);
    }
    return done;
}

// ---- UTF-8

// What may be wrong with a byte and the one before it, a bit each. Three tables of 16 say which bits the halves of the two
// bytes allow; a bit that all three allow is a fault.
namespace fault {
inline constexpr char afterAscii = 1; // a continuation byte after ASCII
inline constexpr char afterLead = 2;  // none after a lead
inline constexpr char overlong2 = 4;  // C0 and C1
inline constexpr char overlong3 = 8;  // E0 80 to E0 9F
inline constexpr char fourBytes = 16; // F0 to FF, with whatever follows
inline constexpr char second = -128;  // a second continuation byte: due two bytes after E0 to EF, a fault elsewhere
} // namespace fault

// The constants of the loops below, made once before them.
struct Utf8Constants {
    Block beforeHigh, beforeLow, current; // the three tables of faults
    Block lowNibble, least, high, lead2, lead3, dueLess, control8, c2, ee, ef, bf, bd, x82, x20;
    Block sixBits, order;
};

template <Clean clean>
ZELK_OPERATION Utf8Constants utf8Constants() {
    using namespace fault;
    constexpr char always = afterAscii | afterLead | fourBytes | second;
    constexpr char next = afterLead | fourBytes;
    constexpr char follows = afterAscii | overlong2 | fourBytes | second;
    Utf8Constants constants;
    constants.beforeHigh = nibbleTable(_mm_setr_epi8(afterAscii, afterAscii, afterAscii, afterAscii, afterAscii, afterAscii,
                                                     afterAscii, afterAscii, second, second, second, second,
                                                     afterLead | overlong2, afterLead, afterLead | overlong3, next));
    constants.beforeLow =
        nibbleTable(_mm_setr_epi8(always | overlong2 | overlong3, always | overlong2, always, always, always, always, always,
                                  always, always, always, always, always, always, always, always, always));
    constants.current = nibbleTable(_mm_setr_epi8(next, next, next, next, next, next, next, next, follows | overlong3,
                                                  follows | overlong3, follows, follows, next, next, next, next));
    constants.lowNibble = everyByte(0x0F);
    constants.least = everyByte(clean == Clean::Any ? 0x01 : 0x20);
    constants.high = everyByte(0x80);
    constants.lead2 = everyByte(0xC0);
    constants.lead3 = everyByte(0xE0);
    constants.dueLess = everyByte(0x60);
    constants.sixBits = everyByte(0x3F);
    constants.x20 = everyByte(0x20);
    constants.order = spreadOrder();
    constants.ef = everyByte(0xEF);
    constants.bf = everyByte(0xBF);
    constants.bd = everyByte(0xBD);
    if (clean == Clean::NoControls) {
        constants.control8 = everyByte(0xA0);
        constants.c2 = everyByte(0xC2);
        constants.ee = everyByte(0xEE);
        constants.x82 = everyByte(0x82);
    }
    return constants;
}

// A block of UTF-8 together with the bytes one and two places before each of its own. A sequence is looked at where it
// ends, so that blocks follow one another at fixed distances, wherever the sequences lie.
struct Utf8Block {
    Block text;
    Block before1;
    Block before2;
    Mask present;
};

// The bytes at text + read; in front of the text the bytes before are zero.
template <bool whole>
ZELK_OPERATION Utf8Block utf8BlockAt(const unsigned char *text, std::size_t read, std::size_t count) {
    const Mask present = whole ? ~0ULL : firstBytes(count);
    if (whole && read != 0) {
        return {load(text + read), load(text + read - 1), load(text + read - 2), present};
    }
    const Mask inside1 = read == 0 ? present & ~1ULL : present;
    const Mask inside2 = read == 0 ? present & ~3ULL : present;
    return {load(text + read, present), load(text + read - 1, inside1), load(text + read - 2, inside2), present};
}

// A zero for every byte that follows the two before it as it should.
ZELK_OPERATION Block faultsOf(const Utf8Block &block, const Utf8Constants &constants) {
    const Block byHigh = look16(constants.beforeHigh, highNibbles(block.before1, constants.lowNibble));
    const Block byLow = look16(constants.beforeLow, _mm512_and_si512(block.before1, constants.lowNibble));
    const Block byCurrent = look16(constants.current, highNibbles(block.text, constants.lowNibble));
    const Block faults = _mm512_ternarylogic_epi32(byHigh, byLow, byCurrent, 0x80); // a & b & c
    const Block due = _mm512_subs_epu8(block.before2, constants.dueLess);           // bit 7: two bytes after E0 and above
    return _mm512_ternarylogic_epi32(faults, due, constants.high, 0x78);            // a ^ (b & c)
}

template <Clean clean>
ZELK_OPERATION bool isWellFormed(const Utf8Block &block, const Utf8Constants &constants) {
    const Block faults = faultsOf(block, constants);
    __mmask64 wrong = _kor_mask64(_mm512_test_epi8_mask(faults, faults), _mm512_cmplt_epu8_mask(block.text, constants.least));
    if (clean == Clean::NoControls) {
        // The ends of U+0080 to U+009F (C2 80 to C2 9F) and of U+E080 to U+E09F (EE 82 80 to EE 82 9F).
        const __mmask64 image = _kand_mask64(_mm512_cmpeq_epi8_mask(block.before2, constants.ee),
                                             _mm512_cmpeq_epi8_mask(block.before1, constants.x82));
        const __mmask64 prefixed = _kor_mask64(image, _mm512_cmpeq_epi8_mask(block.before1, constants.c2));
        wrong = _kor_mask64(wrong, _kand_mask64(prefixed, _mm512_cmplt_epu8_mask(block.text, constants.control8)));
    }
    return (wrong & block.present) == 0;
}

// U+FFFD: EF BF BD. Few texts hold an EF at all.
ZELK_OPERATION bool holdsReplacement(const Utf8Block &block, const Utf8Constants &constants) {
    const __mmask64 starts = _mm512_cmpeq_epi8_mask(block.before2, constants.ef);
    if (starts == 0) {
        return false;
    }
    const __mmask64 middles = _mm512_cmpeq_epi8_mask(block.before1, constants.bf);
    return (_kand_mask64(_kand_mask64(starts, middles), _mm512_cmpeq_epi8_mask(block.text, constants.bd)) &
            block.present) != 0;
}

// The bytes in front of `read` that belong to a sequence which does not end there: 0, 1 or 2.
ZELK_OPERATION std::size_t unfinishedBytes(const unsigned char *text, std::size_t read) {
    if (read >= 1 && text[read - 1] >= 0xC0) {
        return 1;
    }
    return read >= 2 && text[read - 2] >= 0xE0 ? 2 : 0;
}

template <bool whole>
ZELK_OPERATION void storeUnits(unsigned short *out, std::size_t count, Block low, Block high, Block order) {
    const Block lows = spread(low, order);
    const Block highs = spread(high, order);
    if (whole) {
        store(out, frontPairs(lows, highs));
        store(out + blockUnits, backPairs(lows, highs));
        return;
    }
    const std::size_t bytes = 2 * count;
    store(out, firstBytes(bytes < blockBytes ? bytes : blockBytes), frontPairs(lows, highs));
    if (bytes > blockBytes) {
        store(out + blockUnits, firstBytes(bytes - blockBytes), backPairs(lows, highs));
    }
}

// One block of bytes; `whole` also says that 64 units may be written.
template <bool whole, Clean clean>
ZELK_OPERATION bool decodeBlock(const unsigned char *text, std::size_t count, unsigned short *out, Progress &done,
                                const Utf8Constants &constants) {
    const Mask present = whole ? ~0ULL : firstBytes(count);
    const Block plain = whole ? load(text + done.read) : load(text + done.read, present);
    if (highBits(plain) == 0 && unfinishedBytes(text, done.read) == 0) {
        if ((_mm512_cmplt_epu8_mask(plain, constants.least) & present) != 0) {
            return false;
        }
        storeUnits<whole>(out + done.written, count, plain, _mm512_setzero_si512(), constants.order);
        done.read += count;
        done.written += count;
        return true;
    }
    const Utf8Block block = utf8BlockAt<whole>(text, done.read, count);
    if (!isWellFormed<clean>(block, constants)) {
        return false;
    }
    // Low byte: two bits of the byte before, six of the last. High byte: four bits of the byte before, four of the lead.
    const __mmask64 multiple = _mm512_movepi8_mask(block.text);
    const __mmask64 thirds = _mm512_cmpge_epu8_mask(block.before2, constants.lead3);
    const __mmask64 seconds = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(block.before1, constants.lead2), constants.x20);
    const Block middleLow = _mm512_slli_epi16(block.before1, 6);
    const Block joined = _mm512_ternarylogic_epi32(constants.sixBits, block.text, middleLow, 0xCA); // a ? b : c
    const Block low = _mm512_mask_mov_epi8(block.text, multiple, joined);
    const Block middleHigh = _mm512_srli_epi16(block.before1, 2);
    const Block lead = _mm512_maskz_mov_epi8(thirds, _mm512_slli_epi16(block.before2, 4));
    const Block high =
        _mm512_maskz_mov_epi8(multiple, _mm512_ternarylogic_epi32(constants.lowNibble, middleHigh, lead, 0xCA));
    const Mask ends = (~multiple | thirds | seconds) & present;
    const std::size_t characters = countOf(ends);
    storeUnits<whole>(out + done.written, characters, _mm512_maskz_compress_epi8(ends, low),
                      _mm512_maskz_compress_epi8(ends, high), constants.order);
    done.read += count;
    done.written += characters;
    return true;
}

template <Clean clean>
Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    const Utf8Constants constants = utf8Constants<clean>();
    Progress done;
    bool going = true;
    while (going && length - done.read >= blockBytes && room - done.written >= blockBytes) {
        going = decodeBlock<true, clean>(text, blockBytes, out, done, constants);
    }
    while (going && done.read < length) {
        const std::size_t left = length - done.read;
        const std::size_t count = left < blockBytes ? left : blockBytes;
        going = room - done.written >= count && decodeBlock<false, clean>(text, count, out, done, constants);
    }
    done.read -= unfinishedBytes(text, done.read);
    return done;
}

// Counts the characters that begin in the block.
template <bool whole, Clean clean>
ZELK_OPERATION bool checkBlock(const unsigned char *text, std::size_t count, Progress &done,
                               const Utf8Constants &constants) {
    const Mask present = whole ? ~0ULL : firstBytes(count);
    const Block plain = whole ? load(text + done.read) : load(text + done.read, present);
    if (highBits(plain) == 0 && unfinishedBytes(text, done.read) == 0) {
        if ((_mm512_cmplt_epu8_mask(plain, constants.least) & present) != 0) {
            return false;
        }
        done.written += count;
    } else {
        const Utf8Block block = utf8BlockAt<whole>(text, done.read, count);
        if (!isWellFormed<clean>(block, constants) || holdsReplacement(block, constants)) {
            return false;
        }
        done.written += countOf(_mm512_cmpgt_epi8_mask(block.text, constants.bf) & present);
    }
    done.read += count;
    return true;
}

template <Clean clean>
std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length, std::size_t &characters) {
    const Utf8Constants constants = utf8Constants<clean>();
    Progress done;
    bool going = true;
    while (going && length - done.read >= blockBytes) {
        going = checkBlock<true, clean>(text, blockBytes, done, constants);
    }
    if (going && done.read < length) {
        checkBlock<false, clean>(text, length - done.read, done, constants);
    }
    const std::size_t unfinished = unfinishedBytes(text, done.read);
    characters += done.written - (unfinished != 0 ? 1 : 0);
    return done.read - unfinished;
}

} // namespace zelk::kernels::avx512

ZELK_AVX512_END
