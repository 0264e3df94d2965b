// UCS-2 text to UTF-8, 32 units at a time, or 64 of ASCII. Included by utf8.cpp alone.
#pragma once

#include "kernels/utf8.h"
#include "kernels/utf8_blocks_avx512.h"

ZELK_AVX512_BEGIN

namespace zelk::kernels::avx512 {

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
    const Block image = _mm512_and_si512(units, everyUnit(0xFFE0));
    return _mm512_testn_epi16_mask(units, everyUnit(0xFF60)) | _mm512_cmpeq_epi16_mask(image, everyUnit(0xE080));
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
    return {low, _mm512_xor_si512(low, everyByte(1)), everyByte(clean == Clean::Any ? 0x01 : 0x20)};
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

// Bytes at the front of a block.
struct ClosedUp {
    std::size_t count;
    Block bytes;
};

ZELK_OPERATION ClosedUp closedUp(Mask kept, Block bytes) {
    return {countOf(kept), _mm512_maskz_compress_epi8(kept, bytes)};
}

// A unit of two bytes as lead and continuation: six bits of it by place, and a mark.
struct Pairs {
    Block bits, mask, marks;
};

ZELK_OPERATION Pairs pairs() {
    return {held(_mm512_set1_epi64(0x3036202610160006)), everyUnit(0x3F1F), everyUnit(0x80C0)};
}

// Units below 0x800 as byte pairs: lead and continuation, or a zero and the ASCII byte.
ZELK_OPERATION Block pairsOf(Block units, UnitMask ascii, const Pairs &pairs) {
    const Block bits = _mm512_multishift_epi64_epi8(pairs.bits, units);
    const Block two = _mm512_ternarylogic_epi32(bits, pairs.mask, pairs.marks, 0xEA); // (a & b) | c
    return _mm512_mask_slli_epi16(two, ascii, units, 8);
}

// 21 units as triples of bytes, the later bytes of shorter ones at the end of theirs.
inline constexpr std::size_t tripleUnits = blockBytes / 3;

struct Triples {
    Block units, nextUnits, bits, mask, marks, twoByteLead;
};

ZELK_OPERATION Triples triples() {
    alignas(blockBytes) static constexpr auto places = []() {
        struct {
            unsigned short units[blockUnits], nextUnits[blockUnits];
            unsigned char bits[blockBytes], mask[blockBytes], marks[blockBytes];
        } table{};
        for (std::size_t i = 0; i < blockUnits; ++i) { // four for each eight bytes, from the first that they need
            table.units[i] = static_cast<unsigned short>(i / 4 * 8 / 3 + i % 4);
            table.nextUnits[i] = static_cast<unsigned short>(table.units[i] + tripleUnits);
        }
        for (std::size_t i = 0; i < blockBytes; ++i) {
            const std::size_t unit = i / 3 - i / 8 * 8 / 3; // of the four
            table.bits[i] = static_cast<unsigned char>((16 * unit + 12 - 6 * (i % 3)) % 64);
            table.mask[i] = i % 3 == 0 ? 0x0F : 0x3F;
            table.marks[i] = i % 3 == 0 ? 0xE0 : 0x80;
        }
        return table;
    }();
    return {load(places.units), load(places.nextUnits), load(places.bits),
            load(places.mask),  load(places.marks),     everyByte(0x40)};
}

// Which of up to 21 units need one, two and three bytes, one bit a unit.
struct Widths {
    std::uint64_t all, two, three;

