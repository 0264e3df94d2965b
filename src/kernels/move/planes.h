// Sixty-four characters at a time. The upper half of a set lies in planes of 128 bytes, each two registers, in which
// one permutation looks 64 characters up. The planes of a character's first and last UTF-8 byte in turn, closed up over
// their zeros, are the text. A text of one block and a text with characters of three bytes have stages of their own.
// Included by byte_sets.cpp alone.
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/avx512.h"
#include "tables/byte_set_planes.h"

#include <array>

namespace zelk::kernels::ZELK_KERNEL_SET {

using tables::BytePlanes;

// Masks are combined and compared where they are: the way to an integer register and back is long.
ZELK_OPERATION Mask either(Mask a, Mask b) {
    return _kor_mask64(a, b);
}

ZELK_OPERATION Mask both(Mask a, Mask b) {
    return _kand_mask64(a, b);
}

ZELK_OPERATION Mask butNot(Mask a, Mask b) {
    return _kandn_mask64(b, a);
}

ZELK_OPERATION bool none(Mask mask) {
    return _kortestz_mask64_u8(mask, mask) != 0;
}

ZELK_OPERATION bool same(Mask a, Mask b) {
    return none(_kxor_mask64(a, b));
}

// What a text is converted up to.
enum class UpTo { Zero, Control };

template <UpTo end>
ZELK_OPERATION Mask ordinaryBytes(Block text) {
    return end == UpTo::Zero ? nonZero(text) : _mm512_test_epi8_mask(text, everyByte<0x60>());
}

// Ordinary and ASCII at once: as signed numbers, the bytes above the last control.
template <UpTo end>
ZELK_OPERATION Mask ordinaryAscii(Block text) {
    return _mm512_cmpgt_epi8_mask(text, everyByte<(end == UpTo::Zero ? 0 : 0x1F)>());
}

// The bytes of a block that may be read: of a text that may end before its end, none of the next page.
template <UpTo end>
ZELK_OPERATION std::size_t blockAt(const unsigned char *in, const unsigned char *inEnd) {
    const auto left = static_cast<std::size_t>(inEnd - in);
    const std::size_t count = left < blockBytes ? left : blockBytes;
    return end == UpTo::Zero && !blockInPage(in) && bytesInPage(in) < count ? bytesInPage(in) : count;
}

// Two blocks of bytes in turn, as two blocks.
struct Pairs {
    Block front;
    Block back;
};

struct Interleaving {
    alignas(64) std::array<std::uint8_t, 64> front;
    alignas(64) std::array<std::uint8_t, 64> back;
};

inline constexpr Interleaving interleaving = [] {
    Interleaving result{};
    for (unsigned int i = 0; i < 64; ++i) {
        const unsigned int source = i % 2 * 64 + i / 2; // bit 6 selects the second block
        result.front[i] = static_cast<std::uint8_t>(source);
        result.back[i] = static_cast<std::uint8_t>(source + 32);
    }
    return result;
}();

ZELK_OPERATION Pairs inTurn(Block first, Block second, const Pairs &order) {
    return {_mm512_permutex2var_epi8(first, order.front, second), _mm512_permutex2var_epi8(first, order.back, second)};
}

// Two planes of a set and the order that puts them in turn: what a loop holds in registers.
struct Registers {
    Table128 first;
    Table128 last;
    Pairs order;
};

ZELK_OPERATION Registers registersOf(const std::uint8_t (&first)[128], const std::uint8_t (&last)[128]) {
    return {
        Table128::from(first), Table128::from(last), {load(interleaving.front.data()), load(interleaving.back.data())}};
}

ZELK_OPERATION Registers held(Registers r) {
    return {{held(r.first.low), held(r.first.high)},
            {held(r.last.low), held(r.last.high)},
            {held(r.order.front), held(r.order.back)}};
}

template <bool freely>
ZELK_OPERATION void storeNonZero(char *out, std::size_t count, Block block) {
    const Block text = compressed(nonZero(block), block);
    if (freely) {
        store(out, text);
    } else {
        store(out, firstBytes(count), text);
    }
}

// The UTF-8 of the `bytes` of a block: the first bytes of characters of two, which are at `upper`, and all last bytes.
template <bool freely>
ZELK_OPERATION void storeInTurn(const Pairs &order, char *out, Block first, Block last, Mask bytes, Mask upper) {
    const Pairs pairs = inTurn(first, last, order);
    const std::size_t frontBytes = countOf(bytes & 0xFFFFFFFFU) + countOf(upper & 0xFFFFFFFFU);
    storeNonZero<freely>(out, frontBytes, pairs.front);
    storeNonZero<freely>(out + frontBytes, countOf(bytes >> 32U) + countOf(upper >> 32U), pairs.back);
}

// A block of characters of one or two bytes; false, and nothing is written, if others or zeros are among its `bytes`.
// `freely`: all of the block is text, of which `bytes` are ordinary, and there is room for two blocks; else for the
// bytes that the characters take.
template <bool freely>
ZELK_OPERATION bool storePairs(const Registers &registers, char *out, Block text, Mask bytes, Mask upper) {
    const Block first = lookOrZero(registers.first, text, upper);
    const Block last = lookOrKeep(registers.last, text, upper);
    if (freely ? !all(_mm512_mask_test_epi8_mask(bytes, last, last)) : nonZero(last) != bytes) {
        return false;
    }
    storeInTurn<freely>(registers.order, out, first, last, freely ? ~0ULL : bytes, upper);
    return true;
}

// Characters of up to three bytes: 16 at a time, each in a lane of four bytes whose zeros fall out.
ZELK_OPERATION char *storeTriples(char *out, __m256i firsts, __m256i pairs) {
    const Block lanes =
        _mm512_or_si512(_mm512_cvtepu16_epi32(firsts), _mm512_slli_epi32(_mm512_cvtepu16_epi32(pairs), 8));
    return out + storeKept<false>(out, nonZero(lanes), lanes);
}

ZELK_OPERATION char *storeTriples(char *out, Block firsts, Block pairs) {
    out = storeTriples(out, _mm512_castsi512_si256(firsts), _mm512_castsi512_si256(pairs));
    return storeTriples(out, _mm512_extracti64x4_epi64(firsts, 1), _mm512_extracti64x4_epi64(pairs, 1));
}

// There is room for three bytes a character.
ZELK_OPERATION char *storeTriples(const BytePlanes &planes, char *out, Block text, Mask upper) {
    const Registers two = registersOf(planes.first, planes.last);
    const Block first = lookOrZero(Table128::from(planes.firstOfThree), text, upper);
    const Block second = lookOrZero(two.first, text, upper);
    const Block lastOfThree = lookOrZero(Table128::from(planes.lastOfThree), text, upper);
    const Block last = _mm512_or_si512(lookOrKeep(two.last, text, upper), lastOfThree);
    const Pairs firsts = inTurn(first, _mm512_setzero_si512(), two.order);
    const Pairs others = inTurn(second, last, two.order); // NOLINT(readability-suspicious-call-argument): of three
    return storeTriples(storeTriples(out, firsts.front, others.front), firsts.back, others.back);
}

inline constexpr auto whole = static_cast<std::ptrdiff_t>(blockBytes);

// That 64 bytes may be read and, where they are no characters of three bytes, two blocks written.
template <UpTo end>
ZELK_OPERATION bool wholeBlockFits(const char *out, const char *outEnd, const unsigned char *in,
                                   const unsigned char *inEnd) {
    return inEnd - in >= whole && outEnd - out > 2 * whole && (end == UpTo::Control || blockInPage(in));
}

// Moves all; false when a block with characters of three bytes comes next and `wide` does not ask for them.
template <UpTo end, bool wide>
ZELK_OPERATION bool convert(const BytePlanes &planes, char *&out, char *outEnd, const unsigned char *&in,
                            const unsigned char *&inEnd) {
    const Registers registers = held(registersOf(planes.first, planes.last));
    for (;;) {
        while (wholeBlockFits<end>(out, outEnd, in, inEnd)) {
            Block text = load(in);
            const Mask upper = highBits(text);
            if (upper != 0) {
                const Mask ordinary = end == UpTo::Zero ? ~0ULL : ordinaryBytes<end>(text);
                if (!storePairs<true>(registers, out, text, ordinary, upper)) {
                    break;
                }
                in += whole;
                out += blockBytes + countOf(upper);
                continue;
            }
            if (!all(ordinaryAscii<end>(text))) {
                break;
            }
            do {
                store(out, text);
                in += whole;
                out += whole;
                if (!wholeBlockFits<end>(out, outEnd, in, inEnd)) {
                    break;
                }
                text = load(in);
            } while (all(ordinaryAscii<end>(text)));
        }
        const std::size_t count = blockAt<end>(in, inEnd);
        if (count == 0) {
            return true;
        }
        const Mask bytes = firstBytes(count);
        const Block text = load(in, bytes);
        const Mask ordinary = ordinaryBytes<end>(text);
        if (ordinary != bytes) {
            inEnd = in + __builtin_ctzll(~ordinary);
            continue;
        }
        const Mask upper = highBits(text);
        const auto room = static_cast<std::size_t>(outEnd - out);
        const std::size_t written = count + countOf(upper);
        if (written >= room) {
            return true;
        }
        if (upper == 0) {
            store(out, bytes, text);
            out += written;
        } else if (storePairs<false>(registers, out, text, bytes, upper)) {
            out += written;
        } else if (!wide) {
            return false;
        } else if (room > 3 * count) {
            out = storeTriples(planes, out, text, upper);
        } else {
            return true;
        }
        in += count;
    }
}

// Of a room, what the text may use at most, and a place for the terminator.
ZELK_OPERATION std::size_t roomUsed(std::size_t length, std::size_t room) {
    return std::min(room, 3 * length + 2 * blockBytes) + 1;
}

ZELK_STAGE Progress blocksToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    const unsigned char *in = text;
    const unsigned char *inEnd = text + length;
    char *to = out;
    char *const outEnd = out + roomUsed(length, room);
    if (!convert<UpTo::Zero, false>(tables::planesOf(set), to, outEnd, in, inEnd)) {
        convert<UpTo::Zero, true>(tables::planesOf(set), to, outEnd, in, inEnd);
    }
    return {static_cast<std::size_t>(in - text), static_cast<std::size_t>(to - out)};
}

