// Units to UTF-8 with AVX-512: the bytes of 32 or 16 units are formed in one register and compressed over those that
// they do not need.
//
//   up to 32 units      one block
//   33 to 64            two blocks that follow one another
//   65 to 128           four blocks at once: ASCII, or up to U+07FF
//   more                64 units at a time, ASCII first
//
// Every last store of a stage is masked, so that nothing after the text is written.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/simd/avx512.h"
#include "kernels/text_forms.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

using UnitMask = __mmask32;

template <UnitOrder order>
ZELK_OPERATION Block inNativeOrder(Block units) {
    if (order == UnitOrder::LowFirst) {
        return units;
    }
    return _mm512_shuffle_epi8(
        units, _mm512_broadcast_i32x4(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14)));
}

// A block of units from a place on; of the last one those that there are, and zeros.
template <UnitOrder order>
ZELK_OPERATION Block unitsAt(const unsigned char *text, std::size_t index) {
    return inNativeOrder<order>(load(text + 2 * index));
}

template <UnitOrder order>
ZELK_OPERATION Block unitsAt(const unsigned char *text, std::size_t index, std::size_t count) {
    return inNativeOrder<order>(load(text + 2 * index, firstBytes(2 * count)));
}

// The units that stop a conversion.
template <Clean clean>
ZELK_OPERATION UnitMask stopsAmong(Block units) {
    if (clean == Clean::Any) {
        return _mm512_testn_epi16_mask(units, units);
    }
    const Block image = _mm512_and_si512(units, everyUnit<0xFFE0>());
    return _mm512_testn_epi16_mask(units, everyUnit<0xFF60>()) | _mm512_cmpeq_epi16_mask(image, everyUnit<0xE080>());
}

// ---- What may be read

// The units before the first zero, of at most `count`: line by line.
ZELK_STAGE std::size_t unitsBeforeZero(const unsigned char *text, std::size_t count) {
    std::size_t checked = 0;
    while (checked < count) {
        const unsigned char *const from = text + 2 * checked;
        const std::size_t units = std::min(count - checked, std::max<std::size_t>(bytesInLine(from) / 2, 1));
        const Block block = load(from, firstBytes(2 * units));
        const std::size_t zero = firstOf(_mm512_testn_epi16_mask(block, block));
        checked += std::min(zero, units);
        if (zero < units) {
            break;
        }
    }
    return checked;
}

// Of at most `count` units, as many as may be read at once: all, where no zero ends the text in a line before the last
// of them.
ZELK_OPERATION std::size_t readableUnits(const unsigned char *text, std::size_t count) {
    const std::size_t first = bytesInLine(text) / 2;
    const Block line = load(text, firstBytes(2 * std::min(first, count)));
    const Mask zeros = _mm512_testn_epi16_mask(line, line) & firstBytes(std::min(first, count));
    return zeros == 0 && count <= first + blockUnits ? count : unitsBeforeZero(text, count);
}

// ---- ASCII: 64 units to a block of bytes

// The two bytes of units, apart. The order that gathers the low ones, exclusive or 1, gathers the high ones.
struct AsciiUnits {
    Block lowBytes, highBytes, least;
};

template <UnitOrder order, Clean clean>
ZELK_OPERATION AsciiUnits asciiUnits() {
    alignas(blockBytes) static constexpr auto places = [] {
        std::array<std::uint8_t, blockBytes> table{};
        for (std::size_t i = 0; i < blockBytes; ++i) {
            table[i] = static_cast<std::uint8_t>(2 * i + (order == UnitOrder::HighFirst ? 1 : 0));
        }
        return table;
    }();
    const Block low = load(places.data());
    return {low, _mm512_xor_si512(low, everyByte<1>()), everyByte<static_cast<std::uint8_t>(leastAscii(clean))>()};
}

// The bytes of 64 units as they lie in memory, and which of the units are no ASCII that goes on.
struct AsciiBytes {
    Block bytes;
    Mask others;
};

