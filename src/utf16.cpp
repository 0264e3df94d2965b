// UTF-16 to UTF-8 with surrogate pairs, exact lengths and status codes.
//
// Apart from the rest of the library on purpose: full Unicode (RFC 2781, RFC 3629) with errors, where everything else
// is UCS-2 and replaces what it cannot read. A result is measured to its end whatever fits, so that one call without a
// buffer gives the size that a second one needs.
#include "detail/utf8_char.h"
#include "zelk.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

namespace zelk {

namespace {

using Unit = unsigned short;

constexpr int unpaired = -1;

constexpr bool isSurrogate(Unit unit) {
    return (unit & 0xF800U) == 0xD800U;
}

constexpr bool isLowSurrogate(Unit unit) {
    return (unit & 0xFC00U) == 0xDC00U;
}

// Takes one code point off the front of the source; `unpaired` for a surrogate without its partner.
int takeCodePoint(const Unit *&at, const Unit *end) {
    const Unit unit = *at++;
    if (!isSurrogate(unit)) {
        return unit;
    }
    if (isLowSurrogate(unit) || at == end || !isLowSurrogate(*at)) {
        return unpaired;
    }
    return 0x10000 + (unit - 0xD800) * 0x400 + (*at++ - 0xDC00);
}

constexpr int leastOfFourBytes = 0x10000;

constexpr unsigned int encodedLength(int codePoint) {
    return codePoint >= leastOfFourBytes ? 4
                                         : detail::utf8EncodedLength(static_cast<unsigned int>(std::max(codePoint, 0)));
}

// Writes a code point of 0x80 and more.
template <class Byte>
Byte *encode(Byte *at, int codePoint) {
    const unsigned int length = std::max(encodedLength(codePoint), 2U);
    const auto character = static_cast<unsigned int>(codePoint);
    *at++ = static_cast<Byte>(detail::leadByte(character, length));
    for (unsigned int following = length - 1; following-- != 0;) {
        *at++ = static_cast<Byte>(detail::continuationByte(character, following));
    }
    return at;
}

constexpr std::ptrdiff_t block = 8;

// One test for a whole block: the loop is of fixed length, so that compilers make a vector of it.
bool startsWithAsciiBlock(const Unit *at, const Unit *end) {
    if (end - at < block || *at >= 0x80) {
        return false;
    }
    unsigned int bits = 0;
    for (std::ptrdiff_t i = 0; i < block; ++i) {
        bits |= at[i];
    }
    return bits < 0x80;
}

const Unit *endOf(const Unit *src, int length) {
    if (length >= 0) {
        return src + length;
    }
    while (*src != 0) {
        ++src;
    }
    return src;
}

void terminate(char *dest, int capacity, std::int64_t length, UErrorCode &status) {
    if (length < capacity) {
        dest[length] = 0;
        if (status == StringNotTerminatedWarning) {
            status = ZeroError;
        }
    } else {
        status = length == capacity ? StringNotTerminatedWarning : BufferOverflowError;
    }
}

} // namespace

char *CodeConversion::strToUTF8(char *dest, int destCapacity, int *destLength, const unsigned short *src, int srcLength,
                                UErrorCode *status) {
    if (status == nullptr || *status > ZeroError) {
        return nullptr;
    }
    if (src == nullptr || srcLength < -1 || destCapacity < 0 || (dest == nullptr && destCapacity > 0)) {
        *status = IllegalArgumentError;
        return nullptr;
    }
    const Unit *const end = endOf(src, srcLength);
    std::int64_t required = 0;
    char *write = dest;
    while (src != end) {
        const std::int64_t room = destCapacity - required;
        if (startsWithAsciiBlock(src, end) && (room >= block || room <= 0)) {
            if (room > 0) {
                write = std::transform(src, src + block, write, [](Unit unit) { return static_cast<char>(unit); });
            }
            src += block;
            required += block;
            continue;
        }
        const int codePoint = takeCodePoint(src, end);
        if (codePoint == unpaired) {
            *status = InvalidCharFound;
            return nullptr;
        }
        required += encodedLength(codePoint);
        if (required > destCapacity) {
            continue; // from here on the text is only measured
        }
        if (codePoint < 0x80) {
            *write++ = static_cast<char>(codePoint);
        } else {
            write = encode(write, codePoint);
        }
    }
    if (destLength != nullptr) {
        *destLength = static_cast<int>(std::min<std::int64_t>(required, INT_MAX));
    }
    terminate(dest, destCapacity, required, *status);
    return dest;
}

unsigned char *CodeConversion::appendUTF8(unsigned char *position, int codePoint) {
    return encode(position, codePoint);
}

void CodeConversion::terminateChars(char *dest, int destCapacity, int length, UErrorCode *status) {
    if (status != nullptr && *status <= ZeroError && length >= 0) {
        terminate(dest, destCapacity, length, *status);
    }
}

int CodeConversion::convertUTF16ToUTF8Str(const unsigned short *src, char *dest, int destCapacity) {
    constexpr int badArgument = -5;
    constexpr int badCharacter = -6;
    constexpr int doesNotFit = -2;
    constexpr int other = -8;
    if (src == nullptr || dest == nullptr) {
        return badArgument;
    }
    UErrorCode status = ZeroError;
    strToUTF8(dest, destCapacity, nullptr, src, -1, &status);
    switch (status) {
    case IllegalArgumentError:
        return badArgument;
    case InvalidCharFound:
        return badCharacter;
    case BufferOverflowError:
        return doesNotFit;
    default:
        // A result that fills `dest` without a terminator is a success.
        return status > ZeroError ? other : 0; // GCOVR_EXCL_BR_LINE: there is no other failure today
    }
}

} // namespace zelk
