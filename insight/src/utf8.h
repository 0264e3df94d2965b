// UTF-8 of all of Unicode (RFC 3629), one character at a time. The receiver's library stops at U+FFFF and lets
// surrogates pass; text that leaves this library is UTF-8 for everybody.
#pragma once

#include <cstddef>

namespace zelk::insight {

inline constexpr unsigned int replacement = 0xFFFD;

constexpr bool isHighSurrogate(unsigned int unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool isLowSurrogate(unsigned int unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

constexpr bool isSurrogate(unsigned int unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

constexpr unsigned int joinSurrogates(unsigned int high, unsigned int low) {
    return 0x10000 + ((high & 0x3FFU) << 10U | (low & 0x3FFU));
}

constexpr unsigned int utf8Length(unsigned int codePoint) {
    return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

// `out` has room for utf8Length() bytes, which is the result.
constexpr unsigned int utf8Write(unsigned int codePoint, char *out) {
    const unsigned int length = utf8Length(codePoint);
    if (length == 1) {
        out[0] = static_cast<char>(codePoint);
        return 1;
    }
    constexpr unsigned int leads[] = {0xC0, 0xE0, 0xF0};
    for (unsigned int i = length - 1; i > 0; --i, codePoint >>= 6U) {
        out[i] = static_cast<char>(0x80U | (codePoint & 0x3FU));
    }
    out[0] = static_cast<char>(leads[length - 2] | codePoint);
    return length;
}

struct Utf8Character {
    unsigned int codePoint; // U+FFFD where `valid` is not set
    unsigned int length;    // bytes: of the character, or of what is rejected at once
    bool valid;
};

// Reads at a place with at least one byte. Of a malformed sequence the bytes that could begin a character are rejected
// together (Unicode, 3.9, "maximal subpart").
constexpr Utf8Character utf8Read(const unsigned char *at, std::size_t available) {
    const unsigned int lead = at[0];
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const unsigned int length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0) {
        return {replacement, 1, false};
    }
    unsigned int codePoint = lead & (0x7FU >> length);
    for (unsigned int i = 1; i < length; ++i) {
        unsigned int least = 0x80;
        unsigned int last = 0xBF;
        if (i == 1) {
            least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : least;
            last = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : last;
        }
        if (i >= available || at[i] < least || at[i] > last) {
            return {replacement, i, false};
        }
        codePoint = codePoint << 6U | (at[i] & 0x3FU);
    }
    return {codePoint, length, true};
}

} // namespace zelk::insight
