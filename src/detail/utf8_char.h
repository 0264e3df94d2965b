// The rule of the library's UTF-8, one sequence at a time: kernels give what it gives. Everything here is inline so
// that loops keep it in registers; utf8_char.cpp exports the same four operations.
//
// The bytes are formed and read by the few operations that come first; what needs longer or packed forms uses them too.
//
// One-, two- and three-byte forms only (U+0000 to U+FFFF, RFC 3629 without its last plane and without its ban on
// surrogates). Whatever else arrives is U+FFFD, one per rejected byte or sequence.
#pragma once

namespace zelk::detail {

inline constexpr unsigned short replacementCharacter = 0xFFFD;
inline constexpr int longestSequence = 3;              // bytes of a character
inline constexpr unsigned int unbounded = 0xFFFFFFFFU; // "up to the terminator" as a count of available bytes

inline constexpr unsigned int leastOfTwoBytes = 0x80;
inline constexpr unsigned int leastOfThreeBytes = 0x800;
inline constexpr unsigned int continuationBits = 6;

constexpr bool isContinuation(unsigned int byte) {
    return byte >> continuationBits == 0x80U >> continuationBits;
}

// The bytes of the sequence that a byte begins; 0 for those that begin none, continuations and leads of four bytes.
constexpr unsigned int sequenceLength(unsigned int lead) {
    return lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 0;
}

// The first byte of a sequence of `length` bytes, two or more. What is above the character's form is for who asks.
constexpr unsigned int leadByte(unsigned int character, unsigned int length) {
    return (0xFF00U >> length & 0xFFU) | character >> continuationBits * (length - 1);
}

// A later byte, before the last `following` ones.
constexpr unsigned int continuationByte(unsigned int character, unsigned int following) {
    return 0x80U | (character >> continuationBits * following & 0x3FU);
}

// The character's bits in the first byte of `length` bytes, two or more; a later byte adds its own below them.
constexpr unsigned int leadBits(unsigned int lead, unsigned int length) {
    return lead & 0x7FU >> length;
}
constexpr unsigned int withContinuation(unsigned int bits, unsigned int byte) {
    return bits << continuationBits | (byte & 0x3FU);
}

constexpr unsigned int utf8Length(const unsigned char *text, unsigned int available) {
    if (text == nullptr || available == 0) {
        return 0;
    }
    const unsigned int needed = sequenceLength(text[0]);
    if (needed < 2 || available == 1 || !isContinuation(text[1])) {
        return 1;
    }
    return needed == 2 || available == 2 || !isContinuation(text[2]) ? 2 : 3;
}

constexpr unsigned int utf8EncodedLength(unsigned int character) {
    return character < leastOfTwoBytes ? 1 : character < leastOfThreeBytes ? 2 : 3;
}

// Stores nothing when `available` cuts the sequence off: the caller's unit stays as it was, and callers rely on it.
constexpr unsigned int utf8Decode(const unsigned char *text, unsigned int available, unsigned short *character) {
    const unsigned int length = utf8Length(text, available);
    if (length == 0) {
        return 0;
    }
    const unsigned int lead = text[0];
    const unsigned int needed = sequenceLength(lead);
    unsigned int value = replacementCharacter;
    if (needed == 1) {
        value = lead;
    } else if (length == needed) {
        value = withContinuation(leadBits(lead, length), text[1]);
        value = length == 3 ? withContinuation(value, text[2]) : value;
        value = utf8EncodedLength(value) < length ? replacementCharacter : value;
    } else if (length < needed && available == length) {
        return length;
    }
    *character = static_cast<unsigned short>(value);
    return length;
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
        out[0] = static_cast<Byte>(leadByte(character, 2));
        out[1] = static_cast<Byte>(continuationByte(character, 0));
    } else {
        out[0] = static_cast<Byte>(leadByte(character, 3));
        out[1] = static_cast<Byte>(continuationByte(character, 1));
        out[2] = static_cast<Byte>(continuationByte(character, 0));
    }
    return length;
}

} // namespace zelk::detail
