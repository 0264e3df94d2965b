// Text of a single-byte set to UCS-2 and UTF-8, for the ISO 8859 and Windows families: these choose a set and forward.
//
// As everywhere a negative count means up to the terminator, a zero byte ends the text, counted or not, and sizes count
// the terminator of the output.
#pragma once

#include "detail/utf8_char.h"
#include "detail/wrap.h"
#include "tables/byte_sets.h"
#include "zelk.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

namespace zelk::detail {

unsigned int bytesToUcs2(tables::ByteSet set, unsigned short *out, int outSize, const char *in, int inLength);
unsigned int bytesToUtf8(tables::ByteSet set, char *out, int outSize, const char *in, int inLength);

// The bytes that bytesToUtf8() writes when there is room for all.
unsigned int utf8LengthOfBytes(tables::ByteSet set, const char *in, int inLength);

// The bounds of a conversion, zero bytes inside a counted text not looked for. At most the largest int.

inline int maxUcs2Length(const char *in, int inLength) {
    if (in == nullptr) {
        return 0;
    }
    return inLength >= 0 ? inLength : static_cast<int>(std::min<std::size_t>(std::strlen(in), INT_MAX));
}

inline int maxUtf8Length(const char *in, int inLength) {
    const int length = maxUcs2Length(in, inLength);
    return length <= INT_MAX / longestSequence ? longestSequence * length : INT_MAX;
}

// Packets of the flat interface: null for a null text. The size is the bound modulo 65536, so a long text is cut.
// `convert` gets (out, outSize, in, inLength) with a count that is not negative.

template <class Convert>
WideCharPacket *ucs2Packet(const char *in, int inLength, Convert convert) {
    if (in == nullptr) {
        return nullptr;
    }
    const int length = maxUcs2Length(in, inLength);
    return filledPacket(zelkNewWideCharPacket(static_cast<unsigned short>(length), nullptr),
                        [&](unsigned short *chars, int size) { return convert(chars, size, in, length); });
}

template <class Convert>
CharPacket *utf8Packet(const char *in, int inLength, Convert convert) {
    if (in == nullptr) {
        return nullptr;
    }
    const int length = maxUcs2Length(in, inLength);
    const unsigned int bound = static_cast<unsigned int>(length) * longestSequence;
    return filledPacket(zelkNewCharPacket(static_cast<unsigned short>(bound), nullptr),
                        [&](char *chars, int size) { return convert(chars, size, in, length); });
}

// Strings of the class interface: empty for a null text.

// A text as a class method gets it. A scratch buffer is sized by the bytes that are used, so that a count far beyond a
// terminated text costs nothing.
struct CountedText {
    const char *bytes;
    int length; // the count, or where that was negative the bytes before the terminator
    int used;   // the bytes before the first zero byte
};

inline CountedText countedText(const char *text, int length) {
    if (text == nullptr) {
        return {nullptr, 0, 0};
    }
    if (length < 0) {
        length = maxUcs2Length(text, length);
        return {text, length, length};
    }
    const void *zero = std::memchr(text, 0, static_cast<std::size_t>(length));
    return {text, length, zero != nullptr ? static_cast<int>(static_cast<const char *>(zero) - text) : length};
}

inline CountedText countedText(const std::string &text) {
    return countedText(text.data(), static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX)));
}

// The units in native byte order, and `extraBytes` of the terminator after them.
template <class Convert>
std::string ucs2String(const CountedText &text, std::size_t extraBytes, Convert convert) {
    if (text.bytes == nullptr) {
        return {};
    }
    const int size = std::min(text.used, INT_MAX - 1) + 1;
    return filledString<unsigned short>(static_cast<std::size_t>(size), extraBytes, [&](unsigned short *buffer) {
        return convert(buffer, size, text.bytes, text.length);
    });
}

// The scratch is told to hold three bytes for each byte of the text and none for the terminator. Kept on purpose: when
// every character takes three, the last one is dropped, and callers know the results so.
template <class Convert>
std::string utf8String(const CountedText &text, Convert convert) {
    if (text.bytes == nullptr) {
        return {};
    }
    const int bound = maxUtf8Length(text.bytes, text.used);
    // GCOVR_EXCL_BR_START: the largest bound takes a text of 700 MB
    const int size = text.used < text.length && bound < INT_MAX ? bound + 1 : bound;
    // GCOVR_EXCL_BR_STOP
    return filledString<char>(static_cast<std::size_t>(std::max(size, 1)), 0,
                              [&](char *buffer) { return convert(buffer, size, text.bytes, text.length); });
}

} // namespace zelk::detail
