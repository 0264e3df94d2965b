// The kernels for every processor: eight ASCII bytes at a time, else a table entry that holds a character's UTF-8 bytes
// and their number, so that a character costs one load, one store and no branch. Included by byte_sets.cpp alone.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "tables/byte_set_planes.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

inline constexpr std::ptrdiff_t wordStep = wordBytes;

inline bool isAscii(const unsigned char *in) {
    return (wordAt(in) & highBits) == 0;
}

// An entry is stored whole, four bytes for at most three that count: a character may touch one byte more than it needs,
// and the terminator's byte is there for it.
inline constexpr std::ptrdiff_t entryBytes = 4;

inline char *putPacked(char *out, const tables::PackedCharacter &character) {
    std::memcpy(out, &character, entryBytes);
    return out + character.count;
}

// Of a room, what the text may use at most: three bytes a character, and one that a whole entry may touch.
constexpr std::size_t roomUsed(std::size_t length, std::size_t room) {
    return std::min(room, 3 * length) + 1;
}

// Moves both as far as the text surely fits.
inline void convert(const tables::PackedUtf8 &packed, char *&out, const char *outEnd, const unsigned char *&in,
                    const unsigned char *inEnd) {
    while (inEnd - in >= wordStep && outEnd - out > 3 * wordStep) {
        if (isAscii(in)) {
            std::memcpy(out, in, wordStep);
            out += wordStep;
        } else {
            for (std::ptrdiff_t i = 0; i < wordStep; ++i) {
                out = putPacked(out, packed[in[i]]);
            }
        }
        in += wordStep;
    }
    while (in != inEnd && outEnd - out >= entryBytes) {
        out = putPacked(out, packed[*in++]);
    }
}

// Where the text ends; behind a zero byte nothing is read.
inline const unsigned char *endOfText(const unsigned char *in, const unsigned char *inEnd) {
    const void *zero = std::memchr(in, 0, static_cast<std::size_t>(inEnd - in));
    return zero != nullptr ? static_cast<const unsigned char *>(zero) : inEnd;
}

ZELK_STAGE Progress bytesToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    const unsigned char *in = text;
    char *to = out;
    convert(tables::packedUtf8Of(set), to, out + roomUsed(length, room), in, endOfText(in, in + length));
    return {static_cast<std::size_t>(in - text), static_cast<std::size_t>(to - out)};
}

// Four units with one store.
inline void putFour(unsigned short *out, const tables::CodePoints &codePoints, const unsigned char *in) {
    std::uint64_t units = 0;
    for (int i = 0; i < 4; ++i) {
        const int place = std::endian::native == std::endian::little ? i : 3 - i;
        units |= std::uint64_t{codePoints[in[i]]} << 16 * place;
    }
    std::memcpy(out, &units, sizeof units);
}

// The bytes of ISO 8859-1 are U+0000 to U+00FF: a block of them or more, the last block again in part.
ZELK_STAGE unsigned short *widen(unsigned short *out, const unsigned char *in, const unsigned char *inEnd) {
    const auto widenBlock = [&](std::size_t place) {
        const auto bytes = vectorAt<Bytes>(in + place);
        store(out + place, frontUnits(bytes, Bytes{}));
        store(out + place + vectorUnits, backUnits(bytes, Bytes{}));
    };
    const auto length = static_cast<std::size_t>(inEnd - in);
    for (std::size_t place = 0; place < length - vectorBytes; place += vectorBytes) {
        widenBlock(place);
    }
    widenBlock(length - vectorBytes);
    return out + length;
}

inline unsigned short *convertToUnits(tables::ByteSet set, unsigned short *out, const unsigned char *in,
                                      const unsigned char *inEnd) {
    if (hasVectors && set == tables::ByteSet::Iso8859_1 && inEnd - in >= std::ptrdiff_t{vectorBytes}) {
        return widen(out, in, inEnd);
    }
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    for (; inEnd - in >= wordStep; in += wordStep, out += wordStep) {
        putFour(out, codePoints, in);
        putFour(out + 4, codePoints, in + 4);
    }
    return std::transform(in, inEnd, out, [&codePoints](unsigned char byte) { return codePoints[byte]; });
}

ZELK_STAGE Progress bytesToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    const unsigned char *const end = endOfText(text, text + std::min(length, room));
    const auto done = static_cast<std::size_t>(convertToUnits(set, out, text, end) - out);
    return {done, done};
}

// Where the first control is: of its bits 0x60, both are zero.
inline const unsigned char *firstControl(const unsigned char *in, const unsigned char *inEnd) {
    constexpr std::uint64_t graphicBits = 0x60 * everyByte;
    while (inEnd - in >= wordStep) {
        const std::uint64_t word = wordAt(in);
        if ((((word & graphicBits) + graphicBits) & highBits) != highBits) {
            break;
        }
        in += wordStep;
    }
    return std::find_if(in, inEnd, [](unsigned char byte) { return (byte & 0x60U) == 0; });
}

ZELK_STAGE Progress cleanToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    const unsigned char *in = text;
    char *to = out;
    convert(tables::packedUtf8Of(set), to, out + roomUsed(length, room), in, firstControl(in, in + length));
    return {static_cast<std::size_t>(in - text), static_cast<std::size_t>(to - out)};
}

ZELK_STAGE Progress cleanToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    const unsigned char *const end = firstControl(text, text + std::min(length, room));
    const auto done = static_cast<std::size_t>(convertToUnits(set, out, text, end) - out);
    return {done, done};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
