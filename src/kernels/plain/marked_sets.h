// DVB text of a table, for every processor: up to eight ASCII bytes with one store, then the character that comes
// behind them. Included by byte_sets.cpp alone.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/plain/byte_sets.h"
#include "tables/dvb_marks.h"

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

// Of the next eight bytes, those in front of the first that is no graphic ASCII (0x20 to 0x7E).
inline std::ptrdiff_t graphicAsciiBytes(const unsigned char *in) {
    const std::uint64_t word = wordAt(in);
    const std::uint64_t low = word & lowBits; // no byte's sum carries into its neighbour
    const std::uint64_t others = (word | (low + everyByte) | ~(low + 0x60 * everyByte)) & highBits;
    return static_cast<std::ptrdiff_t>(firstByteOf(others));
}

// There is room for all: three bytes a character, and one that a whole entry may touch.
struct Utf8Out {
    tables::PackedUtf8 packed;
    char *at;

    void putEight(const unsigned char *in) const { std::memcpy(at, in, wordStep); }
    void put(unsigned char byte, unsigned int /*character*/) { at = putPacked(at, packed[byte]); }
    void putComposed(unsigned int character) { at += detail::utf8Encode(character, at, entryBytes); }
};

struct Ucs2Out {
    unsigned short *at;

    void putEight(const unsigned char *in) const { std::copy_n(in, wordStep, at); }
    void put(unsigned char /*byte*/, unsigned int character) { putComposed(character); }
    void putComposed(unsigned int character) { *at++ = static_cast<unsigned short>(character); }
};

// A character; false, and nothing moves, at a control, at what has no character and at a mark that does not compose.
template <class Out>
inline bool putMarked(const tables::CodePoints &codePoints, Out &out, const unsigned char *&in,
                      const unsigned char *inEnd) {
    const unsigned char byte = *in;
    if (tables::dvbMarks.sets[0].columnOf[byte] != 0) {
        const unsigned int composed = inEnd - in > 1 ? composeIn(tables::dvbMarks, 0, in[1], byte) : 0U;
        if (composed == 0) {
            return false;
        }
        out.putComposed(composed);
        in += 2;
        return true;
    }
    const unsigned int character = codePoints[byte];
    if ((byte & 0x60U) == 0 || character == tables::unassigned) {
        return false;
    }
    out.put(byte, character);
    ++in;
    return true;
}

template <class Out>
inline const unsigned char *convertMarked(tables::ByteSet set, Out &out, const unsigned char *in,
                                          const unsigned char *inEnd) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    while (in != inEnd) {
        if (inEnd - in >= wordStep) {
            const std::ptrdiff_t ascii = graphicAsciiBytes(in);
            out.putEight(in);
            out.at += ascii;
            in += ascii;
            if (ascii == wordStep) {
                continue;
            }
        }
        if (!putMarked(codePoints, out, in, inEnd)) {
            break;
        }
    }
    return in;
}

// Of a text, as many bytes as are sure to fit.
constexpr std::size_t fittingBytes(std::size_t length, std::size_t room) {
    return std::min(length, room / 3);
}

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    Utf8Out utf8{tables::packedUtf8Of(set), out};
    const unsigned char *const end = convertMarked(set, utf8, text, text + fittingBytes(length, room));
    return {static_cast<std::size_t>(end - text), static_cast<std::size_t>(utf8.at - out)};
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    Ucs2Out units{out};
    const unsigned char *const end = convertMarked(set, units, text, text + std::min(length, room));
    return {static_cast<std::size_t>(end - text), static_cast<std::size_t>(units.at - out)};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
