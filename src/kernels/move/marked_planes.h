// DVB text of a table: stretches of plain characters, and names whole. Where a table has the marks of ISO/IEC 6937, a
// mark and its letter are two bytes, and so is the UTF-8 of what they compose: the composed character takes their
// place, and only the other characters of the upper half make the text longer.
//
//     whole blocks          ASCII copied; composed; composed, with characters of two bytes interleaved
//     the last, in part     up to the first byte that is not plain
//     what is not plain     by the table, one character, then blocks again (to UTF-8)
#pragma once

#include "kernels/move/planes.h"
#include "kernels/plain/marked_sets.h"
#include "tables/dvb_marks.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

using tables::markPlanes;

// The bytes after and before every byte of a block; after the last is the first of a second block.
struct Neighbours {
    alignas(64) std::array<std::uint8_t, 64> next;
    alignas(64) std::array<std::uint8_t, 64> previous;
};

inline constexpr Neighbours neighbours = []() {
    Neighbours result{};
    for (unsigned int i = 0; i < 64; ++i) {
        result.next[i] = static_cast<std::uint8_t>(i + 1);
        result.previous[i] = static_cast<std::uint8_t>((i + 63) % 64);
    }
    return result;
}();

// Every byte of `index`, its six low bits, looked up in a table of 64 bytes.
ZELK_OPERATION Block look64(Block table, Block index) {
    return _mm512_permutexvar_epi8(index, table);
}

ZELK_OPERATION Block lookOrKeep64(Block table, Block index, Mask selected, Block kept) {
    return _mm512_mask_permutexvar_epi8(kept, selected, index, table);
}

// 0x20 to 0x7E are themselves in every table. Moved up by one they are, as signed numbers, those above 0x20.
struct Graphic {
    Block one;
    Block space;
};

ZELK_OPERATION Graphic graphic() {
    return {everyByte<0x01>(), everyByte<0x20>()};
}

ZELK_OPERATION Mask graphicAscii(const Graphic &constants, Block text) {
    return _mm512_cmpgt_epi8_mask(_mm512_add_epi8(text, constants.one), constants.space);
}

// What it takes to compose: in a loop, registers.
struct Composer {
    Table128 bits, capitals, smalls;
    Block rows, firstMarks, lastMarks, next, previous, lastMark, beforeLetters, caseBit, ordinaryBits;
};

ZELK_OPERATION Composer composer() {
    return {Table128::from(markPlanes.bits),
            Table128::from(markPlanes.capitals),
            Table128::from(markPlanes.smalls),
            load(markPlanes.rows),
            load(markPlanes.firstMarks),
            load(markPlanes.lastMarks),
            load(neighbours.next.data()),
            load(neighbours.previous.data()),
            everyByte<0x08>(),
            everyByte<0x3F>(),
            everyByte<0x20>(),
            everyByte<0x60>()};
}

// Where marks are, which of them compose with the letters after them, and in their places the codes of the characters.
struct Composed {
    Mask marks;
    Mask leads;
    Block codes;
};

// A mark in the last place has no letter.
ZELK_OPERATION Composed composed(const Composer &c, Block text, Mask high) {
    const Block bits = lookOrZero(c.bits, text, high);
    const Block letters = _mm512_maskz_permutexvar_epi8(~0ULL >> 1U, c.next, text);
    const Mask lettered = _mm512_cmpgt_epi8_mask(letters, c.beforeLetters); // signed
    const Block sets =
        lookOrKeep64(c.lastMarks, letters, _mm512_test_epi8_mask(text, c.lastMark), look64(c.firstMarks, letters));
    const Block places = _mm512_add_epi8(look64(c.rows, text), letters);
    const Block codes = _mm512_mask_mov_epi8(_mm512_permutex2var_epi8(c.capitals.low, places, c.capitals.high),
                                             _mm512_test_epi8_mask(letters, c.caseBit),
                                             _mm512_permutex2var_epi8(c.smalls.low, places, c.smalls.high));
    return {nonZero(bits), _mm512_mask_test_epi8_mask(lettered, sets, bits), codes};
}

// The number of a character's page and four bits below, for look64().
ZELK_OPERATION Block pagesOf(Block codes) {
    return _mm512_srli_epi16(codes, 2);
}

// Marked text with composed characters as UTF-8.
struct Utf8Composer {
    Composer composer;
    Block leads, trailBits, trailMark;
};

