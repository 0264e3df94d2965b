// The rule of the library's UTF-8, one sequence at a time: kernels give what it gives. Everything here is inline so
// that loops keep it in registers; utf8_char.cpp exports the same four operations.
//
// One-, two- and three-byte forms only (U+0000 to U+FFFF, RFC 3629 without its last plane and without its ban on
// surrogates). Whatever else arrives is U+FFFD, one per rejected byte or sequence.
#pragma once

namespace zelk::detail {

inline constexpr unsigned short replacementCharacter = 0xFFFD;
inline constexpr int longestSequence = 3;              // bytes of a character
inline constexpr unsigned int unbounded = 0xFFFFFFFFU; // "up to the terminator" as a count of available bytes

constexpr bool isContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80U;
}

constexpr unsigned int utf8Length(const unsigned char *text, unsigned int available) {
    if (text == nullptr || available == 0) {
        return 0;
    }
    const unsigned int lead = text[0];
    if (lead < 0xC0 || lead > 0xEF || available == 1 || !isContinuation(text[1])) {
        return 1;
    }
    if (lead < 0xE0 || available == 2 || !isContinuation(text[2])) {
        return 2;
    }
    return 3;
}

// Stores nothing when `available` cuts the sequence off: the caller's unit stays as it was, and callers rely on it.
constexpr unsigned int utf8Decode(const unsigned char *text, unsigned int available, unsigned short *character) {
    const unsigned int length = utf8Length(text, available);
    if (length == 0) {
        return 0;
    }
    const unsigned int lead = text[0];
    unsigned int value = replacementCharacter;
    if (lead < 0x80) {
        value = lead;
    } else if (lead >= 0xC0 && lead <= 0xEF) {
        const unsigned int needed = lead < 0xE0 ? 2 : 3;
        if (length < needed && available == length) {
            return length;
        }
        if (length == 2 && needed == 2) {
            value = (lead & 0x1FU) << 6U | (text[1] & 0x3FU);
            value = value < 0x80 ? replacementCharacter : value;
        } else if (length == 3) {
            value = (lead & 0x0FU) << 12U | (text[1] & 0x3FU) << 6U | (text[2] & 0x3FU);
            value = value < 0x800 ? replacementCharacter : value;
        }
    }
    *character = static_cast<unsigned short>(value);
    return length;
}

constexpr unsigned int utf8EncodedLength(unsigned int character) {
    return character < 0x80 ? 1 : character < 0x800 ? 2 : 3;
}

// `room` counts the terminator that the caller will write: a sequence of n bytes needs a room of n + 1.
template <class Byte>
constexpr unsigned int utf8Encode(unsigned int character, Byte *out, int room) {
    const unsigned int length = utf8EncodedLength(character);
    if (room <= static_cast<int>(length)) {
        return 0;
    }
    if (length == 1) {
        out[0] = static_cast<Byte>(character);
    } else if (length == 2) {
        out[0] = static_cast<Byte>(0xC0U | character >> 6U);
        out[1] = static_cast<Byte>(0x80U | (character & 0x3FU));
    } else {
        out[0] = static_cast<Byte>(0xE0U | character >> 12U);
        out[1] = static_cast<Byte>(0x80U | (character >> 6U & 0x3FU));
        out[2] = static_cast<Byte>(0x80U | (character & 0x3FU));
    }
    return length;
}

} // namespace zelk::detail
