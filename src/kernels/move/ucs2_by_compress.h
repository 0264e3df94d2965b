// UCS-2 text to UTF-8, 32 units at a time, or 64 of ASCII. Included by utf8.cpp and its test alone.
#pragma once

#include "kernels/kernels.h"
#include "kernels/move/text_blocks.h"
#include "kernels/text_forms.h"

#include <algorithm>
#include <array>

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

// The units that end a text or that a filter would change: the images of the controls are U+E080 to U+E09F.
template <Clean clean>
ZELK_OPERATION UnitMask extraordinaryUnits(Block units) {
    if (clean == Clean::Any) {
        return _mm512_testn_epi16_mask(units, units);
    }
    const Block image = _mm512_and_si512(units, everyUnit<0xFFE0>());
    return _mm512_testn_epi16_mask(units, everyUnit<0xFF60>()) | _mm512_cmpeq_epi16_mask(image, everyUnit<0xE080>());
}

// ---- ASCII: 64 units to a block of bytes

// The two bytes of units, apart. The order that gathers the low ones, exclusive or 1, gathers the high ones.
struct AsciiUnits {
    Block lowBytes, highBytes, least;
};

template <UnitOrder order, Clean clean>
ZELK_OPERATION AsciiUnits asciiUnits() {
    alignas(blockBytes) static constexpr auto places = []() {
        std::array<unsigned char, blockBytes> table{};
        for (std::size_t i = 0; i < blockBytes; ++i) {
            table[i] = static_cast<unsigned char>(2 * i + (order == UnitOrder::HighFirst ? 1 : 0));
        }
        return table;
    }();
    const Block low = load(places.data());
    return {low, _mm512_xor_si512(low, everyByte<1>()), everyByte<(clean == Clean::Any ? 0x01 : 0x20)>()};
}

// The bytes of 64 units and which of the units are no ordinary ASCII.
struct AsciiBytes {
    Block bytes;
    Mask others;
};

ZELK_OPERATION AsciiBytes asciiBytes(Block front, Block back, const AsciiUnits &ascii) {
    const Block bytes = _mm512_permutex2var_epi8(front, ascii.lowBytes, back);
    const Block above = _mm512_permutex2var_epi8(front, ascii.highBytes, back);
    return {bytes, _kor_mask64(_mm512_cmplt_epi8_mask(bytes, ascii.least), nonZero(above))}; // signed
}

// ---- All units

ZELK_OPERATION UnitMask aboveAscii(Block units) {
    return _mm512_cmpge_epu16_mask(units, everyUnit<0x80>());
}

ZELK_OPERATION UnitMask ofThreeBytes(Block units) {
    return _mm512_cmpge_epu16_mask(units, everyUnit<0x800>());
}

// Units below 0x800 as byte pairs: lead and continuation, or the ASCII byte and a zero. By shifts: a multishift would
// be an operation less, but is done where the comparisons are, of which there are enough.
ZELK_OPERATION Block pairsOf(Block units, UnitMask above) {
    const Block last = _mm512_slli_epi16(units, 8);
    const Block bits = _mm512_ternarylogic_epi32(last, everyUnit<0x3F00>(), _mm512_srli_epi16(units, 6), 0xEA);
    return _mm512_mask_add_epi16(units, above, bits, everyUnit<0x80C0>()); // bits: (a & b) | c
}

// A block of them, so many and zeros, to a room of a block.
ZELK_OPERATION std::size_t storePairs(char *out, Block units, std::size_t count) {
    const UnitMask above = aboveAscii(units);
    const Block bytes = pairsOf(units, above);
    store(out, closedUp(nonZero(bytes), bytes));
    return count + countOf(asInteger(above));
}

// Sixteen units of any kind in lanes of four bytes, those that they do not need zero.
struct Triples {
    Block bits, mask, marks, pairMask, pairMarks;
};

ZELK_OPERATION Triples triples() {
    return {everyEight<0x3020262C3000060C>(), everyFour<0x3F3F0F>(), everyFour<0x8080E0>(), everyFour<0x3F1F00>(),
            everyFour<0x80C000>()};
}