ZELK_OPERATION Utf8Composer utf8Composer() {
    return {composer(), load(markPlanes.leads), everyByte<0x3F>(), everyByte<0x80>()};
}

struct MarkedUtf8 {
    Block bytes;
    Mask marks;
    Mask leads;
    Mask upper; // others of the upper half
};

ZELK_OPERATION MarkedUtf8 markedUtf8(const Utf8Composer &c, Block text) {
    const Mask high = highBits(text);
    const Composed pairs = composed(c.composer, text, high);
    const Block trails = _mm512_ternarylogic_epi32(pairs.codes, c.trailBits, c.trailMark, 0xEA); // (a & b) | c
    const Block withLeads = lookOrKeep64(c.leads, pagesOf(pairs.codes), pairs.leads, text);
    const Block bytes = lookOrKeep64(trails, c.composer.previous, _kshiftli_mask64(pairs.leads, 1), withLeads);
    return {bytes, pairs.marks, pairs.leads, butNot(high, pairs.marks)};
}

// The same with the characters of two bytes in the place of one: their first bytes, and all last ones.
struct FirstAndLast {
    Block first;
    Block last;
    Mask plain; // of those characters the ones that have two bytes
};

ZELK_OPERATION FirstAndLast withUpper(const Registers &planes, const Utf8Composer &c, Block text,
                                      const MarkedUtf8 &block) {
    const Block last = lookOrKeep(planes.last, block.bytes, block.upper);
    const Mask noControls = _mm512_mask_test_epi8_mask(block.upper, text, c.composer.ordinaryBits);
    return {lookOrZero(planes.first, text, block.upper), last, _mm512_mask_test_epi8_mask(noControls, last, last)};
}

// A mark in the last place of a whole block waits for its letter, which begins the next block. The loops look at that
// byte apart from the others, so that a block need not wait for the one before it.
inline constexpr Mask lastPlace = 1ULL << (blockBytes - 1);

ZELK_OPERATION std::size_t bytesInFront(const unsigned char *in) {
    return blockBytes - (tables::dvbMarks.sets[0].columnOf[in[blockBytes - 1]] != 0 ? 1U : 0U);
}

// There is room for three bytes a character.

// Whole blocks up to one that is not plain.
ZELK_OPERATION void wholeMarkedBlocks(const Registers &planes, const Utf8Composer &composer, const Graphic &ascii,
                                      Conversion<char> &c) {
    while (c.left >= blockBytes) {
        const Block text = load(c.in);
        const Mask graphic = graphicAscii(ascii, text);
        if (all(graphic)) {
            store(c.out, text);
            Conversion<char>::advance(c, blockBytes, blockBytes);
            continue;
        }
        const MarkedUtf8 block = markedUtf8(composer, text);
        const Mask plain = either(either(graphic, block.leads), both(block.marks, lastPlace));
        const std::size_t count = bytesInFront(c.in);
        std::size_t written = count;
        if (none(block.upper)) {
            if (!all(plain)) {
                break;
            }
            store(c.out, firstBytes(count), block.bytes);
        } else {
            const FirstAndLast bytes = withUpper(planes, composer, text, block);
            if (!all(either(plain, bytes.plain))) {
                break;
            }
            written = storeInterleaved<true>(c.out, inOrder(bytes.first, planes.order),
                                             inOrder(bytes.last, planes.order), count, block.upper);
        }
        Conversion<char>::advance(c, count, written);
    }
}

// Of what is left, a block at most, as far as it is plain.
ZELK_OPERATION void partOfMarkedBlock(const Registers &planes, const Utf8Composer &composer, const Graphic &ascii,
                                      Conversion<char> &c) {
    const Block text = load(c.in, firstBytes(std::min(c.left, blockBytes)));
    const MarkedUtf8 block = markedUtf8(composer, text);
    const FirstAndLast both = withUpper(planes, composer, text, block);
    const std::size_t count = firstOf(~(graphicAscii(ascii, text) | block.leads | both.plain));
    if (count == 0) {
        return;
    }
    const Mask bytes = firstBytes(count);
    const Mask upper = block.upper & bytes;
    if (upper == 0) {
        store(c.out, bytes, block.bytes);
    } else {
        storeInterleaved<false>(c.out, inOrder(_mm512_maskz_mov_epi8(upper, both.first), planes.order),
                                inOrder(_mm512_maskz_mov_epi8(bytes, both.last), planes.order), count, upper);
    }
    Conversion<char>::advance(c, count, count + countOf(upper));
}

