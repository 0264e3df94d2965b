// Wildcard patterns, a line of the text and of the pattern at a time.
//
// Up to the first star literals are compared; a question mark passes over one byte.
// After a star:
//   a part that another star follows   looked for by two of its bytes at once, at all places of a line; where both are
//                                      found it is compared whole
//   the last part                      compared at the end of the text
// No place is looked at twice for a part, nor for the next part a place in front of it: time is linear in the text. The
// last part comes last: if it does not fit after the first places of the others, it does after no others.
//
// A row of stars is left to the rule. So is, where case does not count, whatever is not ASCII: what equals it is for
// the C library's table to say.
#pragma once

#include "detail/words.h"
#include "kernels/kernels.h"
#include "kernels/simd/text_lines.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET {

namespace wildcards {

using Byte = unsigned char;
using Places = std::uint64_t;

// Literals are equal as they are.
struct Exact {
    static constexpr bool ignoresCase = false;
};

// Or as letters of ASCII. The C library's table must have ASCII's own small letters in its first half.
struct AnyCase {
    static constexpr bool ignoresCase = true;
};

inline constexpr Byte caseBit = 'a' - 'A';

ZELK_OPERATION bool isLetter(Byte byte) {
    return static_cast<unsigned int>((byte | caseBit) - 'a') < 26;
}

inline constexpr auto smallLettersOfAscii = []() {
    std::array<int, 0x80> letters{};
    for (int code = 0; code < 0x80; ++code) {
        letters[static_cast<std::size_t>(code)] = code >= 'A' && code <= 'Z' ? code + caseBit : code;
    }
    return letters;
}();

ZELK_OPERATION bool hasAscii(const int *smallLetters) {
    constexpr std::size_t inBlock = blockBytes / sizeof(int);
    auto different = load(smallLetters) ^ load(smallLettersOfAscii.data());
    for (std::size_t at = inBlock; at < smallLettersOfAscii.size(); at += inBlock) {
        different |= load(smallLetters + at) ^ load(smallLettersOfAscii.data() + at);
    }
    return !anyBit(different);
}

ZELK_OPERATION Flags areNotAscii(Bytes bytes) {
    return lessSigned(bytes, repeatByte(0));
}

// Stars, question marks and zeros: each has a lower nibble of its own, which finds it in a table of sixteen.
ZELK_OPERATION Flags areSpecial(Bytes bytes) {
    const Bytes table = repeatLane(Lane{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, '*', 0, 0, 0, 0, '?'});
    return equal(lookUp(table, lowerNibbles(bytes)), bytes);
}

// What a line of the pattern holds.
template <class Rule>
struct PatternLine {
    const Byte *start = nullptr;
    Places specials = 0;
    Places others = 0; // that are not of ASCII, if that counts

    ZELK_OPERATION PatternLine at(const Byte *start) {
        const Line line = lineAt(start);
        return {start, placesIn(line, areSpecial), Rule::ignoresCase ? placesIn(line, areNotAscii) : Places{0}};
    }
};

// The part of the pattern from a place on, not after its terminator, to its next special byte, and what is in it.
struct Literals {
    const Byte *end;
    bool areAscii;

    template <class Rule>
    ZELK_OPERATION Literals from(const Byte *start, PatternLine<Rule> &line) {
        if (lineStart(start) != line.start) {
            line = PatternLine<Rule>::at(lineStart(start));
        }
        Places wanted = placesFrom(placeInLine(start));
        Places others = 0;
        while ((line.specials & wanted) == 0) {
            others |= line.others & wanted;
            line = PatternLine<Rule>::at(line.start + lineBytes);
            wanted = ~Places{0};
        }
        others |= line.others & wanted & placesBefore(line.specials & wanted);
        return {line.start + firstPlace(line.specials & wanted), others == 0};
    }
};

// A part of the pattern after a star, to the next star or the pattern's end. Its first byte stands for itself.
struct Part {
    const Byte *start;
    std::size_t size;
    std::size_t reach; // from its first byte to another literal of it, as far as a line lets it be
    bool hasAnyBytes;  // question marks
    bool isAscii;

    template <class Rule>
    ZELK_OPERATION Part at(const Byte *start, PatternLine<Rule> &line) {
        Part part{start, 0, 0, false, true};
        const Byte *from = start + (*start == '?' ? 1 : 0);
        for (;;) {
            const Literals literals = Literals::from(from, line);
            part.isAscii = part.isAscii && literals.areAscii;
            const auto places = static_cast<std::size_t>(literals.end - start);
            if (literals.end != from) {
                part.reach = places <= lineBytes ? places - 1 : part.hasAnyBytes ? part.reach : lineBytes - 1;
            }
            if (*literals.end != '?') {
                part.size = places;
                return part;
            }
            part.hasAnyBytes = true;
            from = literals.end + 1;
        }
    }
};

// One byte of the text that is looked for.
struct Literal {
    Bytes either; // the case bit, where it does not count
    Bytes wanted;