ZELK_OPERATION Block triplesOf(__m256i units, __mmask16 ascii, __mmask16 narrow, const Triples &triples) {
    const Block lanes = _mm512_cvtepu16_epi32(units);
    const Block bits = _mm512_multishift_epi64_epi8(triples.bits, lanes);
    const Block three = _mm512_ternarylogic_epi32(bits, triples.mask, triples.marks, 0xEA);
    const Block two = _mm512_mask_ternarylogic_epi32(three, narrow, triples.pairMask, triples.pairMarks, 0xEA);
    return _mm512_mask_mov_epi32(two, ascii, lanes);
}

// A block of units, zeros left out. `freely`: there is room for 112 bytes.
template <bool freely>
ZELK_OPERATION std::size_t storeTriples(char *out, Block units, const Triples &triples) {
    const UnitMask ascii = _mm512_cmplt_epu16_mask(units, everyUnit<0x80>());
    const UnitMask narrow = _mm512_cmplt_epu16_mask(units, everyUnit<0x800>());
    const Block front = triplesOf(_mm512_castsi512_si256(units), static_cast<__mmask16>(ascii),
                                  static_cast<__mmask16>(narrow), triples);
    const std::size_t frontBytes = storeKept<freely>(out, nonZero(front), front);
    const Block back = triplesOf(_mm512_extracti64x4_epi64(units, 1), static_cast<__mmask16>(ascii >> 16U),
                                 static_cast<__mmask16>(narrow >> 16U), triples);
    return frontBytes + storeKept<freely>(out + frontBytes, nonZero(back), back);
}

// Up to 32 units of any kind; false at the end.
template <UnitOrder order, Clean clean>
ZELK_OPERATION bool encodePart(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                               Progress &done) {
    const unsigned char *from = text + 2 * done.read;
    std::size_t units = readableUnits(from, std::min(count - done.read, blockUnits));
    const Block read = inNativeOrder<order>(loadText(from, firstBytes(2 * units)));
    const Mask extraordinary = extraordinaryUnits<clean>(read) & firstBytes(units);
    if (extraordinary != 0) [[unlikely]] {
        units = firstOf(extraordinary);
    }
    const Block block = _mm512_maskz_mov_epi8(firstBytes(2 * units), read);
    const UnitMask above = aboveAscii(block);
    const UnitMask wide = ofThreeBytes(block);
    const std::size_t bytes = units + countOf(above) + countOf(wide);
    if (room - done.written <= bytes) {
        return false;
    }
    if (wide == 0) {
        const Block pairs = pairsOf(block, above);
        storeKept<false>(out + done.written, nonZero(pairs), pairs);
    } else {
        storeTriples<false>(out + done.written, block, triples());
    }
    done.read += units;
    done.written += bytes;
    return units == blockUnits && done.read < count;
}

// Blocks of ASCII, as long as they may be read and fit whole.
template <UnitOrder order, Clean clean>
ZELK_OPERATION void encodeAsciiBlocks(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                      Progress &done) {
    const AsciiUnits ascii = asciiUnits<order, clean>();
    while (mayRead(text + 2 * done.read, 2 * (count - done.read), 2 * blockBytes) && room - done.written > blockBytes) {
        const unsigned char *from = text + 2 * done.read;
        const AsciiBytes block = asciiBytes(loadText(from), loadText(from + blockBytes), ascii);
        if (block.others != 0) {
            break;
        }
        store(out + done.written, block.bytes);
        done.read += blockBytes;
        done.written += blockBytes;
    }
}

inline constexpr std::size_t roomOfOne = 2 * blockBytes; // what 32 units of any kind may take, stored whole
inline constexpr std::size_t roomOfTwo = 3 * (2 * blockUnits) + blockBytes; // and 64
inline constexpr std::size_t roomOfFour = 5 * blockBytes;                   // and 128 below 0x800

// What is zero in the units below 0x800 that end a conversion.
template <Clean clean>
ZELK_OPERATION Block ordinaryBits(Block units) {
    return clean == Clean::Any ? units : _mm512_and_si512(units, everyUnit<0xFF60>());
}

ZELK_OPERATION Block least(Block a, Block b) {
    return _mm512_min_epu16(a, b);
}

// Whether units, of whose bits and least ordinary ones this tells, are ordinary and below 0x800.
ZELK_OPERATION bool arePairs(Block bits, Block least) {
    return _kortestz_mask32_u8(_mm512_test_epi16_mask(bits, everyUnit<0xF800>()),
                               _mm512_testn_epi16_mask(least, least)) != 0;
}

