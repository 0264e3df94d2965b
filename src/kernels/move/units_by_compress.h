// Units to UTF-8 with AVX-512: the bytes of 32 or 16 units are formed in one register and compressed over those that
// they do not need.
//
//   up to 32 units      one block
//   33 to 64            two blocks
//   65 to 127           four blocks at once
//   more, little room   up to the end of a line, then 64 units at a time as long as they fit; the rest by blocks
//
// Every last store of a stage is masked, so that nothing after the text is written.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/simd/avx512_lines.h"
#include "kernels/text_forms.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

using UnitMask = __mmask32;

ZELK_OPERATION Block inNativeOrder(Block units, UnitOrder order) {
    if (order == UnitOrder::LowFirst) {
        return units;
    }
    return _mm512_shuffle_epi8(
        units, _mm512_broadcast_i32x4(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14)));
}

// A block of units; where there are fewer, zeros after them.
ZELK_OPERATION Block unitsAt(const unsigned char *text, UnitForm form) {
    return inNativeOrder(cleanOf(form) == Clean::Any ? loadInLine(text) : load(text), orderOf(form));
}

ZELK_OPERATION Block unitsAt(const unsigned char *text, std::size_t count, UnitForm form) {
    const Mask bytes = firstBytes(2 * count);
    return inNativeOrder(cleanOf(form) == Clean::Any ? loadInLine(text, bytes) : load(text, bytes), orderOf(form));
}

// The same with spaces after them: units that stop nothing, and of one byte each.
ZELK_OPERATION Block unitsBeforeSpaces(const unsigned char *text, std::size_t count, UnitForm form) {
    const Mask bytes = firstBytes(2 * count);
    const Block spaces = orderOf(form) == UnitOrder::LowFirst ? everyUnit<0x0020>() : everyUnit<0x2000>();
    return inNativeOrder(cleanOf(form) == Clean::Any ? loadInLineOver(spaces, text, bytes)
                                                     : loadOver(spaces, text, bytes),
                         orderOf(form));
}

// The units that stop a conversion.
ZELK_OPERATION UnitMask stopsAmong(Block units, Clean clean) {
    if (clean == Clean::Any) {
        return _mm512_testn_epi16_mask(units, units);
    }
    const Block image = _mm512_and_si512(units, everyUnit<0xFFE0>());
    return _mm512_testn_epi16_mask(units, everyUnit<0xFF60>()) | _mm512_cmpeq_epi16_mask(image, everyUnit<0xE080>());
}

// ---- What may be read

// The lines of a text that a zero may end, as blocks of units. The first block has the units that begin in the text's
// line, but for one that goes on in the next; every other block is a line, or is so many bytes from the last one of the
// line before. Such a block may be read when the one before it has no zero.
ZELK_OPERATION std::size_t bytesOfFirstLine(const unsigned char *text) {
    return bytesInLine(text) & ~std::size_t{1};
}

// Whether the units of a text's first line, of `bytes` bytes at most, have no zero. Looked at as a line, because masked
// loads are more work for the two ports that everything here waits for.
ZELK_OPERATION bool firstLineGoesOn(const unsigned char *text, std::size_t bytes) {
    const Mask zeros = zerosInLine(text);
    constexpr Mask firstOfUnits = 0x5555555555555555;
    return (zeros & zeros >> 1U & firstOfUnits & firstBytes(bytes)) == 0;
}

// Whether so many lines of a text, 255 bytes at most, have no zero: then it may be read to its end, if that is in the
// line after them. It has at least two bytes in all of the lines but the last of four.
template <unsigned int lines>
ZELK_OPERATION bool goOn(const unsigned char *text, std::size_t bytes) {
    static_assert(lines <= 4);
    std::size_t before = bytesOfFirstLine(text);
    const Block first = loadInLineBeforeOnes(text, firstBytes(before) & firstBytes(bytes));
    if (_mm512_testn_epi16_mask(first, first) != 0) [[unlikely]] {
        return false;
    }
    for (unsigned int line = 1; line < lines; ++line, before += blockBytes) {
        const std::size_t left = line < 3 || before < bytes ? bytes - before : 0;
        const Block block = loadInLineBeforeOnes(text + before, firstBytes(left));
        if (_mm512_testn_epi16_mask(block, block) != 0) [[unlikely]] {
            return false;
        }
    }
    return true;
}