    template <class Rule>
    ZELK_OPERATION Literal of(Byte byte) {
        const Byte bit = Rule::ignoresCase && isLetter(byte) ? caseBit : Byte{0};
        return {repeatByte(bit), repeatByte(byte | bit)};
    }
    template <class Rule>
    ZELK_OPERATION Places in(const Line &line, const Literal &literal) {
        return placesIn(line, [&](Bytes bytes) {
            return equal(Rule::ignoresCase ? bytes | literal.either : bytes, literal.wanted);
        });
    }
};

enum class Answer { No, Yes, Open };

// Whether a part with question marks lies at a place of the text. `No` at all later places too where the text ends.
template <class Rule>
ZELK_OPERATION Answer fits(const Byte *text, const Part &part) {
    for (std::size_t at = 0; at < part.size; ++at) {
        if (text[at] == 0) {
            return Answer::No;
        }
        if (Rule::ignoresCase && text[at] >= 0x80) {
            return Answer::Open;
        }
        const Byte wanted = part.start[at];
        const Byte either = Rule::ignoresCase && isLetter(wanted) ? caseBit : Byte{0};
        if ((text[at] | either) != (wanted | either) && (at == 0 || wanted != '?')) {
            return Answer::No;
        }
    }
    return Answer::Yes;
}

struct Found {
    Answer answer;
    const Byte *end; // of the first place at which the part fits
};

template <class Rule>
ZELK_OPERATION Found firstFit(const Byte *text, const Part &part) {
    const Literal first = Literal::of<Rule>(part.start[0]);
    const Literal last = Literal::of<Rule>(part.start[part.reach]);
    const bool isWhole = part.reach + 1 == part.size && !part.hasAnyBytes;
    const Byte *start = lineStart(text);
    Places wanted = placesFrom(placeInLine(text));
    for (Places firstsBefore = 0;; wanted = ~Places{0}, start += lineBytes) {
        const Line line = lineAt(start);
        const Places ends = placesIn(line, areZero) & wanted;
        const Places inText = placesBefore(ends) & wanted;
        if (Rule::ignoresCase && (placesIn(line, areNotAscii) & inText) != 0) [[unlikely]] {
            return {Answer::Open, nullptr};
        }
        const Places firsts = Literal::in<Rule>(line, first) & wanted;
        const Places pairs = (firsts << part.reach * bitsPerPlace |
                              firstsBefore >> (lineBytes - 1 - part.reach) * bitsPerPlace >> bitsPerPlace) &
                             Literal::in<Rule>(line, last) & inText;
        for (Places left = pairs; left != 0; left = withoutFirst(left)) {
            const Byte *const place = start + firstPlace(left) - part.reach;
            if (isWhole) {
                if (part.size <= 2 || areEqual<Rule::ignoresCase>(place + 1, part.start + 1, part.size - 2)) {
                    return {Answer::Yes, place + part.size};
                }
            } else if (const Answer answer = fits<Rule>(place, part); answer != Answer::No) {
                return {answer, place + part.size};
            }
        }
        if (ends != 0) {
            return {Answer::No, nullptr};
        }
        firstsBefore = firsts;
    }
}

ZELK_OPERATION const Byte *terminatorOf(const Byte *text) {
    const Byte *start = lineStart(text);
    Places ends = placesIn(lineAt(start), areZero) & placesFrom(placeInLine(text));
    while (ends == 0) {
        start += lineBytes;
        ends = placesIn(lineAt(start), areZero);
    }
    return start + firstPlace(ends);
}

template <class Rule>
ZELK_OPERATION Answer endsWith(const Byte *text, const Part &part) {
    const Byte *const end = terminatorOf(text);
    if (static_cast<std::size_t>(end - text) < part.size) {
        return Answer::No;
    }
    const Byte *const place = end - part.size;
    if (!part.hasAnyBytes && areEqual<Rule::ignoresCase>(place, part.start, part.size)) {
        return Answer::Yes;
    }
    return Rule::ignoresCase || part.hasAnyBytes ? fits<Rule>(place, part) : Answer::No;
}

// The pattern from its first star on; the answer is that of the rule, or notTaken.
template <class Rule>
ZELK_STAGE int matchFromStar(const Byte *text, const Byte *star) {
    const int wanted = star[1];
    if (wanted == 0 || (*text == 0 && wanted != '*')) {
        return wanted;
    }
    PatternLine<Rule> line;
    for (;;) {
        if (star[1] == 0) {
            return 0;
        }
        if (star[1] == '*') {
            return notTaken;
        }
        const Part part = Part::at(star + 1, line);
        if (Rule::ignoresCase && !part.isAscii) {
            return notTaken;
        }
        star = part.start + part.size;
        const bool isLast = *star == 0;
        const Found found = isLast ? Found{endsWith<Rule>(text, part), nullptr} : firstFit<Rule>(text, part);
        if (found.answer != Answer::Yes) {
            return found.answer == Answer::No ? wanted : notTaken;
        }
        if (isLast) {
            return 0;
        }
        text = found.end;
    }
}

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
