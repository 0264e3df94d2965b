// Single-byte sets on every machine. To UTF-8: eight ASCII bytes at a time, else a table entry that holds a character's
// UTF-8 bytes and their number, so that a character costs one load, one store and no branch. To UCS-2: four units with
// one store.
//
// An entry is stored whole, four bytes for at most three that count. That is allowed where three more characters are
// sure to follow, since each gives a byte at least; the last characters of a text are stored byte by byte.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/operations.h"
#include "tables/byte_set_planes.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

inline constexpr std::size_t mostBytes = 3; // of a character's UTF-8
inline constexpr std::size_t entryBytes = sizeof(tables::PackedCharacter);
inline constexpr std::size_t charactersToCover = entryBytes - 1; // what an entry may overwrite, at a byte each

inline bool isAscii(const unsigned char *in) {
    return (wordAt(in) & highBits) == 0;
}

// Stores the whole entry. Its number of bytes is its last byte, which x86 loads sooner than it shifts it down.
inline char *putEntry(char *out, const tables::PackedCharacter &character) {
    const auto entry = std::bit_cast<std::uint32_t>(character);
    store(out, entry);
#if defined(__SSE2__)
    return out + character.count;
#else
    return out + (std::endian::native == std::endian::little ? entry >> 24U : entry & 0xFFU);
#endif
}

// Not by a loop, of which compilers make a call.
inline char *putCharacter(char *out, const tables::PackedCharacter &character) {
    out[0] = static_cast<char>(character.bytes[0]);
    if (character.count > 1) {
        out[1] = static_cast<char>(character.bytes[1]);
    }
    if (character.count > 2) {
        out[2] = static_cast<char>(character.bytes[2]);
    }
    return out + character.count;
}

// All of a text whose characters are none of value 0, to where there is room.
inline char *putEach(tables::PackedUtf8 packed, char *out, const unsigned char *in, std::size_t length) {
    for (; length > charactersToCover; --length) {
        out = putEntry(out, packed[*in++]);
    }
    for (; length != 0; --length) {
        out = putCharacter(out, packed[*in++]);
    }
    return out;
}

// The same, with words of ASCII: the last bytes, if they are ASCII, are stored once more with those before them.
inline char *putAll(tables::PackedUtf8 packed, char *out, const unsigned char *in, std::size_t length) {
    std::size_t left = length;
    for (; left >= wordBytes + charactersToCover; left -= wordBytes) {
        if (isAscii(in)) {
            std::memcpy(out, in, wordBytes);
            out += wordBytes;
        } else {
#pragma GCC unroll 8
            for (std::size_t i = 0; i < wordBytes; ++i) {
                out = putEntry(out, packed[in[i]]);
            }
        }
        in += wordBytes;
    }
    if (left > wordBytes && isAscii(in)) {
        std::memcpy(out, in, wordBytes);
        out += wordBytes;
        in += wordBytes;
        left -= wordBytes;
    }
    const std::size_t again = wordBytes - left; // bytes of ASCII that are stored already
    if (left <= wordBytes && again <= length - left && isAscii(in - again)) {
        std::memcpy(out - again, in - again, wordBytes);
        return out + left;
    }
    return putEach(packed, out, in, left);
}

// Converts a text in parts of as many bytes as are sure to fit. Where the room is for most of the text, the parts
// become ever smaller; less than three bytes of room are left over.
template <class Convert>
inline Progress inFittingParts(const unsigned char *text, std::size_t length, char *out, std::size_t room,
                               Convert convert) {
    Progress done;
    for (;;) {
        const std::size_t part = std::min(length - done.read, (room - done.written) / mostBytes);
        if (part == 0) {
            return done;
        }
        done.written = static_cast<std::size_t>(convert(out + done.written, text + done.read, part) - out);
        done.read += part;
    }
}

// The bytes before a zero. After a zero nothing is read.
inline std::size_t bytesBeforeZero(const unsigned char *text, std::size_t length) {
    const void *zero = std::memchr(text, 0, length);
    return zero != nullptr ? static_cast<std::size_t>(static_cast<const unsigned char *>(zero) - text) : length;
}

// The bytes before a control: of its bits 0x60, both are zero.
inline std::size_t bytesBeforeControl(const unsigned char *text, std::size_t length) {
    constexpr std::uint64_t graphicBits = 0x60 * everyByte;
    std::size_t place = 0;
    for (; length - place >= wordBytes; place += wordBytes) {
        if ((((wordAt(text + place) & graphicBits) + graphicBits) & highBits) != highBits) {
            break;
        }
    }
    while (place < length && (text[place] & 0x60U) != 0) {
        ++place;
    }
    return place;
}

inline Progress toUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                       std::size_t room) {
    return inFittingParts(text, length, out, room,
                          [packed = tables::packedUtf8Of(set)](char *to, const unsigned char *in, std::size_t count) {
                              return putAll(packed, to, in, count);
                          });
}

ZELK_STAGE Progress bytesToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    return toUtf8(set, text, bytesBeforeZero(text, length), out, room);
}

ZELK_STAGE Progress cleanToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                std::size_t room) {
    return toUtf8(set, text, bytesBeforeControl(text, length), out, room);
}

// Four units with one store.
inline void putFour(unsigned short *out, const tables::CodePoints &codePoints, const unsigned char *in) {
    std::uint64_t units = 0;
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        const int place = std::endian::native == std::endian::little ? i : 3 - i;
        units |= std::uint64_t{codePoints[in[i]]} << 16 * place;
    }
    std::memcpy(out, &units, sizeof units);
}

// All of a text, to where there is room.
inline Progress putUnits(tables::ByteSet set, unsigned short *out, const unsigned char *in, std::size_t length) {
    const unsigned char *const end = in + length;
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    for (std::size_t left = length; left >= wordBytes; left -= wordBytes, in += wordBytes, out += wordBytes) {
        putFour(out, codePoints, in);
        putFour(out + 4, codePoints, in + 4);
    }
    std::transform(in, end, out, [&codePoints](unsigned char byte) { return codePoints[byte]; });
    return {length, length};
}

ZELK_STAGE Progress bytesToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    return putUnits(set, out, text, bytesBeforeZero(text, std::min(length, room)));
}

ZELK_STAGE Progress cleanToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                                std::size_t room) {
    return putUnits(set, out, text, bytesBeforeControl(text, std::min(length, room)));
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