// 64 units, or fewer and zeros.
struct TwoBlocks {
    Block front, back;
};

template <UnitOrder order>
ZELK_OPERATION TwoBlocks twoBlocks(const unsigned char *text) {
    return {inNativeOrder<order>(loadText(text)), inNativeOrder<order>(loadText(text + blockBytes))};
}

template <UnitOrder order>
ZELK_OPERATION TwoBlocks twoBlocks(const unsigned char *text, std::size_t frontUnits, std::size_t backUnits) {
    return {inNativeOrder<order>(loadText(text, firstBytes(2 * frontUnits))),
            inNativeOrder<order>(loadText(text + blockBytes, firstBytes(2 * backUnits)))};
}

// The bytes of so many units in two blocks, stored to a room that is ample for them; refused, and nothing counts, where
// something out of the ordinary is among the units.
template <Clean clean>
ZELK_OPERATION std::size_t storeTriples(char *out, const TwoBlocks &units, std::size_t frontUnits,
                                        std::size_t backUnits, const Triples &triples) {
    if ((extraordinaryUnits<clean>(units.front) & firstBytes(frontUnits)) != 0 ||
        (extraordinaryUnits<clean>(units.back) & firstBytes(backUnits)) != 0) {
        return 0;
    }
    const std::size_t frontBytes = storeTriples<true>(out, units.front, triples);
    return frontBytes + storeTriples<true>(out + frontBytes, units.back, triples);
}

ZELK_OPERATION std::size_t storePairs(char *out, const TwoBlocks &units, std::size_t frontUnits,
                                      std::size_t backUnits) {
    const std::size_t frontBytes = storePairs(out, units.front, frontUnits);
    return frontBytes + storePairs(out + frontBytes, units.back, backUnits);
}

// Blocks of any units, the same way, up to four that are all ASCII.
template <UnitOrder order, Clean clean>
ZELK_OPERATION void encodeBlocks(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                 Progress &done, const Triples &triples) {
    std::size_t before = 0; // the bytes of the last 64 units
    const auto fitting = [&] {
        return std::min(readableBlocks(text + 2 * done.read, 2 * (count - done.read)) / 2,
                        (room - done.written) / roomOfTwo);
    };
    for (std::size_t steps = 0; steps != 0 || (steps = fitting()) != 0; --steps) {
        const TwoBlocks units = twoBlocks<order>(text + 2 * done.read);
        const bool pairs = arePairs(_mm512_or_si512(units.front, units.back),
                                    least(ordinaryBits<clean>(units.front), ordinaryBits<clean>(units.back)));
        char *const to = out + done.written;
        const std::size_t bytes = pairs ? storePairs(to, units, blockUnits, blockUnits)
                                        : storeTriples<clean>(to, units, blockUnits, blockUnits, triples);
        if (bytes == 0) {
            return;
        }
        done.read += 2 * blockUnits;
        done.written += bytes;
        if (bytes == blockBytes && before == blockBytes) {
            return;
        }
        before = bytes;
    }
}

// And up to 64 units behind them, where they are the end.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeFreely(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                 Progress done) {
    const Triples t = triples();
    encodeBlocks<order, clean>(text, count, out, room, done, t);
    const std::size_t left = count - done.read;
    const unsigned char *from = text + 2 * done.read;
    if (left - 1 < 2 * blockUnits && 2 * left <= bytesInPage(from) && room - done.written >= roomOfTwo) {
        const std::size_t frontUnits = std::min(left, blockUnits);
        const TwoBlocks units = twoBlocks<order>(from, frontUnits, left - frontUnits);
        const std::size_t bytes = storeTriples<clean>(out + done.written, units, frontUnits, left - frontUnits, t);
        if (bytes != 0) {
            return {count, done.written + bytes};
        }
    }
    return done;
}

