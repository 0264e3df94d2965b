// Wildcard patterns.
//
// Up to the first star literals are compared; a question mark passes over one byte.
// After a star (matchFromStar(), from wildcard_parts.h or wildcard_blocks.h):
//   a part that another star follows   looked for by two of its bytes at once, at many places; where both are found it
//                                      is compared whole
//   the last part                      compared at the end of the text
// No place is looked at twice for a part, nor for the next part a place in front of it: time is linear in the text. The
// last part comes last: if it does not fit after the first places of the others, it does after no others.
//
// A row of stars is left to the rule. So is, where case does not count, whatever is not ASCII: what equals it is for
// the C library's table to say.
#pragma once

#include "detail/words.h"
#include "kernels/kernels.h"
#include "kernels/scan/wildcard_rules.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

namespace wildcards {

// Where two texts differ first, of so many bytes of either; their number where they do not.
ZELK_OPERATION std::size_t firstDifference(const Byte *a, const Byte *b, std::size_t count) {
    using detail::wordAt;
    using detail::wordBytes;
    std::size_t at = 0;
    for (; count - at >= wordBytes; at += wordBytes) {
        if (const std::uint64_t different = wordAt(a + at) ^ wordAt(b + at); different != 0) {
            return at + detail::firstByteOf(different);
        }
    }
    while (at < count && a[at] == b[at]) {
        ++at;
    }
    return at;
}

ZELK_OPERATION int byteAfterStars(const Byte *pattern) {
    while (*pattern == '*') {
        ++pattern;
    }
    return *pattern;
}

ZELK_OPERATION const Byte *bytes(const char *text) {
    return reinterpret_cast<const Byte *>(text);
}

// The bytes of a text before its terminator, as far as its line goes.
ZELK_OPERATION std::size_t textInLine(const Byte *text) {
    const Byte *const start = lineStart(text);
    const Places ends = placesIn(lineAt(start), areZero) & placesFrom(placeInLine(text));
    return ends != 0 ? static_cast<std::size_t>(start + firstPlace(ends) - text) : bytesInLine(text);
}

// What differs in front of the first star, or comes there, by lines.
ZELK_STAGE int matchFromHeadByLines(const Byte *text, const Byte *pattern) {
    PatternLine<Exact> line;
    const Byte *special = Literals::from(pattern, line).end;
    for (;;) {
        const auto literals = static_cast<std::size_t>(special - pattern);
        const std::size_t count = std::min(literals, textInLine(text));
        const std::size_t same = firstDifference(text, pattern, count);
        text += same;
        pattern += same;
        if (same < count) {
            return *text - *pattern;
        }
        if (*text == 0) {
            return byteAfterStars(pattern);
        }
        if (same < literals) {
            continue; // in the text's next line
        }
        if (*pattern == '*') {
            return matchFromStar<Exact>(text, pattern);
        }
        if (*pattern == 0) {
            return *text;
        }
        ++text;
        ++pattern;
        special = Literals::from(pattern, line).end;
    }
}

// The same by pairs: both are read together, and what ends the literals needs no branch of its own.
ZELK_STAGE int matchFromHead(const Byte *text, const Byte *pattern) {
    while (arePaired(text, pattern)) {
        const Pair pair = pairAt(text, pattern);
        const Places marks = placesOf(areSpecial(pair.right) | ~equal(pair.left, pair.right)) & pair.inside;
        const std::size_t place = marks != 0 ? firstPlace(marks) : pair.end;
        text += place - pair.begin;
        pattern += place - pair.begin;
        if (marks == 0) {
            continue;
        }
        const int given = *text;
        const int wanted = *pattern;
        if (wanted == '*') {
            return pattern[1] == 0 ? 0 : given == 0 ? byteAfterStars(pattern) : matchFromStar<Exact>(text, pattern);
        }
        if (given == 0) {
            return wanted;
        }
        if (wanted != '?') {
            return given - wanted;
        }
        ++text;
        ++pattern;
    }
    return matchFromHeadByLines(text, pattern);
}

} // namespace wildcards

ZELK_STAGE int matchWildcards(const char *text, const char *pattern) {
    using namespace wildcards;
    return *pattern == '*' ? matchFromStar<Exact>(bytes(text), bytes(pattern))
                           : matchFromHead(bytes(text), bytes(pattern));
}

ZELK_STAGE int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters) {
    using namespace wildcards;
    const Byte *at = bytes(text);
    const Byte *from = bytes(pattern);
    for (; *at != 0 && *from != '*'; ++at, ++from) {
        const int difference = *from == '?' ? 0 : smallLetters[*at] - smallLetters[*from];
        if (difference != 0) {
            return difference;
        }
    }
    if (*at == 0 || from[1] == 0) {
        return byteAfterStars(from);
    }
    return hasAscii(smallLetters) ? matchFromStar<AnyCase>(at, from) : notTaken;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