// ---- ASCII: 64 units to a block of bytes

ZELK_OPERATION Block leastAsciiOf(Clean clean) {
    return clean == Clean::Any ? everyByte<leastAscii(Clean::Any)>() : everyByte<leastAscii(Clean::NoControls)>();
}

// ---- Forms

ZELK_OPERATION UnitMask aboveAscii(Block units) {
    return _mm512_cmpge_epu16_mask(units, everyUnit<0x80>());
}

ZELK_OPERATION UnitMask ofThreeBytes(Block units) {
    return _mm512_cmpge_epu16_mask(units, everyUnit<0x800>());
}

// Units below 0x800 as byte pairs: lead and continuation, or the ASCII byte and a zero. By shifts: a multishift would
// be an operation less, but takes the port of the comparisons.
ZELK_OPERATION Block pairsOf(Block units, UnitMask above) {
    const Block last = _mm512_slli_epi16(units, 8);
    const Block bits = _mm512_ternarylogic_epi32(last, everyUnit<0x3F00>(), _mm512_srli_epi16(units, 6), 0xEA);
    return _mm512_mask_add_epi16(units, above, bits, everyUnit<0x80C0>()); // bits: (a & b) | c
}

enum class Reach { Whole, Exact };

// `count` units below 0x800, and zeros.
template <Reach reach>
ZELK_OPERATION std::size_t putPairs(char *out, Block units, std::size_t count) {
    const UnitMask above = aboveAscii(units);
    const Block pairs = pairsOf(units, above);
    const Block bytes = compressed(nonZero(pairs), pairs);
    const std::size_t written = count + countOf(asInteger(above));
    if (reach == Reach::Whole) {
        store(out, bytes);
    } else {
        store(out, firstBytes(written), bytes);
    }
    return written;
}

// Sixteen units of any kind in groups of four bytes, those that they do not need zero.
struct Triples {
    Block bits, mask, marks, pairMask, pairMarks;
};

ZELK_OPERATION Triples triples() {
    return {everyEight<0x3020262C3000060C>(), everyFour<0x3F3F0F>(), everyFour<0x8080E0>(), everyFour<0x3F1F00>(),
            everyFour<0x80C000>()};
}

ZELK_OPERATION Block triplesOf(__m256i units, __mmask16 ascii, __mmask16 narrow, const Triples &triples) {
    const Block groups = _mm512_cvtepu16_epi32(units);
    const Block bits = _mm512_multishift_epi64_epi8(triples.bits, groups);
    const Block three = _mm512_ternarylogic_epi32(bits, triples.mask, triples.marks, 0xEA);
    const Block two = _mm512_mask_ternarylogic_epi32(three, narrow, triples.pairMask, triples.pairMarks, 0xEA);
    return _mm512_mask_mov_epi32(two, ascii, groups);
}

// A block of units of any kind, and zeros, which are left out.
ZELK_OPERATION std::size_t putTriples(char *out, Block units, const Triples &triples) {
    const UnitMask ascii = _mm512_cmplt_epu16_mask(units, everyUnit<0x80>());
    const UnitMask narrow = _mm512_cmplt_epu16_mask(units, everyUnit<0x800>());
    const Block front = triplesOf(_mm512_castsi512_si256(units), static_cast<__mmask16>(ascii),
                                  static_cast<__mmask16>(narrow), triples);
    const Block back = triplesOf(_mm512_extracti64x4_epi64(units, 1), static_cast<__mmask16>(ascii >> 16U),
                                 static_cast<__mmask16>(narrow >> 16U), triples);
    const std::size_t frontBytes = storeKept(out, nonZero(front), front);
    return frontBytes + storeKept(out + frontBytes, nonZero(back), back);
}

