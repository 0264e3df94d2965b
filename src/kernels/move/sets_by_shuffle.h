// Single-byte sets by shuffles. A set's upper half lies in two tables of 128 bytes, the low and the high bytes of its
// characters, and a block of the text is looked up in both. For UCS-2 they are interleaved. For UTF-8 they become pairs
// of bytes, from which a shuffle takes out what ASCII does not need, as it does for UCS-2 text; characters of three
// bytes go the whole way of UCS-2 text.
//
// To UTF-8:
//
//   fewer than 8 bytes             character by character
//   8 to 15                        their first and their last 8
//   16 to 31, in blocks of 32      their first and their last 16
//   more                           ASCII with few others: blocks as they are, and each other character by a table
//                                  dense: blocks by shuffles
//                                  the last block over bytes that the block before has converted
//
// To UCS-2 the same, but dense blocks by the table of code points where shuffles are slower: with blocks of 16 bytes on
// x86, and in texts of fewer than 32.
#pragma once

#include "kernels/move/units_to_utf8.h"
#include "kernels/plain/byte_sets.h"
#include "kernels/scan/zero_byte.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// ---- To UCS-2

// The units of a block.
ZELK_OPERATION void storeUnits(unsigned short *out, const TwoBytes &bytes) {
    const Bytes front = interleavedLow(bytes.first, bytes.second);
    const Bytes back = interleavedHigh(bytes.first, bytes.second);
    store(out, laneOf<0>(front));
    store(out + laneUnits, laneOf<0>(back));
    if constexpr (blockLanes == 2) {
        store(out + 2 * laneUnits, laneOf<1>(front));
        store(out + 3 * laneUnits, laneOf<1>(back));
    }
}

// Less than a block, a lane or more: the first lane and the last one.
ZELK_STAGE void widenLanes(const unsigned char *in, std::size_t length, unsigned short *out) {
    for (const std::size_t at : {std::size_t{0}, length - laneBytes}) {
        const Lane text = load<Lane>(in + at);
        store(out + at, frontUnitsOf(text));
        store(out + at + laneUnits, backUnitsOf(text));
    }
}

// A block or more.
ZELK_STAGE void widen(const unsigned char *in, std::size_t length, unsigned short *out) {
    for (std::size_t at = 0; at + blockBytes < length; at += blockBytes) {
        const Bytes text = load(in + at);
        store(out + at, frontUnits(text));
        store(out + at + blockUnits, backUnits(text));
    }
    const Bytes text = load(in + (length - blockBytes));
    store(out + (length - blockBytes), frontUnits(text));
    store(out + (length - blockUnits), backUnits(text));
}

// ASCII in front of other characters, by blocks.
ZELK_OPERATION std::size_t widenAscii(const unsigned char *in, std::size_t length, unsigned short *out) {
    std::size_t at = 0;
    for (; length - at >= blockBytes; at += blockBytes) {
        const Bytes text = load(in + at);
        if (anySignBit(text)) {
            break;
        }
        store(out + at, frontUnits(text));
        store(out + at + blockUnits, backUnits(text));
    }
    return at;
}

// Up to so many characters of a block that are no ASCII cost less one by one.
inline constexpr std::size_t fewCharacters = 4;

ZELK_OPERATION bool hasMany(Bytes text) {
    return putsFewSingly ? countOf(signBits(text)) > fewCharacters : anySignBit(text);
}

// Whether a text whose ASCII in front has been converted goes on by the table of code points: where shuffles are
// slower, by its next block.
ZELK_OPERATION bool takesCodePoints(const unsigned char *in, std::size_t length) {
    return !hasFastTables && (!putsFewSingly || (length >= blockBytes && hasMany(load(in))));
}