// A name is one block, which is all of the text and fits.
ZELK_STAGE Progress bytesToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    if (length > blockBytes || !blockInPage(text) || room < 2 * blockBytes) {
        return blocksToUtf8(set, text, length, out, room);
    }
    const Mask bytes = firstBytes(length);
    const Block block = load(text, bytes);
    const Mask upper = highBits(block);
    if (none(upper)) {
        if (!same(nonZero(block), bytes)) {
            return blocksToUtf8(set, text, length, out, room);
        }
        store(out, bytes, block);
        return {length, length};
    }
    const BytePlanes &planes = tables::planesOf(set);
    const Registers registers = registersOf(planes.first, planes.last);
    const Block last = lookOrKeep(registers.last, block, upper);
    if (!same(nonZero(last), bytes)) {
        return blocksToUtf8(set, text, length, out, room);
    }
    storeInTurn<true>(registers.order, out, lookOrZero(registers.first, block, upper), last, bytes, upper);
    return {length, length + countOf(upper)};
}

ZELK_STAGE Progress cleanToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    const unsigned char *in = text;
    const unsigned char *inEnd = text + length;
    char *to = out;
    convert<UpTo::Control, true>(tables::planesOf(set), to, out + roomUsed(length, room), in, inEnd);
    return {static_cast<std::size_t>(in - text), static_cast<std::size_t>(to - out)};
}