// Up to 32 units that may be read, and fit.
ZELK_OPERATION Progress encodeBlock(const unsigned char *text, std::size_t count, char *out, UnitForm form) {
    const Block units = unitsBeforeSpaces(text, count, form);
    const UnitMask stops = stopsAmong(units, cleanOf(form));
    if (stops != 0) [[unlikely]] {
        count = firstOf(stops);
    } else if (ofThreeBytes(units) == 0) [[likely]] {
        return {count, putPairs<Reach::Exact>(out, units, count)};
    }
    return {count, putTriples(out, _mm512_maskz_mov_epi8(firstBytes(2 * count), units), triples())};
}

// The same with little room: all of a block or nothing.
ZELK_OPERATION Progress encodeFittingBlock(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                           UnitForm form) {
    const Block units = unitsAt(text, count, form);
    const UnitMask present = static_cast<UnitMask>(firstBytes(firstOf(stopsAmong(units, cleanOf(form))))) &
                             static_cast<UnitMask>(firstBytes(count));
    const std::size_t bytes =
        countOf(present) + countOf(aboveAscii(units) & present) + countOf(ofThreeBytes(units) & present);
    return bytes <= room ? encodeBlock(text, count, out, form) : Progress();
}

// ---- Texts

// 33 to 64 units that may be read, and fit.
ZELK_OPERATION Progress encodeTwoBlocks(const unsigned char *text, std::size_t count, char *out, UnitForm form) {
    const std::size_t inBack = count - blockUnits;
    const Block front = unitsAt(text, form);
    const Block back = unitsAt(text + blockBytes, inBack, form);
    if ((stopsAmong(front, cleanOf(form)) |
         (stopsAmong(back, cleanOf(form)) & static_cast<UnitMask>(firstBytes(inBack)))) != 0) [[unlikely]] {
        return {};
    }
    if (ofThreeBytes(_mm512_or_si512(front, back)) == 0) {
        const std::size_t frontBytes = putPairs<Reach::Exact>(out, front, blockUnits);
        return {count, frontBytes + putPairs<Reach::Exact>(out + frontBytes, back, inBack)};
    }
    const Triples t = triples();
    const std::size_t frontBytes = putTriples(out, front, t);
    return {count, frontBytes + putTriples(out + frontBytes, back, t)};
}

// Of units below 0x800, zero for those that stop.
ZELK_OPERATION Block graphicBits(Block units, Clean clean) {
    return clean == Clean::Any ? units : _mm512_and_si512(units, everyUnit<0xFF60>());
}

// Whether units, given all their bits and the least of their graphic ones, do not stop and are below 0x800.
ZELK_OPERATION bool arePairs(Block bits, Block least) {
    return _kortestz_mask32_u8(_mm512_test_epi16_mask(bits, everyUnit<0xF800>()),
                               _mm512_testn_epi16_mask(least, least)) != 0;
}