// A block or more.
ZELK_STAGE void putUnitsByBlocks(tables::ByteSet set, const unsigned char *in, std::size_t length,
                                 unsigned short *out) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    std::size_t done = widenAscii(in, length, out);
    if (takesCodePoints(in + done, length - done)) {
        plain::putUnits(set, out + done, in + done, length - done);
        return;
    }
    while (done != length) {
        const std::size_t at = std::min(done, length - blockBytes);
        const Bytes text = load(in + at);
        done = at + blockBytes;
        if (hasMany(text)) {
            if constexpr (hasFastTables) {
                storeUnits(out + at, unitBytes(set, text));
            } else {
#pragma GCC unroll 4
                for (std::size_t four = at; four != done; four += 4) {
                    plain::putFour(out + four, codePoints, in + four);
                }
            }
            continue;
        }
        store(out + at, frontUnits(text));
        store(out + at + blockUnits, backUnits(text));
        for (std::uint64_t upper = putsFewSingly ? signBits(text) : 0; upper != 0; upper &= upper - 1) {
            const auto place = at + static_cast<std::size_t>(std::countr_zero(upper));
            out[place] = codePoints[in[place]];
        }
    }
}

// ---- To UTF-8

inline constexpr std::size_t wordBytesOfText = laneBytes / 2;

// The pairs of a block: of each lane the first eight and the last eight.
struct PairsOfBlock {
    Bytes first;
    Bytes last;
    std::uint64_t upper; // a bit for each byte of the text
};

// Characters up to U+07FF.
ZELK_OPERATION PairsOfBlock pairsOfBlock(Bytes text, const TwoBytes &bytes) {
    return {interleavedLow(bytes.first, bytes.second), interleavedHigh(bytes.first, bytes.second), signBits(text)};
}

// The 16 bytes of a lane. `last` says whether eight more characters follow.
template <std::size_t lane, Reach last>
ZELK_OPERATION std::size_t putLane(char *out, const PairsOfBlock &pairs) {
    const auto bits = static_cast<unsigned int>(pairs.upper >> lane * laneBytes);
    const std::size_t count = Pairs::putPairs<Reach::Whole>(out, laneOf<lane>(pairs.first), bits & 0xFFU);
    return count + Pairs::putPairs<last>(out + count, laneOf<lane>(pairs.last), bits >> 8U & 0xFFU);
}

template <Reach last>
ZELK_OPERATION std::size_t putBlock(char *out, const PairsOfBlock &pairs) {
    if constexpr (blockLanes == 2) {
        const std::size_t count = putLane<0, Reach::Whole>(out, pairs);
        return count + putLane<1, last>(out + count, pairs);
    } else {
        return putLane<0, last>(out, pairs);
    }
}

// What the first characters of a block take.
ZELK_OPERATION std::size_t bytesOfFirst(const PairsOfBlock &pairs, std::size_t count) {
    return count + countOf(pairs.upper & ((std::uint64_t{1} << count) - 1));
}

// Up to so many characters that one of three bytes takes with it.
inline constexpr std::size_t wideStretch = 64;

// 8 characters to a stretch, of three bytes too.
ZELK_STAGE std::size_t putWide(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out) {
    unsigned short units[wideStretch];
    // GCOVR_EXCL_START: without it GCC warns of what its unrolled loop would write
    if (length > wideStretch) {
        __builtin_unreachable();
    }
    // GCOVR_EXCL_STOP
    plain::putUnits(set, units, in, length);
    return ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>(reinterpret_cast<const unsigned char *>(units), length, out,
                                                       detail::longestSequence * length)
        .written;
}

// As many bytes of ASCII as come first, by four blocks.
ZELK_OPERATION std::size_t copyAscii(const unsigned char *in, std::size_t length, char *out) {
    std::size_t done = 0;
    for (; length - done >= 4 * blockBytes; done += 4 * blockBytes) {
        const unsigned char *const from = in + done;
        const Bytes a = load(from);
        const Bytes b = load(from + blockBytes);
        const Bytes c = load(from + 2 * blockBytes);
        const Bytes d = load(from + 3 * blockBytes);
        if (anySignBit(a | b | c | d)) {
            break;
        }
        store(out + done, a);
        store(out + done + blockBytes, b);
        store(out + done + 2 * blockBytes, c);
        store(out + done + 3 * blockBytes, d);
    }
    return done;
}

