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

// Eight bytes at once, whatever overlaps.
inline void putWord(char *out, const unsigned char *in) {
    std::memcpy(out, in, wordBytes);
}

// Four bytes, the lowest bits of a word, as four units. Compilers make slower code of a loop over bytes.
constexpr std::uint64_t unitsOf(std::uint64_t four) {
    const std::uint64_t pairs = (four | four << 16U) & 0x0000FFFF0000FFFFU;
    return (pairs | pairs << 8U) & 0x00FF00FF00FF00FFU;
}

inline void putWord(unsigned short *out, const unsigned char *in) {
    const std::uint64_t word = wordAt(in);
    const std::uint64_t low = unitsOf(word & 0xFFFFFFFFU);
    const std::uint64_t high = unitsOf(word >> 32U);
    const std::uint64_t inOrder[] = {std::endian::native == std::endian::little ? low : high,
                                     std::endian::native == std::endian::little ? high : low};
    std::memcpy(out, inOrder, sizeof inOrder);
}

// How a character is put into a buffer. The place in it is no member: the compiler would store it after each character.
struct Utf8Form {
    using Unit = char;
    static constexpr std::size_t most = mostBytes; // units of a character

    tables::PackedUtf8 packed;

    explicit Utf8Form(tables::ByteSet set) : packed(tables::packedUtf8Of(set)) {}

    char *put(char *at, unsigned char byte, unsigned int /*character*/) const { return putEntry(at, packed[byte]); }
    static char *putComposed(char *at, unsigned int character) {
        return at + detail::utf8Encode(character, at, entryBytes);
    }
};

struct Ucs2Form {
    using Unit = unsigned short;
    static constexpr std::size_t most = 1;

    explicit Ucs2Form(tables::ByteSet /*set*/) {}

    static unsigned short *put(unsigned short *at, unsigned char /*byte*/, unsigned int character) {
        return putComposed(at, character);
    }
    static unsigned short *putComposed(unsigned short *at, unsigned int character) {
        *at = static_cast<unsigned short>(character);
        return at + 1;
    }
};

// The bytes of the text that the next character takes; 0, and nothing is put, at a control, at what has no character
// and at a mark that does not compose.
template <class Form>
inline std::size_t putMarked(const tables::CodePoints &codePoints, const Form &form, typename Form::Unit *&at,
                             const unsigned char *in, std::size_t left) {
    const unsigned char byte = *in;
    if (tables::dvbMarks.sets[0].columnOf[byte] != 0) {
        const unsigned int composed = left > 1 ? composeIn(tables::dvbMarks, 0, in[1], byte) : 0U;
        if (composed == 0) {
            return 0;
        }
        at = form.putComposed(at, composed);
        return 2;
    }
    const unsigned int character = codePoints[byte];
    if ((byte & 0x60U) == 0 || character == tables::unassigned) {
        return 0;
    }
    at = form.put(at, byte, character);
    return 1;
}

// What a buffer gets of a text: `bufferedText` bytes or little more; `stopped` where the next one is not for a kernel.
template <class Unit>
struct MarkedPart {
    std::size_t read;
    Unit *end;
    bool stopped;
};

// From a place of the text on.
template <class Form>
inline MarkedPart<typename Form::Unit> putMarkedPart(const tables::CodePoints &codePoints, const Form &form,
                                                     typename Form::Unit *at, const unsigned char *in,
                                                     std::size_t length, std::size_t place = 0) {
    while (place < length && place < bufferedText) {
        if (length - place >= wordBytes) {
            const std::size_t ascii = graphicAsciiBytes(in + place);
            putWord(at, in + place);
            at += ascii;
            place += ascii;
            if (ascii == wordBytes) {
                continue;
            }
        }
        const std::size_t taken = putMarked(codePoints, form, at, in + place, length - place);
        if (taken == 0) {
            return {place, at, true};
        }
        place += taken;
    }
    return {place, at, false};
}

// The steps of a conversion: by words here, by blocks where a set has them.
struct StepsByWords {
    // The graphic ASCII that a text begins with.
    template <class Unit>
    static std::size_t putAscii(const unsigned char *in, std::size_t length, Unit *out) {
        std::size_t done = 0;
        for (; length - done >= wordBytes && graphicAsciiBytes(in + done) == wordBytes; done += wordBytes) {
            putWord(out + done, in + done);
        }
        return done;
    }

    // What a buffer gets. A step may take `surplus` bytes more than it should, and write as many units too far.
    static constexpr std::size_t surplus = wordBytes;
    template <class Form>
    static MarkedPart<typename Form::Unit> putPart(const tables::CodePoints &codePoints, const Form &form,
                                                   typename Form::Unit *at, const unsigned char *in,
                                                   std::size_t length) {
        return putMarkedPart(codePoints, form, at, in, length);
    }
};

template <class Form, class Steps>
inline Progress convertMarked(tables::ByteSet set, const unsigned char *in, std::size_t length,
                              typename Form::Unit *out) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    const Form form(set);
    typename Form::Unit buffer[Form::most * (bufferedText + Steps::surplus) + Steps::surplus];
    Progress done;
    for (bool stopped = false; !stopped;) {
        const std::size_t ascii = Steps::putAscii(in + done.read, length - done.read, out + done.written);
        done.read += ascii;
        done.written += ascii;
        if (done.read == length) {
            break;
        }
        const auto part = Steps::putPart(codePoints, form, buffer, in + done.read, length - done.read);
        const auto count = static_cast<std::size_t>(part.end - buffer);
        std::copy_n(buffer, count, out + done.written);
        done.read += part.read;
        done.written += count;
        stopped = part.stopped;
    }
    return done;
}

// Of a text, as many bytes as are sure to fit.
constexpr std::size_t fittingBytes(std::size_t length, std::size_t room) {
    return std::min(length, room / mostBytes);
}

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    return convertMarked<Utf8Form, StepsByWords>(set, text, fittingBytes(length, room), out);
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    return convertMarked<Ucs2Form, StepsByWords>(set, text, std::min(length, room), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
