// The byte-at-a-time UTF-8 decoder, inline for the loops that feed it. It accepts what utf8_char.h accepts and reports
// the same U+FFFD, except that a four-byte lead ends a pending sequence without a report of its own.
#pragma once

#include "detail/utf8_char.h"
#include "zelk.h"

namespace zelk::detail {

inline constexpr unsigned int firstOfTwoUnits = static_cast<unsigned int>(replacementCharacter) << 16U;

// The least partial value, by continuation bytes still expected, that is no overlong form: the whole value of a
// two-byte form, and that of a three-byte form after its first continuation byte.
constexpr unsigned int leastValue(unsigned int remaining) {
    return remaining == 1   ? leastOfTwoBytes
           : remaining == 2 ? leastOfThreeBytes >> continuationBits
                            : 0; // more only in a record that is not ours
}

constexpr void utf8StreamReset(Utf8DecoderState &state) {
    state.remaining = 0;
    state.tooSmall = 0;
    state.value = 0;
}

// One byte in; out come up to two units, the later one in the low half, 0 meaning none.
constexpr unsigned int utf8StreamDecode(Utf8DecoderState &state, unsigned int byte) {
    const bool unfinished = state.remaining != 0;
    const unsigned int length = sequenceLength(byte);
    if (length == 1) {
        state.remaining = 0;
        return unfinished ? firstOfTwoUnits | byte : byte;
    }
    if (isContinuation(byte)) {
        if (!unfinished) {
            return replacementCharacter;
        }
        const unsigned int value = withContinuation(state.value, byte) & 0xFFFFU;
        if (value < leastValue(state.remaining)) {
            state.tooSmall = 1;
        }
        if (--state.remaining != 0) {
            state.value = static_cast<unsigned short>(value);
            return 0;
        }
        const bool overlong = state.tooSmall != 0;
        state.tooSmall = 0;
        state.value = 0;
        return overlong ? replacementCharacter : value;
    }
    state.tooSmall = 0;
    if (length == 0) {
        state.remaining = 0;
        return replacementCharacter;
    }
    state.value = static_cast<unsigned short>(leadBits(byte, length));
    state.remaining = length - 1;
    return unfinished ? replacementCharacter : 0;
}

} // namespace zelk::detail
