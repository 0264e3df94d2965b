// DVB text of a table with marks, by blocks:
//
//   graphic ASCII      blocks, the last one overlapping, or two halves of a block
//   Latin to UTF-8     on x86 the last bytes of a text, as plain/marked_sets.h has it
//   others             a block as it is, then each character of it that is no graphic ASCII and what follows it once
//                      more; into a buffer, as plain/marked_sets.h has it
//   two last blocks    by words, as there: what follows a character cannot be read as a block
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

struct StepsByBlocks {
    template <class Unit>
    static std::size_t putAscii(const unsigned char *in, std::size_t length, Unit *out) {
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

    static constexpr std::size_t mostLatin = plain::hasLatinSteps ? 64 : 0; // longer text goes by blocks
    static constexpr std::size_t surplus = blockBytes;

    template <class Form>
    static plain::MarkedPart<typename Form::Unit> putPart(const tables::CodePoints &codePoints, const Form &form,
                                                          typename Form::Unit *at, const unsigned char *in,
                                                          std::size_t length) {
        std::size_t place = 0;
        while (putsFewSingly && place < plain::bufferedText && length - place > 2 * blockBytes) {
            const Bytes text = load(in + place);
            std::uint64_t others = signBits(notGraphicAscii(text));
            putBlockOfAscii(at, text);
            std::size_t next = 0; // byte of the block, that which `at` is for
            while (others != 0) {
                const auto other = static_cast<std::size_t>(std::countr_zero(others));
                at += other - next;
                const std::size_t taken =
                    plain::putMarked(codePoints, form, at, in + place + other, length - place - other);
                if (taken == 0) {
                    return {place + other, at, true};
                }
                next = other + taken; // one more than a block where a mark is its last byte
                putBlockOfAscii(at, load(in + place + next));
                others = others >> next << next;
            }
            // Not by std::max(): the next block would have to wait for this one's last character.
            if (next <= blockBytes) [[likely]] {
                at += blockBytes - next;
                place += blockBytes;
            } else {
                place += next;
            }
        }
        return plain::putMarkedPart(codePoints, form, at, in, length, place);
    }
};

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    return plain::convertMarked<plain::Utf8Form, StepsByBlocks>(set, text, plain::fittingBytes(length, room), out);
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    return plain::convertMarked<plain::Ucs2Form, StepsByBlocks>(set, text, std::min(length, room), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
