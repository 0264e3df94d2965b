// Wildcard patterns from the first star on, a line of the text and of the pattern at a time.
//
// A part that another star follows is looked for by two of its bytes at once, at all places of a line; where both are
// found it is compared whole. The last part is compared at the end of the text.
#pragma once

#include "kernels/scan/wildcard_rules.h"

#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET {

namespace wildcards {

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
    for (; ends == 0; ends = placesIn(lineAt(start), areZero)) {
        start += lineBytes;
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

} // namespace wildcards

} // namespace zelk::kernels::ZELK_KERNEL_SET