// Characters of three bytes are put one by one.
struct RareUtf8 {
    using Unit = char;

    tables::PackedUtf8 packed;

    char *put(char *at, unsigned char byte, unsigned int /*character*/) const {
        return plain::putCharacter(at, packed[byte]);
    }
    static char *putComposed(char *at, unsigned int character) { return plain::Utf8Form::putComposed(at, character); }
};

ZELK_OPERATION bool putRare(tables::ByteSet set, Conversion<char> &c) {
    char *at = c.out;
    const RareUtf8 form{tables::packedUtf8Of(set)};
    const std::size_t read = plain::putMarked(tables::codePointsOf(set), form, at, c.in, c.left);
    Conversion<char>::advance(c, read, static_cast<std::size_t>(at - c.out));
    return read != 0;
}

ZELK_STAGE void composeBlocks(tables::ByteSet set, Conversion<char> &progress) {
    Conversion<char> c = progress;
    const BytePlanes &bytePlanes = tables::planesOf(set);
    const Registers planes = held(registersOf(bytePlanes.first, bytePlanes.last));
    const Utf8Composer composer = utf8Composer();
    const Graphic ascii = graphic();
    while (c.left != 0) {
        wholeMarkedBlocks(planes, composer, ascii, c);
        if (c.left != 0) {
            partOfMarkedBlock(planes, composer, ascii, c);
        }
        if (c.left != 0 && !putRare(set, c)) {
            break;
        }
    }
    progress = c;
}

// ASCII, and what comes from the first block with others on.
ZELK_STAGE Progress markedBlocksToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                       std::size_t room) {
    Conversion<char> c{text, plain::fittingBytes(length, room), out, room};
    const std::size_t fitting = c.left;
    const Graphic ascii = graphic();
    for (; c.left >= blockBytes; Conversion<char>::advance(c, blockBytes, blockBytes)) {
        const Block block = load(c.in);
        if (!all(graphicAscii(ascii, block))) {
            break;
        }
        store(c.out, block);
    }
    const Mask bytes = firstBytes(c.left);
    const Block block = load(c.in, bytes);
    if (c.left < blockBytes && same(graphicAscii(ascii, block), bytes)) {
        store(c.out, bytes, block);
        Conversion<char>::advance(c, c.left, c.left);
    } else {
        composeBlocks(set, c);
    }
    return {fitting - c.left, room - c.room};
}

// All of a name, if it is plain: its length in UTF-8, or 0.
ZELK_OPERATION std::size_t markedNameToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                            char *out) {
    const Mask bytes = firstBytes(length);
    const Block name = load(text, bytes);
    const Mask ascii = graphicAscii(graphic(), name);
    if (same(ascii, bytes)) {
        store(out, bytes, name);
        return length;
    }
    const Utf8Composer composer = utf8Composer();
    const MarkedUtf8 block = markedUtf8(composer, name);
    const Mask plain = either(ascii, block.leads);
    if (none(block.upper)) {
        if (!same(plain, bytes)) {
            return 0;
        }
        store(out, bytes, block.bytes);
        return length;
    }
    const BytePlanes &bytePlanes = tables::planesOf(set);
    const Registers planes = registersOf(bytePlanes.first, bytePlanes.last);
    const FirstAndLast both = withUpper(planes, composer, name, block);
    if (!same(either(plain, both.plain), bytes)) {
        return 0;
    }
    return storeInterleaved<false>(out, inOrder(both.first, planes.order), inOrder(both.last, planes.order), length,
                                   block.upper);
}

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    if (isNameThatFits(length, room)) {
        if (const std::size_t written = markedNameToUtf8(set, text, length, out); written != 0) {
            return {length, written};
        }
    }
    return markedBlocksToUtf8(set, text, length, out, room);
}

// ---- UCS-2: a composed character is one unit in the place of its mark, and its letter's place falls out.

struct UnitPlanes {
    Registers planes;
    Block lows, highs, sixBits, unassigned;
};

// The units of a block in planes of their bytes; `kept`: the places that hold one; `plain`: the bytes converted.
struct MarkedUnits {
    Block low;
    Block high;
    Mask marks;
    Mask kept;
    Mask plain;
};