    ZELK_OPERATION Widths after(const Widths &widths) {
        return {widths.all >> tripleUnits, widths.two >> tripleUnits, widths.three >> tripleUnits};
    }
};

ZELK_OPERATION ClosedUp closedUpTriples(Block units, Block order, const Widths &widths, const Triples &triples) {
    constexpr Mask lasts = 0x4924924924924924U;
    const Mask last = _pdep_u64(widths.all, lasts);
    const Mask middle = _pdep_u64(widths.two, lasts >> 1U);
    const Mask first = _pdep_u64(widths.three, lasts >> 2U);
    const Block bits = _mm512_multishift_epi64_epi8(triples.bits, _mm512_permutexvar_epi16(order, units));
    Block bytes = _mm512_ternarylogic_epi32(bits, triples.mask, triples.marks, 0xEA); // (a & b) | c
    bytes = _mm512_mask_mov_epi8(bytes, last & ~(middle << 1U), bits);                // ASCII
    bytes = _mm512_mask_add_epi8(bytes, middle & ~(first << 1U), bytes, triples.twoByteLead);
    return closedUp(last | middle | first, bytes);
}

// Up to 32 units of any kind; false at the end.
template <UnitOrder order, Clean clean>
ZELK_OPERATION bool encodePart(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                               Progress &done) {
    const unsigned char *from = text + 2 * done.read;
    std::size_t units = readableUnits(from, std::min(count - done.read, blockUnits));
    const Block block = inNativeOrder<order>(loadText(from, firstBytes(2 * units)));
    const Mask extraordinary = extraordinaryUnits<clean>(block) & firstBytes(units);
    if (extraordinary != 0) [[unlikely]] {
        units = firstOf(extraordinary);
    }
    const Mask all = firstBytes(units);
    const Widths widths{all, all & _mm512_cmpge_epu16_mask(block, everyUnit(0x80)),
                        all & _mm512_cmpge_epu16_mask(block, everyUnit(0x800))};
    const std::size_t bytes = units + countOf(widths.two) + countOf(widths.three);
    if (room - done.written <= bytes) {
        return false;
    }
    if (widths.three == 0) {
        const Block bytePairs = pairsOf(block, static_cast<UnitMask>(~widths.two), pairs());
        const Mask kept = nonZero(bytePairs) & firstBytes(2 * units);
        store(out + done.written, firstBytes(bytes), _mm512_maskz_compress_epi8(kept, bytePairs));
    } else {
        const Triples t = triples();
        const ClosedUp front = closedUpTriples(block, t.units, widths, t);
        store(out + done.written, firstBytes(front.count), front.bytes);
        if (units > tripleUnits) { // an empty store may be slow
            const ClosedUp back = closedUpTriples(block, t.nextUnits, Widths::after(widths), t);
            store(out + done.written + front.count, firstBytes(back.count), back.bytes);
        }
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

// Bytes that wait for those behind them: where these cover what a whole store leaves behind the bytes that wait, no
// mask is needed, which makes a store slow.
struct WaitingBytes {
    char *out;
    ClosedUp bytes;

    ZELK_OPERATION void store(const WaitingBytes &waiting, std::size_t next) {
        if (waiting.bytes.count + next >= blockBytes) {
            avx512::store(waiting.out, waiting.bytes.bytes);
        } else if (waiting.bytes.count != 0) {
            avx512::store(waiting.out, firstBytes(waiting.bytes.count), waiting.bytes.bytes);
        }
    }
};

// Blocks of any units, the same way, up to two that are all ASCII.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeBlocks(const unsigned char *text, std::size_t count, char *out, std::size_t room,
                                 Progress done) {
    const Block two = everyUnit(0x80);
    const Block three = everyUnit(0x800);
    const Pairs p = pairs();
    const Triples t = triples();
    WaitingBytes waiting{out + done.written, {0, _mm512_setzero_si512()}};
    UnitMask asciiBefore = 0;
    const auto fittingBlocks = [&] {
        return std::min(readableBlocks(text + 2 * done.read, 2 * (count - done.read)),
                        (room - done.written - 1) / (3 * blockUnits));
    };
    for (std::size_t blocks = 0; blocks != 0 || (blocks = fittingBlocks()) != 0; --blocks) {
        const Block block = inNativeOrder<order>(loadText(text + 2 * done.read));
        const UnitMask ascii = _mm512_cmplt_epu16_mask(block, two);
        const UnitMask wide = _mm512_cmpge_epu16_mask(block, three);
        if (extraordinaryUnits<clean>(block) != 0 || (ascii & asciiBefore) == static_cast<UnitMask>(~0U)) {
            break;
        }
        asciiBefore = ascii;
        done.read += blockUnits;
        ClosedUp last;
        if (wide == 0) {
            const Block bytes = pairsOf(block, ascii, p);
            last = closedUp(nonZero(bytes), bytes);
            WaitingBytes::store(waiting, last.count);
        } else {
            const Widths widths{~0U, static_cast<UnitMask>(~ascii), wide};
            const ClosedUp first = closedUpTriples(block, t.units, widths, t);
            last = closedUpTriples(block, t.nextUnits, Widths::after(widths), t);
            WaitingBytes::store(waiting, first.count + last.count);
            WaitingBytes::store({out + done.written, first}, last.count);
            done.written += first.count;
        }
        waiting = {out + done.written, last};
        done.written += last.count;
    }
    WaitingBytes::store(waiting, 0);
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
        if (mayRead(rest, 2 * units, blockBytes)) {
            done = encodeBlocks<order, clean>(text, count, out, room, done);
        }
    } while (done.read < count && encodePart<order, clean>(text, count, out, room, done));
    return done;
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeSeveral(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    Progress done;
    if (2 * count < longText) {
        done = encodeBlocks<order, clean>(text, count, out, room, done);
        if (done.read == count || !encodePart<order, clean>(text, count, out, room, done)) {
            return done;
        }
    }
    return encodeLong<order, clean>(text, count, out, room, done);
}

template <UnitOrder order, Clean clean>
ZELK_STAGE Progress encodeAny(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    if (count >= 2 * blockUnits) {
        return encodeSeveral<order, clean>(text, count, out, room);
    }
    Progress done;
    const bool going = encodePart<order, clean>(text, count, out, room, done);
    return going ? encodeLong<order, clean>(text, count, out, room, done) : done;
}

// Short texts of ASCII are done here, 64 units at once; what they need not costs them nothing.
template <UnitOrder order, Clean clean>
ZELK_STAGE Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
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
            return encodeAny<order, clean>(text, count, out, room);
        }
        units = plain;
    }
    store(out, firstBytes(units), ascii.bytes);
    const Progress done{units, units};
    return others == 0 && units < fitting ? encodeLong<order, clean>(text, count, out, room, done) : done;
}

// ---- Measuring, and exchanging the bytes of units

ZELK_OPERATION std::size_t bytesBeyondOne(Block units, UnitMask present) {
    return countOf(_mm512_mask_cmpge_epu16_mask(present, units, everyUnit(0x80))) +
           countOf(_mm512_mask_cmpge_epu16_mask(present, units, everyUnit(0x800)));
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
            const Block whole = inNativeOrder<order>(loadText(text + 2 * done.read));
            if (extraordinaryUnits<Clean::Any>(whole) != 0) {
                break;
            }
            done.read += blockUnits;
            done.written += blockUnits + bytesBeyondOne(whole, static_cast<UnitMask>(~0U));
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
            const Block whole = inNativeOrder<UnitOrder::HighFirst>(loadText(text + 2 * done));
            if (extraordinaryUnits<clean>(whole) != 0) {
                break;
            }
            store(out + done, whole);
            done += blockUnits;
        }
    }
}

} // namespace zelk::kernels::avx512

ZELK_AVX512_END
