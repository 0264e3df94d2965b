// Single-byte sets, sixty-four characters at a time. The upper half of a set lies in planes of 128 bytes, each two
// registers, in which one permutation looks 64 characters up. The planes of a character's first and last UTF-8 byte
// interleaved, compressed over their zeros, are the text.
//
//     1 to 64 bytes that fit    one block, no loop
//     more                      whole blocks, then the part of a block before the end; the same again up to the end
//     ASCII                     whole blocks copied
//     characters of 3 bytes     the parts of a block, once the first such character was met
//
// Of a text that a zero may end, a line is read when the one before it is known to have no zero.
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

// ---- What may be read

// Of up to 64 bytes of a text, and zeros after them, those of the first line are read until they are known to have no
// zero. No branch asks for the line's end: every second name goes on in another line.
template <UpTo end>
ZELK_OPERATION Block loadUpTo(const unsigned char *in, std::size_t count, Mask inLine) {
    const Mask bytes = firstBytes(count);
    if (end == UpTo::Control) {
        return load(in, bytes);
    }
    const Mask first = bytes & inLine;
    const Block block = load(in, first);
    if (!none(_mm512_mask_testn_epi8_mask(first, block, block))) [[unlikely]] {
        return block;
    }
    return _mm512_mask_loadu_epi8(block, bytes & ~inLine, in);
}

// Whether a whole block may be read, of which `inLine` is in the first line.
ZELK_OPERATION bool goesOn(const unsigned char *in, Mask inLine) {
    if (inLine == ~0ULL) {
        return true;
    }
    const Block block = load(in, inLine);
    return none(_mm512_mask_testn_epi8_mask(inLine, block, block));
}

// A block of text: where a zero may end it, in lines that it is known to go on to.
template <UpTo end>
ZELK_OPERATION Block loadWhole(const unsigned char *in) {
    return end == UpTo::Zero ? loadInLine(in) : load(in);
}

template <UpTo end>
ZELK_OPERATION Mask firstInLine(const unsigned char *in) {
    return end == UpTo::Zero ? firstBytes(bytesInLine(in)) : ~0ULL;
}

// A text of so many bytes is first taken up to the end of its line. Then its blocks are lines.
inline constexpr std::size_t longText = 16 * blockBytes;

// ---- To UTF-8

// Two planes of a set and the order to spread by: what a loop holds in registers.
struct Registers {
    Table128 first;
    Table128 last;
    Block order;
};

ZELK_OPERATION Registers registersOf(const std::uint8_t (&first)[128], const std::uint8_t (&last)[128]) {
    return {Table128::from(first), Table128::from(last), spreadOrder()};
}

ZELK_OPERATION Registers held(Registers r) {
    return {{held(r.first.low), held(r.first.high)}, {held(r.last.low), held(r.last.high)}, held(r.order)};
}

// The UTF-8 of characters up to U+07FF: at `upper` the first bytes, and the last ones of all.
ZELK_OPERATION Block firstOfTwo(const Registers &planes, Block text, Mask upper) {
    return lookOrZero(planes.first, text, upper);
}

ZELK_OPERATION Block lastOfTwo(const Registers &planes, Block text, Mask upper) {
    return lookOrKeep(planes.last, text, upper);
}

// The same of ISO 8859-1, whose characters are their bytes: without planes.
struct Latin1 {
    Block order;
};

ZELK_OPERATION Block firstOfTwo(const Latin1 & /*planes*/, Block text, Mask upper) {
    const Block bits = _mm512_srli_epi16(text, 6);
    return _mm512_maskz_mov_epi8(
        upper, _mm512_ternarylogic_epi32(bits, everyByte<0x03>(), everyByte<0xC0>(), 0xEA)); // (a & b) | c
}

ZELK_OPERATION Block lastOfTwo(const Latin1 & /*planes*/, Block text, Mask upper) {
    return _mm512_mask_mov_epi8(text, upper, _mm512_and_si512(text, everyByte<0xBF>()));
}

ZELK_OPERATION Block withoutZeros(Block block) {
    return compressed(nonZero(block), block);
}

inline constexpr std::size_t halfBlock = blockBytes / 2;

// The UTF-8 of the first `count` bytes of a block: the first bytes of characters of two, which are at `upper`, and all
// last bytes, both spread. Returns its length. The first half of a whole block is stored whole: the second half, which
// has 32 bytes at least, overwrites what is too much.
template <bool whole>
ZELK_OPERATION std::size_t storeInterleaved(char *out, Block first, Block last, std::size_t count, Mask upper) {
    const Pairs pairs = interleaved(first, last);
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
    return out + storeKept(out, nonZero(lanes), lanes);
}