ZELK_OPERATION AsciiBytes asciiBytes(Block front, Block back, const AsciiUnits &ascii) {
    const Block bytes = _mm512_permutex2var_epi8(front, ascii.lowBytes, back);
    const Block above = _mm512_permutex2var_epi8(front, ascii.highBytes, back);
    return {bytes, _kor_mask64(_mm512_cmplt_epi8_mask(bytes, ascii.least), nonZero(above))}; // signed
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

// Up to 32 units that may be read. With little room they are converted only if all of them fit.
template <UnitOrder order, Clean clean>
ZELK_OPERATION Progress encodeBlock(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    Block units = unitsAt<order>(text, 0, count);
    const Mask stops = stopsAmong<clean>(units) & firstBytes(count);
    if (stops != 0) [[unlikely]] {
        count = firstOf(stops);
        units = _mm512_maskz_mov_epi8(firstBytes(2 * count), units);
    }
    if (room < detail::longestSequence * count) [[unlikely]] {
        if (count + countOf(aboveAscii(units)) + countOf(ofThreeBytes(units)) > room) {
            return {};
        }
    }
    return {count,
            ofThreeBytes(units) == 0 ? putPairs<Reach::Exact>(out, units, count) : putTriples(out, units, triples())};
}

// ---- Texts

// Two blocks, of which all units may be read and are sure to fit: the second one may be of few units.
template <UnitOrder order, Clean clean>
ZELK_OPERATION Progress encodeTwoBlocks(const unsigned char *text, std::size_t count, char *out) {
    std::size_t backUnits = count - blockUnits;
    const Block front = unitsAt<order>(text, 0);
    Block back = unitsAt<order>(text, blockUnits, backUnits);
    const Mask stops = stopsAmong<clean>(front) | (Mask{stopsAmong<clean>(back)} << blockUnits & firstBytes(count));
    if (stops != 0) [[unlikely]] {
        count = firstOf(stops);
        if (count <= blockUnits) {
            return encodeBlock<order, clean>(text, count, out, detail::longestSequence * count);
        }
        backUnits = count - blockUnits;
        back = _mm512_maskz_mov_epi8(firstBytes(2 * backUnits), back);
    }
    if (ofThreeBytes(_mm512_or_si512(front, back)) == 0) {
        const std::size_t frontBytes = putPairs<Reach::Exact>(out, front, blockUnits);
        return {count, frontBytes + putPairs<Reach::Exact>(out + frontBytes, back, backUnits)};
    }
    const Triples t = triples();
    const std::size_t frontBytes = putTriples(out, front, t);
    return {count, frontBytes + putTriples(out + frontBytes, back, t)};
}

// Of units below 0x800, zero for those that stop.
template <Clean clean>
ZELK_OPERATION Block graphicBits(Block units) {
    return clean == Clean::Any ? units : _mm512_and_si512(units, everyUnit<0xFF60>());
}

// 64 to 128 units below 0x800 that may be read and are sure to fit, all at once; none where others are among them. The
// last 64 are looked at, and where all is ASCII stored, together with those among them that the first 64 are, too.
template <UnitOrder order, Clean clean>
ZELK_OPERATION Progress encodeFourBlocks(const unsigned char *text, std::size_t count, char *out) {
    const std::size_t last = count - 2 * blockUnits;
    const Block a = unitsAt<order>(text, 0);
    const Block b = unitsAt<order>(text, blockUnits);
    const Block c = unitsAt<order>(text, last);
    const Block d = unitsAt<order>(text, last + blockUnits);
    const Block bits = _mm512_or_si512(_mm512_ternarylogic_epi32(a, b, c, 0xFE), d); // a | b | c, d
    const Block least = _mm512_min_epu16(_mm512_min_epu16(graphicBits<clean>(a), graphicBits<clean>(b)),
                                         _mm512_min_epu16(graphicBits<clean>(c), graphicBits<clean>(d)));
    if (_kortestz_mask32_u8(_mm512_test_epi16_mask(bits, everyUnit<0xF800>()), _mm512_testn_epi16_mask(least, least)) ==
        0) {
        return {};
    }
    if (_mm512_test_epi16_mask(bits, everyUnit<0x780>()) == 0) {
        const AsciiUnits ascii = asciiUnits<UnitOrder::LowFirst, clean>();
        store(out, _mm512_permutex2var_epi8(a, ascii.lowBytes, b));
        store(out + last, _mm512_permutex2var_epi8(c, ascii.lowBytes, d));
        return {count, count};
    }
    std::size_t written = putPairs<Reach::Whole>(out, a, blockUnits); // b's bytes cover what reaches too far
    written += last >= blockUnits ? putPairs<Reach::Whole>(out + written, b, blockUnits)
                                  : putPairs<Reach::Exact>(out + written, b, blockUnits);
    const std::size_t third = std::min(last, blockUnits);
    if (third != 0) {
        written += putPairs<Reach::Exact>(out + written, unitsAt<order>(text, 2 * blockUnits, third), third);
    }
    if (last > blockUnits) {
        const std::size_t fourth = last - blockUnits;
        written += putPairs<Reach::Exact>(out + written, unitsAt<order>(text, 3 * blockUnits, fourth), fourth);
    }
    return {count, written};
}

// Blocks of ASCII of which all units may be read and are sure to fit; of the last one a part may be taken again.
template <UnitOrder order, Clean clean>
ZELK_OPERATION std::size_t encodeAscii(const unsigned char *text, std::size_t count, char *out) {
    const AsciiUnits ascii = asciiUnits<order, clean>();
    std::size_t done = 0;
    while (done != count) {
        const unsigned char *const from = text + 2 * std::min(done, count - blockBytes);
        const AsciiBytes block = asciiBytes(load(from), load(from + blockBytes), ascii);
        if (block.others != 0) {
            break;
        }
        done = std::min(done, count - blockBytes);
        store(out + done, block.bytes);
        done += blockBytes;
    }
    return done;
}

// More than 128 units, or little room. So many are looked at for a zero at once, then converted.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeLong(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    constexpr std::size_t mostAtOnce = 1024;
    Progress done;
    std::size_t readable = 0; // the units up to here may be read
    while (done.read < count) {
        if (done.read == readable) {
            const std::size_t wanted = std::min(count - readable, mostAtOnce);
            readable += clean == Clean::Any ? readableUnits(text + 2 * readable, wanted) : wanted;
        }
        const unsigned char *const from = text + 2 * done.read;
        char *const to = out + done.written;
        const std::size_t left = readable - done.read;
        const std::size_t fitting = (room - done.written) / detail::longestSequence;
        Progress step;
        if (std::min(left, fitting) > blockUnits) {
            const std::size_t units = std::min(left, fitting);
            const std::size_t ascii = units >= blockBytes ? encodeAscii<order, clean>(from, units, to) : 0;
            step = ascii != 0 ? Progress{ascii, ascii}
                              : encodeTwoBlocks<order, clean>(from, std::min(units, 2 * blockUnits), to);
        } else {
            step = encodeBlock<order, clean>(from, std::min(left, blockUnits), to, room - done.written);
        }
        if (step.read == 0) {
            break;
        }
        done.read += step.read;
        done.written += step.written;
    }
    return done;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeUpTo128(const unsigned char *text, std::size_t count, char *out) {
    if (count >= 2 * blockUnits) {
        const Progress done = encodeFourBlocks<order, clean>(text, count, out);
        return done.read != 0 ? done : encodeLong<order, clean>(text, count, out, detail::longestSequence * count);
    }
    return encodeTwoBlocks<order, clean>(text, count, out);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    if (count > 4 * blockUnits || room < detail::longestSequence * count) {
        return encodeLong<order, clean>(text, count, out, room);
    }
    if (clean == Clean::Any) {
        count = readableUnits(text, count);
    }
    return count <= blockUnits ? encodeBlock<order, clean>(text, count, out, room)
                               : encodeUpTo128<order, clean>(text, count, out);
}

// ---- Measuring, and to native units

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    while (done.read < count) {
        const unsigned char *const from = text + 2 * done.read;
        const std::size_t wanted = std::min(count - done.read, std::max<std::size_t>(bytesInLine(from) / 2, 1));
        const Block block = unitsAt<order>(from, 0, wanted);
        const Mask zeros = stopsAmong<Clean::Any>(block);
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
        const Block block = unitsAt<order>(text, done, wanted);
        const std::size_t units = std::min(wanted, firstOf(stopsAmong<clean>(block)));
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