ZELK_OPERATION MarkedUnits markedUnits(const UnitPlanes &planes, const Composer &c, Block text, Mask graphic) {
    const Mask highs = highBits(text);
    const Composed pairs = composed(c, text, highs);
    const Mask upper = butNot(highs, pairs.marks);
    const Block page = pagesOf(pairs.codes);
    const Block composedLow =
        _mm512_ternarylogic_epi32(pairs.codes, planes.sixBits, look64(planes.lows, page), 0xEA); // (a & b) | c
    const Block low = lookOrKeep(planes.planes.last, _mm512_mask_mov_epi8(text, pairs.leads, composedLow), upper);
    const Block high = lookOrKeep64(planes.highs, page, pairs.leads, lookOrZero(planes.planes.first, text, upper));
    const Mask known =
        _mm512_mask_cmpneq_epi8_mask(_mm512_mask_test_epi8_mask(upper, text, c.ordinaryBits), high, planes.unassigned);
    return {low, high, pairs.marks, ~_kshiftli_mask64(pairs.leads, 1), either(either(graphic, pairs.leads), known)};
}

// The units of the first `count` bytes. Returns their number. Those of the first half of a block are stored whole where
// the block is, but for its last byte: the two halves have 32 units at least, so that the second overwrites what is too
// much.
template <bool whole>
ZELK_OPERATION std::size_t storeMarkedUnits(Block order, unsigned short *out, const MarkedUnits &block,
                                            std::size_t count) {
    const Mask kept = block.kept & firstBytes(count);
    const Pairs units = interleaved(inOrder(block.low, order), inOrder(block.high, order));
    const auto frontKept = static_cast<__mmask32>(kept);
    const auto backKept = static_cast<__mmask32>(kept >> 32U);
    const std::size_t frontCount = countOf(frontKept);
    const std::size_t backCount = countOf(backKept);
    const Block front = _mm512_maskz_compress_epi16(frontKept, units.front);
    if (whole) {
        store(out, front);
    } else {
        store(out, firstBytes(2 * frontCount), front);
        if (backCount == 0) {
            return frontCount;
        }
    }
    const Block back = _mm512_maskz_compress_epi16(backKept, units.back);
    store(out + frontCount, firstBytes(2 * backCount), back);
    return frontCount + backCount;
}

ZELK_STAGE Progress markedBlocksToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                       unsigned short *out) {
    const BytePlanes &bytePlanes = tables::planesOf(set);
    const UnitPlanes planes{held(registersOf(bytePlanes.ucs2High, bytePlanes.ucs2Low)), load(markPlanes.lows),
                            load(markPlanes.highs), everyByte<0x3F>(), everyByte<0xFF>()};
    const Composer c = composer();
    const Graphic ascii = graphic();
    std::size_t read = 0;
    std::size_t written = 0;
    while (length - read >= blockBytes) {
        const Block block = load(text + read);
        const Mask graphic = graphicAscii(ascii, block);
        if (all(graphic)) {
            const Pairs units = widened(block);
            store(out + written, units.front);
            store(out + written + halfBlock, units.back);
            read += blockBytes;
            written += blockBytes;
            continue;
        }
        const MarkedUnits units = markedUnits(planes, c, block, graphic);
        if (!all(either(units.plain, both(units.marks, lastPlace)))) {
            break;
        }
        const std::size_t count = bytesInFront(text + read);
        written += storeMarkedUnits<true>(planes.planes.order, out + written, units, count);
        read += count;
    }
    if (read != length) {
        const Block block = load(text + read, firstBytes(std::min(length - read, blockBytes)));
        const MarkedUnits units = markedUnits(planes, c, block, graphicAscii(ascii, block));
        const std::size_t count = firstOf(~units.plain);
        if (count != 0) {
            written += storeMarkedUnits<false>(planes.planes.order, out + written, units, count);
            read += count;
        }
    }
    return {read, written};
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    length = std::min(length, room);
    if (length <= blockBytes) {
        const Block block = load(text, firstBytes(length));
        if (length != 0 && same(graphicAscii(graphic(), block), firstBytes(length))) {
            storeUnits(out, length, widened(block));
            return {length, length};
        }
    }
    return markedBlocksToUcs2(set, text, length, out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