ZELK_OPERATION char *storeTriples(char *out, Block firsts, Block pairs) {
    out = storeTriples(out, _mm512_castsi512_si256(firsts), _mm512_castsi512_si256(pairs));
    return storeTriples(out, _mm512_extracti64x4_epi64(firsts, 1), _mm512_extracti64x4_epi64(pairs, 1));
}

ZELK_OPERATION char *storeTriples(const BytePlanes &planes, char *out, Block text) {
    const Mask upper = highBits(text);
    const Registers two = registersOf(planes.first, planes.last);
    const Block first = lookOrZero(Table128::from(planes.firstOfThree), text, upper);
    const Block second = lookOrZero(two.first, text, upper);
    const Block lastOfThree = lookOrZero(Table128::from(planes.lastOfThree), text, upper);
    const Block last = _mm512_or_si512(lookOrKeep(two.last, text, upper), lastOfThree);
    const Pairs firsts = interleaved(first, _mm512_setzero_si512());
    const Pairs others = interleaved(second, last); // NOLINT(readability-suspicious-call-argument): of three
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
ZELK_OPERATION bool isWholeBlock(const Conversion<char> &c) {
    return c.left >= blockBytes && c.room >= 2 * blockBytes;
}

template <UpTo end>
ZELK_OPERATION void asciiBlocks(Conversion<char> &c, Block text, Mask inLine) {
    do {
        store(c.out, text);
        Conversion<char>::advance(c, blockBytes, blockBytes);
        if (!isWholeBlock(c) || !goesOn(c.in, inLine)) {
            return;
        }
        text = loadWhole<end>(c.in);
    } while (all(ordinaryAscii<end>(text)));
}

// The second half of a block waits for the next one: where that is plain too, a whole store is overwritten.
struct Waiting {
    char *at;
    std::size_t count = 0;
    Block bytes;
};

ZELK_OPERATION void storeWhole(const Waiting &waiting) {
    if (waiting.count != 0) {
        store(waiting.at, waiting.bytes);
    }
}

// Up to a block with a zero or a control, or a character of three bytes.
template <UpTo end, class Planes>
ZELK_OPERATION void wholeBlocks(const Planes &registers, Conversion<char> &c, Mask inLine) {
    Waiting waiting{c.out, 0, _mm512_setzero_si512()};
    while (isWholeBlock(c) && goesOn(c.in, inLine)) {
        const Block text = loadWhole<end>(c.in);
        const Mask upper = highBits(text);
        if (upper == 0) {
            if (!all(ordinaryAscii<end>(text))) {
                break;
            }
            storeWhole(waiting);
            waiting.count = 0;
            asciiBlocks<end>(c, text, inLine);
            continue;
        }
        const Block bytes = inOrder(text, registers.order);
        const Mask selected = highBits(bytes);
        const Block last = lastOfTwo(registers, bytes, selected);
        const Mask ordinary = end == UpTo::Zero ? ~0ULL : ordinaryBytes<end>(bytes);
        if (!all(_mm512_mask_test_epi8_mask(ordinary, last, last))) {
            break;
        }
        storeWhole(waiting);
        const Pairs pairs = interleaved(firstOfTwo(registers, bytes, selected), last);
        const std::size_t written = blockBytes + countOf(upper);
        const std::size_t frontBytes = halfBlock + countOf(static_cast<std::uint32_t>(upper));
        store(c.out, withoutZeros(pairs.front));
        waiting = {c.out + frontBytes, written - frontBytes, withoutZeros(pairs.back)};
        Conversion<char>::advance(c, blockBytes, written);
    }
    if (waiting.count != 0) {
        store(waiting.at, firstBytes(waiting.count), waiting.bytes);
    }
}

enum class Part { Done, Ended, Wide, Full };

// The part of a block before a zero or a control. `wide`: characters of three bytes too; else Wide is returned.
template <UpTo end, bool wide, class Planes>
ZELK_OPERATION Part partOfBlock(const BytePlanes &planes, const Planes &registers, Conversion<char> &c, Mask inLine) {
    const std::size_t most = std::min(c.left, blockBytes);
    const Block text = loadUpTo<end>(c.in, most, inLine);
    const std::size_t count = firstOf(~ordinaryBytes<end>(text));
    const Mask bytes = firstBytes(count);
    const Mask upper = highBits(text) & bytes;
    std::size_t written = count + countOf(upper);
    if (written > c.room) {
        return Part::Full;
    }
    const Block kept = inOrder(_mm512_maskz_mov_epi8(bytes, text), registers.order);
    const Mask selected = highBits(kept);
    const Block last = lastOfTwo(registers, kept, selected);
    if (upper == 0) {
        store(c.out, bytes, text);
    } else if (same(nonZero(last), nonZero(kept))) {
        storeInterleaved<false>(c.out, firstOfTwo(registers, kept, selected), last, count, upper);
    } else if (!wide) {
        return Part::Wide;
    } else if (c.room < 3 * count) {
        return Part::Full;
    } else {
        written = static_cast<std::size_t>(storeTriples(planes, c.out, kept) - c.out);
    }
    Conversion<char>::advance(c, count, written);
    return count < most || c.left == 0 ? Part::Ended : Part::Done;
}

// False when a block with characters of three bytes comes next and `wide` does not ask for them.
template <UpTo end, bool wide, class Planes>
ZELK_OPERATION bool convert(const BytePlanes &planes, const Planes &registers, Conversion<char> &c) {
    for (;;) {
        const Mask inLine = firstInLine<end>(c.in);
        wholeBlocks<end>(registers, c, inLine);
        if (const Part part = partOfBlock<end, wide>(planes, registers, c, inLine); part != Part::Done) {
            return part != Part::Wide;
        }
    }
}

template <UpTo end>
ZELK_STAGE Progress convertBlocks(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                  std::size_t room) {
    Conversion<char> c{text, length, out, room};
    const BytePlanes &planes = tables::planesOf(set);
    if (end == UpTo::Zero && set == tables::ByteSet::Iso8859_1) { // DVB text is hardly ever in it
        convert<end, false>(planes, Latin1{spreadOrder()}, c);
    } else if (!convert<end, false>(planes, held(registersOf(planes.first, planes.last)), c)) {
        convert<end, true>(planes, held(registersOf(planes.first, planes.last)), c);
    }
    return {length - c.left, room - c.room};
}

ZELK_STAGE Progress blocksToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    if (length < longText) {
        return convertBlocks<UpTo::Zero>(set, text, length, out, room);
    }
    const std::size_t inLine = bytesInLine(text);
    Progress done = convertBlocks<UpTo::Zero>(set, text, inLine, out, room);
    if (done.read == inLine) {
        const Progress rest =
            convertBlocks<UpTo::Zero>(set, text + inLine, length - inLine, out + done.written, room - done.written);
        done = {done.read + rest.read, done.written + rest.written};
    }
    return done;
}

