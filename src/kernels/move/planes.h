// Single-byte sets, sixty-four characters at a time. The upper half of a set lies in planes of 128 bytes, each two
// registers, in which one permutation looks 64 characters up. The planes of a character's first and last UTF-8 byte
// interleaved, compressed over their zeros, are the text.
//
//     1 to 64 bytes that fit    bytesToUtf8, bytesToUcs2: one block, no loop
//     longer                    whole blocks, then the part of a block before the end; the same again up to the end
//     ASCII                     whole blocks copied
//     characters of 3 bytes     the parts of a block, once the first such character was met
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/avx512_lines.h"
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

// What a text is converted up to. A text that a zero ends may be shorter than its count: of it, no line of the cache is
// read before the text is known to go on to it.
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

// The bytes that may be read at once, a block at most.
template <UpTo end>
ZELK_OPERATION std::size_t readableBytes(const unsigned char *in, std::size_t left) {
    return std::min(left, end == UpTo::Zero ? bytesInLine(in) : blockBytes);
}

// A block of text: a line, where a zero may end it.
template <UpTo end>
ZELK_OPERATION Block loadWhole(const unsigned char *in) {
    return end == UpTo::Zero ? loadInLine(in) : load(in);
}

// Whether all of a text of a block at most may be read, because it lies in one line or goes on to the end of its first.
ZELK_OPERATION bool mayReadAll(const unsigned char *text, std::size_t length) {
    const std::size_t first = bytesInLine(text);
    if (length <= first) [[likely]] {
        return true;
    }
    const Mask bytes = firstBytes(first);
    return same(nonZero(load(text, bytes)), bytes);
}

// Two blocks of bytes interleaved, as two blocks.
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

ZELK_OPERATION Pairs interleaved(Block first, Block second, const Pairs &order) {
    return {_mm512_permutex2var_epi8(first, order.front, second), _mm512_permutex2var_epi8(first, order.back, second)};
}

// Two planes of a set and the order that interleaves them: what a loop holds in registers.
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

ZELK_OPERATION Block withoutZeros(Block block) {
    return compressed(nonZero(block), block);
}

inline constexpr std::size_t halfBlock = blockBytes / 2;

// The UTF-8 of the first `count` bytes of a block: the first bytes of characters of two, which are at `upper`, and all
// last bytes. Returns its length. The first half of a whole block is stored whole: the second half, which has 32 bytes
// at least, overwrites what is too much.
template <bool whole>
ZELK_OPERATION std::size_t storeInterleaved(const Pairs &order, char *out, Block first, Block last, std::size_t count,
                                            Mask upper) {
    const Pairs pairs = interleaved(first, last, order);
    const std::size_t written = count + countOf(upper);
    const std::size_t frontBytes = std::min(count, halfBlock) + countOf(static_cast<std::uint32_t>(upper));
    if (whole) {
        store(out, withoutZeros(pairs.front));
    } else {
        store(out, firstBytes(frontBytes), withoutZeros(pairs.front));
        if (count <= halfBlock) {
            return written;
        }
    }
    store(out + frontBytes, firstBytes(written - frontBytes), withoutZeros(pairs.back));
    return written;
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

ZELK_OPERATION char *storeTriples(const BytePlanes &planes, char *out, Block text, Mask upper) {
    const Registers two = registersOf(planes.first, planes.last);
    const Block first = lookOrZero(Table128::from(planes.firstOfThree), text, upper);
    const Block second = lookOrZero(two.first, text, upper);
    const Block lastOfThree = lookOrZero(Table128::from(planes.lastOfThree), text, upper);
    const Block last = _mm512_or_si512(lookOrKeep(two.last, text, upper), lastOfThree);
    const Pairs firsts = interleaved(first, _mm512_setzero_si512(), two.order);
    const Pairs others = interleaved(second, last, two.order); // NOLINT(readability-suspicious-call-argument): of three
    return storeTriples(storeTriples(out, firsts.front, others.front), firsts.back, others.back);
}

// A conversion on its way.
template <class Unit>
struct Conversion {
    const unsigned char *in;
    std::size_t left;
    Unit *out;
    std::size_t room;

    ZELK_OPERATION void advance(Conversion &conversion, std::size_t read, std::size_t written) {
        conversion.in += read;
        conversion.left -= read;
        conversion.out += written;
        conversion.room -= written;
    }
};
// There is room for two blocks: for all that a block gives, where its characters have two bytes at most.
template <UpTo end>
ZELK_OPERATION bool isWholeBlock(const Conversion<char> &c) {
    return c.left >= blockBytes && c.room >= 2 * blockBytes &&
           (end == UpTo::Control || bytesInLine(c.in) == blockBytes);
}

template <UpTo end>
ZELK_OPERATION void asciiBlocks(Conversion<char> &c, Block text) {
    do {
        store(c.out, text);
        Conversion<char>::advance(c, blockBytes, blockBytes);
        if (!isWholeBlock<end>(c)) {
            return;
        }
        text = loadWhole<end>(c.in);
    } while (all(ordinaryAscii<end>(text)));
}

// Up to one with a zero or a control, or a character of three bytes.
template <UpTo end>
ZELK_OPERATION void wholeBlocks(const Registers &registers, Conversion<char> &c) {
    while (isWholeBlock<end>(c)) {
        const Block text = loadWhole<end>(c.in);
        const Mask upper = highBits(text);
        if (upper == 0) {
            if (!all(ordinaryAscii<end>(text))) {
                return;
            }
            asciiBlocks<end>(c, text);
            continue;
        }
        const Block first = lookOrZero(registers.first, text, upper);
        const Block last = lookOrKeep(registers.last, text, upper);
        const Mask ordinary = end == UpTo::Zero ? ~0ULL : ordinaryBytes<end>(text);
        if (!all(_mm512_mask_test_epi8_mask(ordinary, last, last))) {
            return;
        }
        const std::size_t written = storeInterleaved<true>(registers.order, c.out, first, last, blockBytes, upper);
        Conversion<char>::advance(c, blockBytes, written);
    }
}

enum class Part { Done, Ended, Wide, Full };

// The part of a block before a zero or a control. `wide`: characters of three bytes too; else Wide tells of them.
template <UpTo end, bool wide>
ZELK_OPERATION Part partOfBlock(const BytePlanes &planes, const Registers &registers, Conversion<char> &c) {
    const std::size_t readable = readableBytes<end>(c.in, c.left);
    const Block text = load(c.in, firstBytes(readable));
    const std::size_t count = firstOf(~ordinaryBytes<end>(text));
    const Mask bytes = firstBytes(count);
    const Mask upper = highBits(text) & bytes;
    std::size_t written = count + countOf(upper);
    if (written > c.room) {
        return Part::Full;
    }
    const Block last = lookOrKeep(registers.last, text, upper);
    if (upper == 0) {
        store(c.out, bytes, text);
    } else if ((nonZero(last) & bytes) == bytes) {
        const Block first = lookOrZero(registers.first, text, upper);
        storeInterleaved<false>(registers.order, c.out, first, _mm512_maskz_mov_epi8(bytes, last), count, upper);
    } else if (!wide) {
        return Part::Wide;
    } else if (c.room < 3 * count) {
        return Part::Full;
    } else {
        written =
            static_cast<std::size_t>(storeTriples(planes, c.out, _mm512_maskz_mov_epi8(bytes, text), upper) - c.out);
    }
    Conversion<char>::advance(c, count, written);
    return count < readable || c.left == 0 ? Part::Ended : Part::Done;
}

// False when a block with characters of three bytes comes next and `wide` does not ask for them.
template <UpTo end, bool wide>
ZELK_OPERATION bool convert(const BytePlanes &planes, Conversion<char> &c) {
    const Registers registers = held(registersOf(planes.first, planes.last));
    for (;;) {
        wholeBlocks<end>(registers, c);
        if (const Part part = partOfBlock<end, wide>(planes, registers, c); part != Part::Done) {
            return part != Part::Wide;
        }
    }
}

ZELK_STAGE Progress blocksToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    Conversion<char> c{text, length, out, room};
    if (!convert<UpTo::Zero, false>(tables::planesOf(set), c)) {
        convert<UpTo::Zero, true>(tables::planesOf(set), c);
    }
    return {length - c.left, room - c.room};
}