// 65 to 127 units that may be read, and fit, all at once; none where one stops. The last 64 are looked at, and where
// all is ASCII stored, together with those among them that the first 64 are, too.
ZELK_OPERATION Progress encodeFourBlocks(const unsigned char *text, std::size_t count, char *out, UnitForm form) {
    const std::size_t last = count - 2 * blockUnits;
    const Block a = unitsAt(text, form);
    const Block b = unitsAt(text + blockBytes, form);
    const Block c = unitsAt(text + 2 * last, form);
    const Block d = unitsAt(text + 2 * last + blockBytes, form);
    const Block bits = _mm512_or_si512(_mm512_ternarylogic_epi32(a, b, c, 0xFE), d); // a | b | c, d
    const Block least =
        _mm512_min_epu16(_mm512_min_epu16(graphicBits(a, cleanOf(form)), graphicBits(b, cleanOf(form))),
                         _mm512_min_epu16(graphicBits(c, cleanOf(form)), graphicBits(d, cleanOf(form))));
    const bool pairs = arePairs(bits, least);
    if (pairs && _mm512_test_epi16_mask(bits, everyUnit<0x780>()) == 0) {
        const Block order = gatherOrder();
        store(out, inOrder(packed(a, b), order));
        store(out + last, inOrder(packed(c, d), order));
        return {count, count};
    }
    const std::size_t third = std::min(last, blockUnits);
    const Block front = unitsAt(text + 2 * blockBytes, third, form);
    const Block back = unitsAt(text + 3 * blockBytes, last - third, form);
    if (!pairs) {
        if ((stopsAmong(a, cleanOf(form)) | stopsAmong(b, cleanOf(form)) | stopsAmong(c, cleanOf(form)) |
             stopsAmong(d, cleanOf(form))) != 0) {
            return {};
        }
        const Triples t = triples();
        std::size_t written = putTriples(out, a, t);
        written += putTriples(out + written, b, t);
        written += putTriples(out + written, front, t);
        return {count, last > third ? written + putTriples(out + written, back, t) : written};
    }
    std::size_t written = putPairs<Reach::Whole>(out, a, blockUnits); // b's bytes cover what reaches too far
    written += putPairs<Reach::Exact>(out + written, b, blockUnits);
    written += putPairs<Reach::Exact>(out + written, front, third);
    return {count, written + putPairs<Reach::Exact>(out + written, back, last - third)};
}

// A text on its way, of which blocks of 64 units are taken while they fit. Where a zero may end it, the halves of a
// block are lines, and a line is read when the one before it has no zero.
struct Blocks {
    UnitForm form;
    const unsigned char *text;
    std::size_t count;
    char *out;
    std::size_t room;
    Progress done;
    Block first, second; // as they lie in memory

    ZELK_OPERATION std::size_t most(const Blocks &blocks) {
        return std::min((blocks.count - blocks.done.read) / blockBytes,
                        (blocks.room - blocks.done.written) / (detail::longestSequence * blockBytes));
    }

    // The next one; false where it has a zero in its first half.
    ZELK_OPERATION bool load(Blocks &blocks) {
        const unsigned char *const from = blocks.text + 2 * blocks.done.read;
        const Clean clean = cleanOf(blocks.form);
        blocks.first = clean == Clean::Any ? loadInLine(from) : kernels::ZELK_KERNEL_SET::load(from);
        if (clean == Clean::Any && _mm512_testn_epi16_mask(blocks.first, blocks.first) != 0) [[unlikely]] {
            return false;
        }
        blocks.second =
            clean == Clean::Any ? loadInLine(from + blockBytes) : kernels::ZELK_KERNEL_SET::load(from + blockBytes);
        return true;
    }
};

ZELK_OPERATION void encodeAscii(Blocks &blocks) {
    const UnitOrder order = orderOf(blocks.form);
    const Block least = leastAsciiOf(cleanOf(blocks.form));
    const Block gather = gatherOrder();
    for (std::size_t steps = Blocks::most(blocks); steps != 0 && Blocks::load(blocks); --steps) {
        const Block bytes = packed(inNativeOrder(blocks.first, order), inNativeOrder(blocks.second, order));
        if (!none(_mm512_cmplt_epi8_mask(bytes, least))) { // signed
            break;
        }
        store(blocks.out + blocks.done.written, inOrder(bytes, gather));
        blocks.done.read += blockBytes;
        blocks.done.written += blockBytes;
    }
}

// Units of any kind, up to two blocks of ASCII.
ZELK_OPERATION void encodeMixed(Blocks &blocks, const Triples &triples) {
    const UnitOrder order = orderOf(blocks.form);
    const Clean clean = cleanOf(blocks.form);
    std::size_t before = 0; // the bytes of the last block
    std::size_t steps = 0;
    while ((steps != 0 || (steps = Blocks::most(blocks)) != 0) && Blocks::load(blocks)) {
        --steps;
        const Block front = inNativeOrder(blocks.first, order);
        const Block back = inNativeOrder(blocks.second, order);
        char *const to = blocks.out + blocks.done.written;
        std::size_t bytes = 0;
        if (arePairs(_mm512_or_si512(front, back),
                     _mm512_min_epu16(graphicBits(front, clean), graphicBits(back, clean)))) {
            bytes = putPairs<Reach::Whole>(to, front, blockUnits); // the back covers what reaches too far
            bytes += putPairs<Reach::Exact>(to + bytes, back, blockUnits);
        } else {
            if ((stopsAmong(front, clean) | stopsAmong(back, clean)) != 0) [[unlikely]] {
                break;
            }
            bytes = putTriples(to, front, triples);
            bytes += putTriples(to + bytes, back, triples);
        }
        blocks.done.read += blockBytes;
        blocks.done.written += bytes;
        if (bytes == blockBytes && before == blockBytes) {
            break;
        }
        before = bytes;
    }
}