ZELK_OPERATION Pairs unitsOf(const Registers &registers, Block text, Mask upper) {
    return inTurn(lookOrKeep(registers.last, text, upper), lookOrZero(registers.first, text, upper), registers.order);
}

ZELK_OPERATION void storeUnits(unsigned short *out, Mask characters, const Pairs &units) {
    _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(characters), units.front);
    _mm512_mask_storeu_epi16(out + blockBytes / 2, static_cast<__mmask32>(characters >> 32U), units.back);
}

// Tells where the units end.
template <UpTo end>
ZELK_OPERATION unsigned short *convertToUnits(const BytePlanes &planes, unsigned short *out, const unsigned char *in,
                                              const unsigned char *inEnd) {
    const Registers registers = held(registersOf(planes.ucs2High, planes.ucs2Low));
    for (;;) {
        std::size_t count = blockAt<end>(in, inEnd);
        for (; count == blockBytes; count = blockAt<end>(in, inEnd)) {
            const Block text = load(in);
            if (!all(ordinaryBytes<end>(text))) {
                break;
            }
            const Pairs units = unitsOf(registers, text, highBits(text));
            store(out, units.front);
            store(out + blockBytes / 2, units.back);
            in += count;
            out += count;
        }
        const Block text = load(in, firstBytes(count));
        const auto before = static_cast<std::size_t>(__builtin_ctzll(~ordinaryBytes<end>(text)));
        storeUnits(out, firstBytes(before), unitsOf(registers, text, highBits(text)));
        in += before;
        out += before;
        if (before < count || in == inEnd) {
            return out;
        }
    }
}

ZELK_STAGE Progress blocksToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out) {
    const auto done =
        static_cast<std::size_t>(convertToUnits<UpTo::Zero>(tables::planesOf(set), out, text, text + length) - out);
    return {done, done};
}

ZELK_STAGE Progress bytesToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    length = std::min(length, room);
    if (length > blockBytes || !blockInPage(text)) {
        return blocksToUcs2(set, text, length, out);
    }
    const Mask bytes = firstBytes(length);
    const Block block = load(text, bytes);
    if (nonZero(block) != bytes) {
        return blocksToUcs2(set, text, length, out);
    }
    const BytePlanes &planes = tables::planesOf(set);
    storeUnits(out, bytes, unitsOf(registersOf(planes.ucs2High, planes.ucs2Low), block, highBits(block)));
    return {length, length};
}

ZELK_STAGE Progress cleanToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    const std::size_t fitting = std::min(length, room);
    const auto done =
        static_cast<std::size_t>(convertToUnits<UpTo::Control>(tables::planesOf(set), out, text, text + fitting) - out);
    return {done, done};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