// Up to 64 units of ASCII; false if others are among them.
template <UnitOrder order, Clean clean>
ZELK_OPERATION bool encodeAsciiPart(const unsigned char *text, std::size_t units, char *out) {
    const Block front = loadText(text, firstBytes(2 * units));
    const Block back = loadText(text + blockBytes, units > blockUnits ? firstBytes(2 * units - blockBytes) : 0);
    const AsciiBytes ascii = asciiBytes(front, back, asciiUnits<order, clean>());
    if ((ascii.others & firstBytes(units)) != 0) {
        return false;
    }
    store(out, firstBytes(units), ascii.bytes);
    return true;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeLong(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                               Progress done) {
    const std::size_t line = done.read + bytesToLine(text + 2 * done.read, 2 * (count - done.read)) / 2;
    if (line != done.read) {
        encodePart<order, clean>(text, line, out, room, done);
    }
    if (done.read != line) {
        return done;
    }
    do {
        encodeAsciiBlocks<order, clean>(text, count, out, room, done);
        const unsigned char *rest = text + 2 * done.read;
        const std::size_t units = count - done.read;
        if (units - 1 < blockBytes - 1 && units < room - done.written && 2 * units <= bytesInPage(rest) &&
            encodeAsciiPart<order, clean>(rest, units, out + done.written)) {
            return {done.read + units, done.written + units};
        }
        if (isAmple(room, roomOfTwo)) {
            done = encodeFreely<order, clean>(text, count, out, room, done);
        }
    } while (done.read < count && encodePart<order, clean>(text, count, out, room, done));
    return done;
}

// Short texts of ASCII are done here, 64 units at once; what they need not costs them nothing.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeAny(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    const std::size_t fitting = std::min(count, room - 1);
    std::size_t units = std::min(fitting, blockBytes);
    if (2 * units > bytesInPage(text)) [[unlikely]] {
        units = readableUnits(text, std::min(units, blockUnits));
    }
    const Block front = loadText(text, firstBytes(2 * units));
    const Block back = loadText(text + blockBytes, units > blockUnits ? firstBytes(2 * units - blockBytes) : 0);
    const AsciiBytes ascii = asciiBytes(front, back, asciiUnits<order, clean>());
    const Mask others = ascii.others & firstBytes(units);
    if (others != 0) {
        const std::size_t plain = firstOf(others);
        const std::size_t ending = firstOf(extraordinaryUnits<clean>(inNativeOrder<order>(front)));
        if (plain >= blockUnits || plain != ending) {
            Progress done;
            const bool going = encodePart<order, clean>(text, count, out, room, done);
            return going ? encodeLong<order, clean>(text, count, out, room, done) : done;
        }
        units = plain;
    }
    store(out, firstBytes(units), ascii.bytes);
    const Progress done{units, units};
    return others == 0 && units < fitting ? encodeLong<order, clean>(text, count, out, room, done) : done;
}

// 64 to 128 units below 0x800 to a room for four blocks, all at once; true and the bytes if there are no others. The
// last 64 units are looked at, and where all is ASCII stored, together with those among them that the first 64 are,
// too.
template <UnitOrder order, Clean clean>
ZELK_OPERATION bool encodeFourBlocks(const unsigned char *text, std::size_t count, char *out, std::size_t &written) {
    const unsigned char *const last = text + 2 * (count - blockBytes);
    const TwoBlocks first64 = twoBlocks<order>(text);
    const TwoBlocks last64 = twoBlocks<order>(last);
    const Block bits = _mm512_or_si512(_mm512_ternarylogic_epi32(first64.front, first64.back, last64.front, 0xFE), // or
                                       last64.back);
    const Block leastOnes = least(least(ordinaryBits<clean>(first64.front), ordinaryBits<clean>(first64.back)),
                                  least(ordinaryBits<clean>(last64.front), ordinaryBits<clean>(last64.back)));
    if (!arePairs(bits, leastOnes)) {
        return false;
    }
    if (_mm512_test_epi16_mask(bits, everyUnit<0x780>()) == 0) {
        const AsciiUnits ascii = asciiUnits<UnitOrder::LowFirst, clean>();
        store(out, _mm512_permutex2var_epi8(first64.front, ascii.lowBytes, first64.back));
        store(out + count - blockBytes, _mm512_permutex2var_epi8(last64.front, ascii.lowBytes, last64.back));
        written = count;
        return true;
    }
    const std::size_t left = count - 2 * blockUnits;
    const std::size_t frontUnits = std::min(left, blockUnits);
    const TwoBlocks rest = twoBlocks<order>(text + 2 * blockBytes, frontUnits, left - frontUnits);
    const std::size_t firstBytes = storePairs(out, first64, blockUnits, blockUnits);
    written = firstBytes + storePairs(out + firstBytes, rest, frontUnits, left - frontUnits);
    return true;
}