ZELK_OPERATION Progress encodeBlocks(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                     Progress done, UnitForm form) {
    Blocks blocks{form, text, count, out, room, done, {}, {}};
    const Triples t = triples();
    std::size_t before = 0;
    do {
        before = blocks.done.read;
        encodeAscii(blocks);
        encodeMixed(blocks, t);
    } while (blocks.done.read != before);
    return blocks.done;
}

// More than 127 units, little room, or a stop.
ZELK_STAGE Progress encodeLong(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                               UnitForm form) {
    Progress done;
    for (;;) {
        const unsigned char *const from = text + 2 * done.read;
        const std::size_t line = cleanOf(form) == Clean::Any ? bytesOfFirstLine(from) / 2 : blockUnits;
        const std::size_t wanted = std::min(count - done.read, line != 0 ? line : blockUnits);
        const Progress step = encodeFittingBlock(from, wanted, out + done.written, room - done.written, form);
        done.read += step.read;
        done.written += step.written;
        if (step.read < wanted || done.read == count) {
            return done;
        }
        done = encodeBlocks(text, count, out, room, done, form);
    }
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeSeveral(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    constexpr UnitForm form = formOf(order, clean);
    if (count < 4 * blockUnits && room >= detail::longestSequence * count) {
        Progress done;
        if (count > 2 * blockUnits) {
            if (clean == Clean::NoControls || goOn<4>(text, 2 * count)) {
                done = encodeFourBlocks(text, count, out, form);
            }
        } else if (count > blockUnits && (clean == Clean::NoControls || goOn<2>(text, 2 * count))) {
            done = encodeTwoBlocks(text, count, out, form);
        }
        if (done.read != 0) {
            return done;
        }
    }
    return encodeLong(text, count, out, room, form);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    const bool isOneBlock = count - 1 < blockUnits; // none is no block: not even its line may be read
    return isOneBlock && room >= detail::longestSequence * count &&
                   (clean == Clean::NoControls || firstLineGoesOn(text, 2 * count))
               ? encodeBlock(text, count, out, formOf(order, clean))
               : encodeSeveral<order, clean>(text, count, out, room);
}

// ---- Measuring, and to native units

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    while (done.read < count) {
        const unsigned char *const from = text + 2 * done.read;
        const std::size_t wanted = std::min(count - done.read, std::max<std::size_t>(bytesInLine(from) / 2, 1));
        const Block block = unitsAt(from, wanted, formOf(order, Clean::Any));
        const Mask zeros = stopsAmong(block, Clean::Any);
        const std::size_t units = std::min(wanted, firstOf(zeros));
        const Mask present = firstBytes(units);
        done.read += units;
        done.written += units + countOf(aboveAscii(block) & present) + countOf(ofThreeBytes(block) & present);
        if (units < wanted) {
            break;
        }
    }
    return done;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room) {
    const std::size_t fitting = std::min(count, room);
    std::size_t done = 0;
    while (done < fitting) {
        const std::size_t wanted = std::min(fitting - done, blockUnits);
        const Block block = unitsAt(text + 2 * done, wanted, formOf(order, clean));
        const std::size_t units = std::min(wanted, firstOf(stopsAmong(block, clean)));
        if (units != 0) { // an empty store may be slow
            store(out + done, firstBytes(2 * units), block);
        }
        done += units;
        if (units < wanted) {
            break;
        }
    }
    return {done, done};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