// Blocks of ASCII with few others, as long as a whole block follows: the block as it is, then each of the others and
// what follows it once more.
ZELK_STAGE Progress putMostlyAscii(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out) {
    const tables::PackedUtf8 packed = tables::packedUtf8Of(set);
    Progress done;
    while (length - done.read >= 2 * blockBytes) {
        const unsigned char *const from = in + done.read;
        const Bytes text = load(from);
        if (hasMany(text)) {
            break;
        }
        char *to = out + done.written; // of the block's first byte, and then of those after each of the others
        store(to, text);
        for (std::uint64_t upper = signBits(text); upper != 0; upper &= upper - 1) {
            const auto place = static_cast<std::size_t>(std::countr_zero(upper));
            to = plain::putEntry(to + place, packed[from[place]]) - (place + 1);
            store(to + (place + 1), load(from + (place + 1)));
        }
        done.read += blockBytes;
        done.written = static_cast<std::size_t>(to - out) + blockBytes;
    }
    return done;
}

// A block or more.
ZELK_STAGE std::size_t putBlocks(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out) {
    std::size_t done = copyAscii(in, length, out);
    std::size_t written = done;
    bool wasAscii = false;
    while (length - done >= blockBytes) {
        const Bytes text = load(in + done);
        if (!anySignBit(text)) {
            store(out + written, text);
            written += blockBytes;
            done += blockBytes;
            // GCOVR_EXCL_START: where shuffles are fast for few characters, too: on Arm
            if (wasAscii) {
                const std::size_t ascii = copyAscii(in + done, length - done, out + written);
                done += ascii;
                written += ascii;
            }
            if constexpr (!putsFewSingly) { // else putMostlyAscii() takes what follows
                wasAscii = sparesNoCode && !wasAscii;
            }
            // GCOVR_EXCL_STOP
            continue;
        }
        wasAscii = false;
        if (putsFewSingly && !hasMany(text) && length - done >= 2 * blockBytes) {
            const Progress some = putMostlyAscii(set, in + done, length - done, out + written);
            done += some.read;
            written += some.written;
            continue;
        }
        const TwoBytes bytes = utf8Bytes(set, text);
        if (anyBit(bytes.wide)) [[unlikely]] {
            const std::size_t count = std::min(length - done, wideStretch);
            written += putWide(set, in + done, count, out + written);
            done += count;
            continue;
        }
        const PairsOfBlock pairs = pairsOfBlock(text, bytes);
        if (length - done >= blockBytes + Pairs::surplus) {
            written += putBlock<Reach::Whole>(out + written, pairs);
        } else {
            written += putBlock<Reach::Exact>(out + written, pairs);
        }
        done += blockBytes;
    }
    if (done == length) {
        return written;
    }
    const std::size_t again = blockBytes - (length - done);
    const Bytes text = load(in + (length - blockBytes));
    if (!anySignBit(text)) {
        store(out + (written - again), text);
        return written - again + blockBytes;
    }
    const TwoBytes bytes = utf8Bytes(set, text);
    if (anyBit(bytes.wide)) [[unlikely]] {
        return written + putWide(set, in + done, length - done, out + written);
    }
    const PairsOfBlock pairs = pairsOfBlock(text, bytes);
    written -= bytesOfFirst(pairs, again);
    return written + putBlock<Reach::Exact>(out + written, pairs);
}

// 16 to 31 characters in a block of two lanes.
ZELK_STAGE std::size_t putTwoLanes(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out) {
    const std::size_t second = length - laneBytes;
    const Bytes text = loadHalves(in, in + second);
    if (!anySignBit(text)) {
        storeHalves(out, length, text);
        return length;
    }
    const TwoBytes bytes = utf8Bytes(set, text);
    if (anyBit(bytes.wide)) [[unlikely]] {
        return putWide(set, in, length, out);
    }
    const PairsOfBlock pairs = pairsOfBlock(text, bytes);
    putLane<0, Reach::Exact>(out, pairs);
    const std::size_t before = bytesOfFirst(pairs, second);
    return before + putLane<blockLanes - 1, Reach::Exact>(out + before, pairs);
}