ZELK_OPERATION bool isDescription(const unsigned char *text, std::size_t count, std::size_t room) {
    return count - blockBytes <= blockBytes && 2 * count <= bytesInPage(text) && isAmple(room, roomOfFour);
}

// Up to 32 units in a block that may be read and, with room for two blocks, stored whole. Tells the bytes, or `refused`
// where something out of the ordinary is among the units.
inline constexpr std::size_t refused = ~std::size_t{0};

template <UnitOrder order, Clean clean>
ZELK_OPERATION std::size_t encodeName(const unsigned char *text, std::size_t count, char *out) {
    const Block units = inNativeOrder<order>(loadText(text, firstBytes(2 * count)));
    if ((extraordinaryUnits<clean>(units) & firstBytes(count)) != 0) {
        return refused;
    }
    return ofThreeBytes(units) == 0 ? storePairs(out, units, count) : storeTriples<true>(out, units, triples());
}

ZELK_OPERATION bool isName(const unsigned char *text, std::size_t count, std::size_t room) {
    return count <= blockUnits && blockInPage(text) && isAmple(room, roomOfOne);
}

// What is neither, or not as it should be.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeOther(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    if (count <= blockUnits || 2 * count >= longText || !isAmple(room, roomOfTwo)) {
        return encodeAny<order, clean>(text, count, out, room);
    }
    const Progress done = encodeFreely<order, clean>(text, count, out, room, Progress());
    return done.read == count ? done : encodeLong<order, clean>(text, count, out, room, done);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeLonger(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    std::size_t written = 0;
    return isDescription(text, count, room) && encodeFourBlocks<order, clean>(text, count, out, written)
               ? Progress{count, written}
               : encodeOther<order, clean>(text, count, out, room);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    ++room; // the terminator's place
    const std::size_t written = isName(text, count, room) ? encodeName<order, clean>(text, count, out) : refused;
    return written != refused ? Progress{count, written} : encodeLonger<order, clean>(text, count, out, room);
}

// ---- Measuring, and exchanging the bytes of units

ZELK_OPERATION std::size_t bytesBeyondOne(Block units, UnitMask present) {
    return countOf(_mm512_mask_cmpge_epu16_mask(present, units, everyUnit<0x80>())) +
           countOf(_mm512_mask_cmpge_epu16_mask(present, units, everyUnit<0x800>()));
}

template <UnitOrder order>
ZELK_STAGE Progress measureUcs2(const unsigned char *text, std::size_t count) {
    Progress done;
    for (;;) {
        const unsigned char *from = text + 2 * done.read;
        const std::size_t read = readableUnits(from, std::min(count - done.read, blockUnits));
        const Block block = inNativeOrder<order>(loadText(from, firstBytes(2 * read)));
        const std::size_t units = std::min(read, firstOf(extraordinaryUnits<Clean::Any>(block)));
        done.read += units;
        done.written += units + bytesBeyondOne(block, static_cast<UnitMask>(firstBytes(units)));
        if (units < blockUnits) {
            return done;
        }
        while (mayRead(text + 2 * done.read, 2 * (count - done.read), blockBytes)) {
            const Block all32 = inNativeOrder<order>(loadText(text + 2 * done.read));
            if (extraordinaryUnits<Clean::Any>(all32) != 0) {
                break;
            }
            done.read += blockUnits;
            done.written += blockUnits + bytesBeyondOne(all32, static_cast<UnitMask>(~0U));
        }
    }
}

template <Clean clean>
ZELK_STAGE Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room) {
    const std::size_t fitting = std::min(count, room);
    std::size_t done = 0;
    for (;;) {
        const unsigned char *from = text + 2 * done;
        const std::size_t read = readableUnits(from, std::min(fitting - done, blockUnits));
        const Block block = inNativeOrder<UnitOrder::HighFirst>(loadText(from, firstBytes(2 * read)));
        const std::size_t units = std::min(read, firstOf(extraordinaryUnits<clean>(block)));
        store(out + done, firstBytes(2 * units), block);
        done += units;
        if (units < blockUnits) {
            return {done, done};
        }
        while (mayRead(text + 2 * done, 2 * (fitting - done), blockBytes)) {
            const Block all32 = inNativeOrder<UnitOrder::HighFirst>(loadText(text + 2 * done));
            if (extraordinaryUnits<clean>(all32) != 0) {
                break;
            }
            store(out + done, all32);
            done += blockUnits;
        }
    }
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