// All of a name, if it is plain: its length in UTF-8, or 0.
template <UpTo end>
ZELK_OPERATION std::size_t nameToUtf8(tables::ByteSet set, Block text, std::size_t length, char *out) {
    const Mask bytes = firstBytes(length);
    const Mask upper = highBits(text);
    if (none(upper)) {
        if (!same(ordinaryBytes<end>(text), bytes)) {
            return 0;
        }
        store(out, bytes, text);
        return length;
    }
    const BytePlanes &planes = tables::planesOf(set);
    const Registers registers = registersOf(planes.first, planes.last);
    const Block spreadText = inOrder(text, registers.order);
    const Mask selected = highBits(spreadText);
    const Block last = lookOrKeep(registers.last, spreadText, selected);
    const Mask plain =
        end == UpTo::Zero ? nonZero(last) : _mm512_mask_test_epi8_mask(ordinaryBytes<end>(spreadText), last, last);
    if (countOf(plain) != length) {
        return 0;
    }
    return storeInterleaved<false>(out, lookOrZero(registers.first, spreadText, selected), last, length, upper);
}

ZELK_OPERATION bool isNameThatFits(std::size_t length, std::size_t room) {
    return length <= blockBytes && room >= 2 * length;
}

ZELK_STAGE Progress bytesToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    if (isNameThatFits(length, room)) {
        const Block block = loadUpTo<UpTo::Zero>(text, length, firstInLine<UpTo::Zero>(text));
        if (const std::size_t written = nameToUtf8<UpTo::Zero>(set, block, length, out); written != 0) {
            return {length, written};
        }
    }
    return blocksToUtf8(set, text, length, out, room);
}

