// DVB text of a table with marks, on every machine: up to eight ASCII bytes with one store, then the character that
// comes after them.
//
// What comes next may end the text, so that whole words cannot be stored where the text goes: ASCII alone goes there at
// once, by whole words; the rest is put into a buffer, some sixty bytes of the text at a time, and copied from there.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/plain/byte_sets.h"
#include "tables/dvb_marks.h"

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

inline constexpr std::size_t bufferedText = 64; // bytes: the last step may begin with the last of them

// Of the next eight bytes, those in front of the first that is no graphic ASCII (0x20 to 0x7E).
inline std::size_t graphicAsciiBytes(const unsigned char *in) {
    const std::uint64_t word = wordAt(in);
    const std::uint64_t low = word & lowBits; // no byte's sum carries into its neighbour
    const std::uint64_t others = (word | (low + everyByte) | ~(low + 0x60 * everyByte)) & highBits;
    return firstByteOf(others);
}

// A buffer has room for all characters, and for what is overwritten after the last one.
struct Utf8Buffer {
    tables::PackedUtf8 packed;
    std::size_t used = 0;
    char units[mostBytes * bufferedText + 2 * wordBytes];

    explicit Utf8Buffer(tables::ByteSet set) : packed(tables::packedUtf8Of(set)) {}

    void putWord(const unsigned char *in, std::size_t count) {
        std::memcpy(units + used, in, wordBytes);
        used += count;
    }
    void put(unsigned char byte, unsigned int /*character*/) {
        used = static_cast<std::size_t>(putEntry(units + used, packed[byte]) - units);
    }
    void putComposed(unsigned int character) { used += detail::utf8Encode(character, units + used, entryBytes); }
};

struct Ucs2Buffer {
    std::size_t used = 0;
    unsigned short units[bufferedText + 2 * wordBytes];

    explicit Ucs2Buffer(tables::ByteSet /*set*/) {}

    void putWord(const unsigned char *in, std::size_t count) {
        std::copy_n(in, wordBytes, units + used);
        used += count;
    }
    void put(unsigned char /*byte*/, unsigned int character) { putComposed(character); }
    void putComposed(unsigned int character) { units[used++] = static_cast<unsigned short>(character); }
};

// The bytes of the text that the next character takes; 0, and nothing is put, at a control, at what has no character
// and at a mark that does not compose.
template <class Buffer>
inline std::size_t putMarked(const tables::CodePoints &codePoints, Buffer &buffer, const unsigned char *in,
                             std::size_t left) {
    const unsigned char byte = *in;
    if (tables::dvbMarks.sets[0].columnOf[byte] != 0) {
        const unsigned int composed = left > 1 ? composeIn(tables::dvbMarks, 0, in[1], byte) : 0U;
        if (composed == 0) {
            return 0;
        }
        buffer.putComposed(composed);
        return 2;
    }
    const unsigned int character = codePoints[byte];
    if ((byte & 0x60U) == 0 || character == tables::unassigned) {
        return 0;
    }
    buffer.put(byte, character);
    return 1;
}

// The bytes of a text that are put, `bufferedText` or little more; `stopped` where the next one is not for a kernel.
template <class Buffer>
inline std::size_t putMarkedPart(const tables::CodePoints &codePoints, Buffer &buffer, const unsigned char *in,
                                 std::size_t length, bool &stopped) {
    std::size_t place = 0;
    while (place < length && place < bufferedText) {
        if (length - place >= wordBytes) {
            const std::size_t ascii = graphicAsciiBytes(in + place);
            buffer.putWord(in + place, ascii);
            place += ascii;
            if (ascii == wordBytes) {
                continue;
            }
        }
        const std::size_t taken = putMarked(codePoints, buffer, in + place, length - place);
        if (taken == 0) {
            stopped = true;
            break;
        }
        place += taken;
    }
    return place;
}

template <class Buffer, class Unit>
inline Progress convertMarked(tables::ByteSet set, const unsigned char *in, std::size_t length, Unit *out) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    Progress done;
    bool stopped = false;
    while (!stopped && done.read != length) {
        while (length - done.read >= wordBytes && graphicAsciiBytes(in + done.read) == wordBytes) {
            std::copy_n(in + done.read, wordBytes, out + done.written);
            done.read += wordBytes;
            done.written += wordBytes;
        }
        Buffer buffer(set);
        done.read += putMarkedPart(codePoints, buffer, in + done.read, length - done.read, stopped);
        std::copy_n(buffer.units, buffer.used, out + done.written);
        done.written += buffer.used;
    }
    return done;
}

// Of a text, as many bytes as are sure to fit.
constexpr std::size_t fittingBytes(std::size_t length, std::size_t room) {
    return std::min(length, room / mostBytes);
}

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    return convertMarked<Utf8Buffer>(set, text, fittingBytes(length, room), out);
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    return convertMarked<Ucs2Buffer>(set, text, std::min(length, room), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
