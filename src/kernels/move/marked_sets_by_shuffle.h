// DVB text of a table with marks: graphic ASCII by blocks, the last one overlapping, or in two halves of a block; the
// rest as plain/marked_sets.h has it. By vectors that was slower: the place of the next mark comes from them later than
// from a word.
#pragma once

#include "kernels/move/units_to_utf8.h"
#include "kernels/plain/marked_sets.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// Bits in the bytes that are not 0x20 to 0x7E. Those are above 0x20 once one is added, as signed numbers.
ZELK_OPERATION Flags notGraphicAscii(Bytes text) {
    return lessSigned(text + 1, repeatByte(0x21));
}

ZELK_OPERATION void putBlockOfAscii(char *out, Bytes text) {
    store(out, text);
}

ZELK_OPERATION void putBlockOfAscii(unsigned short *out, Bytes text) {
    store(out, frontUnits(text));
    store(out + blockUnits, backUnits(text));
}

// Two halves of a block, the second of which ends with the text.
ZELK_OPERATION void putHalvesOfAscii(char *out, std::size_t length, Bytes text) {
    storeHalves(out, length, text);
}

ZELK_OPERATION void putHalvesOfAscii(unsigned short *out, std::size_t length, Bytes text) {
    store(out, frontUnits(text));
    store(out + (length - blockUnits), backUnits(text));
}

// The graphic ASCII that a text begins with, by blocks.
struct AsciiByBlocks {
    template <class Unit>
    static std::size_t put(const unsigned char *in, std::size_t length, Unit *out) {
        if (length >= blockBytes) {
            std::size_t done = 0;
            while (done != length) {
                const std::size_t at = std::min(done, length - blockBytes);
                const Bytes text = load(in + at);
                if (anySignBit(notGraphicAscii(text))) {
                    break;
                }
                putBlockOfAscii(out + at, text);
                done = at + blockBytes;
            }
            return done;
        }
        if (length >= blockBytes / 2) {
            const Bytes text = loadHalves(in, in + (length - blockBytes / 2));
            if (!anySignBit(notGraphicAscii(text))) {
                putHalvesOfAscii(out, length, text);
                return length;
            }
        }
        return 0;
    }
};

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    return plain::convertMarked<plain::Utf8Form, AsciiByBlocks>(set, text, plain::fittingBytes(length, room), out);
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    return plain::convertMarked<plain::Ucs2Form, AsciiByBlocks>(set, text, std::min(length, room), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