ZELK_STAGE Progress cleanToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    if (isNameThatFits(length, room)) {
        const Block block = load(text, firstBytes(length));
        if (const std::size_t written = nameToUtf8<UpTo::Control>(set, block, length, out); written != 0) {
            return {length, written};
        }
    }
    return convertBlocks<UpTo::Control>(set, text, length, out, room);
}

// ---- To UCS-2

ZELK_OPERATION Pairs unitsOf(const Registers &registers, Block text) {
    const Block bytes = inOrder(text, registers.order);
    const Mask upper = highBits(bytes);
    return interleaved(lookOrKeep(registers.last, bytes, upper), lookOrZero(registers.first, bytes, upper));
}

// The units of ASCII and of ISO 8859-1, which are the bytes.
ZELK_OPERATION Pairs widened(Block text) {
    return {frontUnits(text), backUnits(text)};
}

struct Widening {};

ZELK_OPERATION Pairs unitsOf(Widening /*planes*/, Block text) {
    return widened(text);
}

ZELK_OPERATION void storeUnits(unsigned short *out, std::size_t count, const Pairs &units) {
    const Mask characters = firstBytes(count);
    _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(characters), units.front);
    if (count > halfBlock) {
        _mm512_mask_storeu_epi16(out + halfBlock, static_cast<__mmask32>(characters >> halfBlock), units.back);
    }
}

template <UpTo end, class Planes>
ZELK_OPERATION std::size_t convertToUnits(const Planes &planes, const unsigned char *in, std::size_t length,
                                          unsigned short *out) {
    const Mask inLine = firstInLine<end>(in);
    std::size_t done = 0;
    for (; length - done >= blockBytes && goesOn(in + done, inLine); done += blockBytes) {
        const Block text = loadWhole<end>(in + done);
        if (!all(ordinaryBytes<end>(text))) {
            break;
        }
        const Pairs units = unitsOf(planes, text);
        store(out + done, units.front);
        store(out + done + halfBlock, units.back);
    }
    const Block text = loadUpTo<end>(in + done, std::min(length - done, blockBytes), inLine);
    const std::size_t count = firstOf(~ordinaryBytes<end>(text));
    storeUnits(out + done, count, unitsOf(planes, text));
    return done + count;
}

template <UpTo end>
ZELK_STAGE std::size_t convertToUnits(tables::ByteSet set, const unsigned char *in, std::size_t length,
                                      unsigned short *out) {
    if (set == tables::ByteSet::Iso8859_1) {
        return convertToUnits<end>(Widening{}, in, length, out);
    }
    const BytePlanes &planes = tables::planesOf(set);
    return convertToUnits<end>(held(registersOf(planes.ucs2High, planes.ucs2Low)), in, length, out);
}

ZELK_STAGE std::size_t blocksToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                    unsigned short *out) {
    if (length < longText) {
        return convertToUnits<UpTo::Zero>(set, text, length, out);
    }
    const std::size_t inLine = bytesInLine(text);
    const std::size_t done = convertToUnits<UpTo::Zero>(set, text, inLine, out);
    return done == inLine ? done + convertToUnits<UpTo::Zero>(set, text + inLine, length - inLine, out + done) : done;
}

template <UpTo end>
ZELK_OPERATION bool nameToUcs2(tables::ByteSet set, Block text, std::size_t length, unsigned short *out) {
    if (!same(ordinaryBytes<end>(text), firstBytes(length))) {
        return false;
    }
    if (set == tables::ByteSet::Iso8859_1) {
        storeUnits(out, length, widened(text));
        return true;
    }
    const BytePlanes &planes = tables::planesOf(set);
    storeUnits(out, length, unitsOf(registersOf(planes.ucs2High, planes.ucs2Low), text));
    return true;
}

ZELK_STAGE Progress bytesToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    length = std::min(length, room);
    if (length <= blockBytes &&
        nameToUcs2<UpTo::Zero>(set, loadUpTo<UpTo::Zero>(text, length, firstInLine<UpTo::Zero>(text)), length, out)) {
        return {length, length};
    }
    const std::size_t done = blocksToUcs2(set, text, length, out);
    return {done, done};
}

ZELK_STAGE Progress cleanToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    length = std::min(length, room);
    if (length <= blockBytes && nameToUcs2<UpTo::Control>(set, load(text, firstBytes(length)), length, out)) {
        return {length, length};
    }
    const std::size_t done = convertToUnits<UpTo::Control>(set, text, length, out);
    return {done, done};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