// 8 to 15.
ZELK_STAGE std::size_t putTwoWords(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out) {
    const std::size_t second = length - wordBytesOfText;
    const auto first = load<std::uint64_t>(in);
    const auto last = load<std::uint64_t>(in + second);
    if (((first | last) & 0x8080808080808080U) == 0) {
        store(out, first);
        store(out + second, last);
        return length;
    }
    const Bytes text = repeatLane(std::bit_cast<Lane>(std::array{first, last}));
    const TwoBytes bytes = utf8Bytes(set, text);
    if (anyBit(bytes.wide)) [[unlikely]] {
        return putWide(set, in, length, out);
    }
    const PairsOfBlock pairs = pairsOfBlock(text, bytes);
    const auto bits = static_cast<unsigned int>(pairs.upper);
    Pairs::putPairs<Reach::Exact>(out, laneOf<0>(pairs.first), bits & 0xFFU);
    const std::size_t before = bytesOfFirst(pairs, second);
    return before + Pairs::putPairs<Reach::Exact>(out + before, laneOf<0>(pairs.last), bits >> 8U & 0xFFU);
}

// All of a text without zeros, to where there is room for three bytes a character.
ZELK_OPERATION std::size_t putText(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out) {
    if (length >= blockBytes) {
        return putBlocks(set, in, length, out);
    }
    if (blockLanes == 2 && length >= laneBytes) {
        return putTwoLanes(set, in, length, out);
    }
    if (length >= wordBytesOfText) {
        return putTwoWords(set, in, length, out);
    }
    return static_cast<std::size_t>(plain::putEach(tables::packedUtf8Of(set), out, in, length) - out);
}

ZELK_STAGE Progress putFittingParts(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                    std::size_t room) {
    return plain::inFittingParts(text, length, out, room, [set](char *to, const unsigned char *in, std::size_t count) {
        return to + putText(set, in, count, to);
    });
}

ZELK_OPERATION Progress putWhatFits(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                    std::size_t room) {
    return room / plain::mostBytes >= length ? Progress{length, putText(set, text, length, out)}
                                             : putFittingParts(set, text, length, out, room);
}

ZELK_STAGE Progress bytesToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    return putWhatFits(set, text, bytesBeforeZero(text, length), out, room);
}

// Of clean text, the bytes before the first control: in a control, both bits of 0x60 are zero.
ZELK_OPERATION std::size_t bytesBeforeControl(const unsigned char *text, std::size_t length) {
    if (length < blockBytes) {
        return plain::bytesBeforeControl(text, length);
    }
    std::size_t done = 0;
    while (done != length) {
        const std::size_t at = std::min(done, length - blockBytes);
        const Flags controls = equal(load(text + at) & 0x60, Bytes{});
        if (anySignBit(controls)) {
            return at + firstPlace(placesOf(controls));
        }
        done = at + blockBytes;
    }
    return length;
}

ZELK_STAGE Progress cleanToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    return putWhatFits(set, text, bytesBeforeControl(text, length), out, room);
}

// ---- Texts to UCS-2

ZELK_OPERATION Progress putUnits(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out) {
    if (length < blockBytes) {
        if (length >= laneBytes && set == tables::ByteSet::Iso8859_1) {
            widenLanes(text, length, out);
            return {length, length};
        }
        return plain::putUnits(set, out, text, length);
    }
    if (set == tables::ByteSet::Iso8859_1) {
        widen(text, length, out);
    } else {
        putUnitsByBlocks(set, text, length, out);
    }
    return {length, length};
}

ZELK_STAGE Progress bytesToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    const std::size_t known = bytesBeforeZero(text, std::min(length, room + blockBytes));
    return putUnits(set, text, std::min(known, room), out);
}

ZELK_STAGE Progress cleanToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    return putUnits(set, text, bytesBeforeControl(text, std::min(length, room)), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