// A name is one block, which is all of the text and fits.
ZELK_STAGE Progress bytesToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    if (length > blockBytes || room < 2 * length || !mayReadAll(text, length)) {
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
    const Block first = lookOrZero(registers.first, block, upper);
    return {length, storeInterleaved<false>(registers.order, out, first, last, length, upper)};
}

ZELK_STAGE Progress cleanToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    Conversion<char> c{text, length, out, room};
    convert<UpTo::Control, true>(tables::planesOf(set), c);
    return {length - c.left, room - c.room};
}

ZELK_OPERATION Pairs unitsOf(const Registers &registers, Block text) {
    const Mask upper = highBits(text);
    return interleaved(lookOrKeep(registers.last, text, upper), lookOrZero(registers.first, text, upper),
                       registers.order);
}

ZELK_OPERATION void storeUnits(unsigned short *out, std::size_t count, const Pairs &units) {
    const Mask characters = firstBytes(count);
    _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(characters), units.front);
    if (count > halfBlock) {
        _mm512_mask_storeu_epi16(out + halfBlock, static_cast<__mmask32>(characters >> halfBlock), units.back);
    }
}

template <UpTo end>
ZELK_OPERATION Progress convertToUnits(const BytePlanes &planes, const unsigned char *in, std::size_t length,
                                       unsigned short *out) {
    const Registers registers = held(registersOf(planes.ucs2High, planes.ucs2Low));
    std::size_t done = 0;
    for (;;) {
        std::size_t readable = readableBytes<end>(in + done, length - done);
        for (; readable == blockBytes; readable = readableBytes<end>(in + done, length - done)) {
            const Block text = loadWhole<end>(in + done);
            if (!all(ordinaryBytes<end>(text))) {
                break;
            }
            const Pairs units = unitsOf(registers, text);
            store(out + done, units.front);
            store(out + done + halfBlock, units.back);
            done += blockBytes;
        }
        const Block text = load(in + done, firstBytes(readable));
        const std::size_t count = firstOf(~ordinaryBytes<end>(text));
        storeUnits(out + done, count, unitsOf(registers, text));
        done += count;
        if (count < readable || done == length) {
            return {done, done};
        }
    }
}

ZELK_STAGE Progress blocksToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out) {
    return convertToUnits<UpTo::Zero>(tables::planesOf(set), text, length, out);
}

// A name is one block.
ZELK_STAGE Progress bytesToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    length = std::min(length, room);
    if (length > blockBytes || !mayReadAll(text, length)) {
        return blocksToUcs2(set, text, length, out);
    }
    const Mask bytes = firstBytes(length);
    const Block block = load(text, bytes);
    if (!same(nonZero(block), bytes)) {
        return blocksToUcs2(set, text, length, out);
    }
    const BytePlanes &planes = tables::planesOf(set);
    storeUnits(out, length, unitsOf(registersOf(planes.ucs2High, planes.ucs2Low), block));
    return {length, length};
}

ZELK_STAGE Progress cleanToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    return convertToUnits<UpTo::Control>(tables::planesOf(set), text, std::min(length, room), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
