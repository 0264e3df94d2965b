// Wildcard patterns where the target keeps vectors in registers: a block of the text and a part of the pattern at a
// time. Included by wildcard.cpp alone.
//
// A part between two stars is looked for by its first and its last byte at once, at all places of a block of text;
// where both are found it is compared whole. No place is looked at twice for a part, nor for the next part a place in
// front of it: time is linear in the text. The tail is compared last: if it does not fit behind the first places of the
// parts, it does behind no others. What is out of the ordinary, a row of stars, a question mark behind a star, a long
// part, or what lies at the end of a page, is left to the plain rule, which can go on at any star.
//
// Where a text ends is known only when it is read: a block may reach behind a terminator, but never onto a page that
// the text does not reach.
#pragma once

#include "kernels/kernels.h"
#include "kernels/pages.h"
#include "kernels/plain/operations.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

namespace wildcards {

using Byte = unsigned char;
using Places = std::uint64_t; // a bit for each byte, that of the first one lowest

inline constexpr std::size_t blockBytes = 4 * vectorBytes;

// What is left of a text and of a pattern.
struct Rest {
    const Byte *text;
    const Byte *pattern;
};

inline const char *chars(const Byte *text) {
    return reinterpret_cast<const char *>(text);
}

inline Rest restOf(const char *text, const char *pattern) {
    return {reinterpret_cast<const Byte *>(text), reinterpret_cast<const Byte *>(pattern)};
}

// Whether so many bytes may be read from a place in a text, which goes on to the next page or leaves it alone.
inline bool areReadable(const Byte *text, std::size_t count) {
    if (areOnPage(text, count)) [[likely]] {
        return true;
    }
    while (*text != 0) {
        if (bytesInPage(++text) == pageBytes) {
            return true;
        }
    }
    return false;
}

inline unsigned int equalPlaces(Bytes a, Bytes b) {
    return highBitsOf(reinterpret_cast<Bytes>(a == b));
}

inline Places highBytes(const Byte *block) {
    Places high = 0;
    for (std::size_t at = 0; at < blockBytes; at += vectorBytes) {
        high |= Places{highBitsOf(bytesAt(block + at))} << at;
    }
    return high;
}

inline Bytes specials(Bytes pattern) {
    return reinterpret_cast<Bytes>((pattern == Bytes{}) | (pattern == everyByteIs('*')) |
                                   (pattern == everyByteIs('?')));
}

// By which bytes are equal: null for bytes as they are, else the C library's table. Searches compare letters of ASCII
// in any case, and leave the rest to the plain rule: they hold for a table that has ASCII's own small letters in its
// first half, and of no other byte.
using SmallLetters = const int *;

inline constexpr auto smallLettersOfAscii = [] {
    std::array<int, 0x80> letters{};
    for (int code = 0; code < 0x80; ++code) {
        letters[static_cast<std::size_t>(code)] = code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
    }
    return letters;
}();

inline bool hasAscii(SmallLetters table) {
    return std::memcmp(table, smallLettersOfAscii.data(), sizeof smallLettersOfAscii) == 0;
}

// The bit that tells the case of a letter, where it does not count.
inline Bytes caseBit(SmallLetters table) {
    return everyByteIs(table != nullptr ? 'a' - 'A' : 0);
}

inline int matchPlainly(Rest /*rest*/, SmallLetters /*table*/) {
    return notTaken;
}

// The stages behind the first star give 0 for a match, else what is wanted there.
ZELK_STAGE int matchPlainly(Rest rest, SmallLetters table, int wanted) {
    static_cast<void>(wanted);
    return matchPlainly(rest, table);
}

inline constexpr std::size_t partBytes = 2 * vectorBytes; // a part is shorter

// A part of the pattern behind a star, up to the next one or to the pattern's end. No bytes: out of the ordinary.
struct Part {
    const Byte *start;
    std::size_t size;
};

inline Part partAt(const Byte *start, SmallLetters table) {
    if (!areOnPage(start, partBytes)) [[unlikely]] {
        return {start, 0};
    }
    Places marks = 0;
    Places high = 0;
    for (std::size_t at = 0; at < partBytes; at += vectorBytes) {
        const Bytes pattern = bytesAt(start + at);
        marks |= Places{highBitsOf(specials(pattern))} << at;
        high |= Places{highBitsOf(pattern)} << at;
    }
    if (marks == 0) [[unlikely]] {
        return {start, 0};
    }
    const std::size_t size = firstOf(marks);
    const bool isOrdinary = start[size] != '?' && (table == nullptr || (high & bitsBefore(marks)) == 0);
    return {start, isOrdinary ? size : 0};
}

// Whether the part lies at a place: what is equal to a letter but for the case bit is that letter.
inline bool isAt(const Byte *place, Part part, Bytes caseBit) {
    std::uint32_t equal = 0;
    for (std::size_t at = 0; at < partBytes; at += vectorBytes) {
        const Bytes pattern = bytesAt(part.start + at);
        const Bytes ofLetters = among(pattern | caseBit, 'a', 'z') & caseBit;
        equal |= equalPlaces(bytesAt(place + at) | ofLetters, pattern | ofLetters) << at;
    }
    return ~equal << (partBytes - part.size) == 0;
}

// Where the first place ends at which the part fits; null where there is none; the text itself where that is open. The
// text moves on past places where the part does not fit.
[[gnu::always_inline]] inline const Byte *behindPart(const Byte *&text, Part part, SmallLetters table) {
    const std::size_t reach = part.size - 1;
    const Bytes either = caseBit(table);
    const Bytes first = everyByteIs(part.start[0]) | either;
    const Bytes last = everyByteIs(part.start[reach]) | either;
    for (;; text += blockBytes - reach) {
        if (!areReadable(text, blockBytes)) [[unlikely]] {
            return text;
        }
        Places ends = 0;
        Places firsts = 0;
        Places lasts = 0;
        for (std::size_t at = 0; at < blockBytes; at += vectorBytes) {
            const Bytes bytes = bytesAt(text + at);
            ends |= Places{equalPlaces(bytes, Bytes{})} << at;
            firsts |= Places{equalPlaces(bytes | either, first)} << at;
            lasts |= Places{equalPlaces(bytes | either, last)} << at;
        }
        const Places inText = bitsBefore(ends);
        if (table != nullptr && (highBytes(text) & inText) != 0) [[unlikely]] {
            return text;
        }
        for (Places found = firsts & (lasts & inText) >> reach; found != 0; found &= found - 1) {
            const Byte *const place = text + firstOf(found);
            if (!areReadable(place, partBytes)) [[unlikely]] {
                return text = place;
            }
            if (isAt(place, part, either)) {
                return place + part.size;
            }
        }
        if (ends != 0) {
            return nullptr;
        }
    }
}

ZELK_STAGE int matchTail(Rest rest, Part tail, SmallLetters table, int wanted) {
    if (table != nullptr) {
        return matchPlainly(rest, table, wanted);
    }
    const std::size_t length = std::strlen(chars(rest.text));
    if (length < tail.size) {
        return wanted;
    }
    const Byte *const place = rest.text + (length - tail.size);
    if (areOnPage(place, partBytes)) [[likely]] {
        return -static_cast<int>(!isAt(place, tail, Bytes{})) & wanted; // without a branch
    }
    return std::memcmp(place, tail.start, tail.size) == 0 ? 0 : wanted;
}

ZELK_STAGE int matchParts(Rest rest, Part part, SmallLetters table, int wanted) {
    while (part.size != 0) {
        if (part.start[part.size] == 0) {
            return matchTail(rest, part, table, wanted);
        }
        const Byte *const behind = behindPart(rest.text, part, table);
        if (behind == nullptr) {
            return wanted;
        }
        if (behind == rest.text) {
            break;
        }
        rest = {behind, part.start + part.size};
        if (rest.pattern[1] == 0) {
            return 0;
        }
        part = partAt(rest.pattern + 1, table);
    }
    return matchPlainly(rest, table, wanted);
}

// What is left, from the first star on.
ZELK_STAGE int matchFromStar(Rest rest, SmallLetters table) {
    const Part part = partAt(rest.pattern + 1, table);
    if (part.size == 0 || *rest.text == 0) [[unlikely]] {
        return matchPlainly(rest, table);
    }
    const int wanted = *part.start;
    return part.start[part.size] == 0 ? matchTail(rest, part, table, wanted) : matchParts(rest, part, table, wanted);
}

// The head, up to the first star: the literals that a block of text begins with by one comparison, and without a branch
// on what ends them, which is not to be foreseen.
ZELK_STAGE int matchFromHead(Rest rest) {
    while (areOnPage(rest.text, vectorBytes) && areOnPage(rest.pattern, vectorBytes)) {
        const Bytes pattern = bytesAt(rest.pattern);
        const Bytes differing = reinterpret_cast<Bytes>(pattern != bytesAt(rest.text));
        const unsigned int marks = highBitsOf(specials(pattern) | differing);
        if (marks == 0) {
            rest = {rest.text + vectorBytes, rest.pattern + vectorBytes};
            continue;
        }
        const std::size_t place = firstOf(marks);
        rest = {rest.text + place, rest.pattern + place};
        const int given = *rest.text;
        const int wanted = *rest.pattern;
        const bool isStar = wanted == '*';
        const bool endsBehind = (equalPlaces(pattern, Bytes{}) >> place & 2U) != 0;
        if (isStar && !endsBehind) {
            return matchFromStar(rest, nullptr);
        }
        if (wanted == '?') {
            break;
        }
        const int difference = given == 0 ? wanted : given - wanted;
        return isStar ? 0 : difference;
    }
    return matchPlainly(rest, nullptr);
}

} // namespace wildcards

ZELK_STAGE int matchWildcards(const char *text, const char *pattern) {
    using namespace wildcards;
    const Rest rest = restOf(text, pattern);
    return *pattern == '*' ? matchFromStar(rest, nullptr) : matchFromHead(rest);
}

ZELK_STAGE int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters) {
    using namespace wildcards;
    const Rest rest = restOf(text, pattern);
    if (*pattern == '*' && hasAscii(smallLetters)) [[likely]] {
        return matchFromStar(rest, smallLetters);
    }
    return matchPlainly(rest, smallLetters);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
