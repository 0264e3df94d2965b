// Wildcard patterns from the first star on, for sets that compare a block into a mask and load it at any place: the
// literals of a part are such a mask. A part is looked for and compared as by lines.
//
// A part that is not all in one block is left to the rule.
#pragma once

#include "kernels/scan/wildcard_rules.h"
#include "kernels/simd/avx512_texts.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET {

namespace wildcards {

// The block at any place of a terminated text.
ZELK_OPERATION Block blockAt(const Byte *text) {
    return loadInLine(text, readable(zerosInLine(text)));
}

// The same of a text that seldom leaves its line, as a pattern does: without a wait for what the line holds.
ZELK_OPERATION Block patternAt(const Byte *pattern) {
    const Mask inLine = ~Mask{0} >> placeInLine(pattern);
    Block block = loadInLine(pattern, inLine);
    if (areText(block, inLine)) [[unlikely]] {
        block = loadInLine(pattern);
    }
    return block;
}

// What is left of a text: bytes of a block from a place on. Another part goes on in it, and waits for no load.
struct Window {
    Block block;
    const Byte *start;
    Mask ends;
    Mask left;

    ZELK_OPERATION Window at(const Byte *text) {
        const Block block = blockAt(text);
        return {block, text, ~nonZero(block), ~Mask{0}};
    }
};

// Stars, question marks and zeros, as areSpecial(): the lookup gives 0 for what is not ASCII.
ZELK_OPERATION Mask specialsOf(Block bytes) {
    const Block table = nibbleTable(_mm_setr_epi8(0, -1, -1, -1, -1, -1, -1, -1, -1, -1, '*', -1, -1, -1, -1, '?'));
    return _mm512_cmpeq_epi8_mask(look16(table, bytes), bytes);
}

ZELK_OPERATION Block everyOf(Block block, std::size_t place) {
    return _mm512_permutexvar_epi8(_mm512_set1_epi8(static_cast<char>(place)), block);
}

// Bytes that are looked for. Where case does not count, letters have its bit, which the text is given too.
struct Wanted {
    Block bytes;
    Block either;

    template <class Rule>
    ZELK_OPERATION Wanted of(Block block) {
        if constexpr (Rule::ignoresCase) {
            const Block small = _mm512_or_si512(block, everyByte<caseBit>());
            const Mask letters = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(small, everyByte<'a'>()), everyByte<26>());
            const Block either = _mm512_maskz_mov_epi8(letters, everyByte<caseBit>());
            return {_mm512_or_si512(block, either), either};
        } else {
            return {block, block};
        }
    }
    ZELK_OPERATION Wanted everywhere(const Wanted &wanted, std::size_t place) {
        return {everyOf(wanted.bytes, place), everyOf(wanted.either, place)};
    }
    template <class Rule>
    ZELK_OPERATION Mask in(Block block, const Wanted &wanted) {
        return _mm512_cmpeq_epi8_mask(Rule::ignoresCase ? _mm512_or_si512(block, wanted.either) : block, wanted.bytes);
    }
};

// A part of the pattern after a star, to the next star or the pattern's end. Its first byte stands for itself.
struct Part {
    Wanted wanted;
    Mask literals;
    std::size_t size;
    bool isTaken;

    template <class Rule>
    ZELK_OPERATION Part at(const Byte *start) {
        const Block block = patternAt(start);
        const Mask questionMarks = _mm512_cmpeq_epi8_mask(block, everyByte<'?'>());
        const Mask ends = specialsOf(block) & ~questionMarks;
        const bool isTaken = ends != 0 && (!Rule::ignoresCase || (highBits(block) & placesBefore(ends)) == 0);
        return {Wanted::of<Rule>(block), (~questionMarks | 1) & placesBefore(ends), firstOf(ends), isTaken};
    }
};

template <class Rule>
ZELK_OPERATION Answer fits(const Byte *place, const Part &part) {
    if constexpr (Rule::ignoresCase) {
        const Block bytes = load(place, part.literals);
        if (highBits(bytes) != 0) {
            return Answer::Open;
        }
        return (part.literals & ~Wanted::in<Rule>(bytes, part.wanted)) == 0 ? Answer::Yes : Answer::No;
    } else {
        return equalInLine(place, part.literals, part.wanted.bytes) == part.literals ? Answer::Yes : Answer::No;
    }
}

// The text moves on to the end of the first place at which the part fits.
//
// Two of its literals are looked for at once: if it has one there, the first and the fourth, which are known before its
// end is. Where all of the part lies in the text it is compared; where the text ends before that, it does at all later
// places too.
template <class Rule>
ZELK_OPERATION Answer firstFit(Window &text, const Part &part) {
    const Wanted first = Wanted::everywhere(part.wanted, 0);
    std::size_t reach = 3;
    Wanted last = Wanted::everywhere(part.wanted, reach);
    if ((part.literals >> reach & 1U) == 0) [[unlikely]] {
        reach = static_cast<std::size_t>(std::bit_width(part.literals)) - 1;
        last = Wanted::everywhere(part.wanted, reach);
    }
    for (;;) {
        if (Rule::ignoresCase && (highBits(text.block) & placesBefore(text.ends) & text.left) != 0) [[unlikely]] {
            return Answer::Open;
        }
        // Where the second one may lie after the block, but after what other parts have taken.
        std::size_t next = std::max(blockBytes - reach, firstOf(text.left));
        Mask pairs = Wanted::in<Rule>(text.block, first) & Wanted::in<Rule>(text.block, last) >> reach & text.left;
        for (; pairs != 0; pairs = withoutFirst(pairs)) {
            const std::size_t place = firstOf(pairs);
            const std::size_t end = place + part.size;
            if ((text.ends & firstBytes(end)) != 0) {
                return Answer::No;
            }
            if (end > blockBytes) [[unlikely]] {
                next = place;
                break;
            }
            if (fits<Rule>(text.start + place, part) == Answer::Yes) {
                text.left = ~firstBytes(end);
                return Answer::Yes;
            }
        }
        if (text.ends != 0) {
            return Answer::No;
        }
        text = Window::at(text.start + next);
    }
}

template <class Rule>
ZELK_OPERATION Answer endsWith(const Window &text, const Part &part) {
    const Byte *start = text.start;
    Mask ends = text.ends;
    if (ends == 0) {
        start -= placeInLine(start);
        do {
            start += blockBytes;
            ends = zerosInLine(start);
        } while (ends == 0);
    }
    const Byte *const end = start + firstOf(ends);
    const Byte *const front = text.start + firstOf(text.left);
    return static_cast<std::size_t>(end - front) < part.size ? Answer::No : fits<Rule>(end - part.size, part);
}

// The pattern from its first star on; the answer is that of the rule, or notTaken.
template <class Rule>
ZELK_STAGE int matchFromStar(const Byte *text, const Byte *star) {
    const int wanted = star[1];
    if (wanted == 0 || (*text == 0 && wanted != '*')) {
        return wanted;
    }
    for (Window window = Window::at(text);;) {
        if (star[1] == 0) {
            return 0;
        }
        if (star[1] == '*') {
            return notTaken;
        }
        const Part part = Part::at<Rule>(star + 1);
        if (!part.isTaken) {
            return notTaken;
        }
        star += 1 + part.size;
        const bool isLast = *star == 0;
        const Answer answer = isLast ? endsWith<Rule>(window, part) : firstFit<Rule>(window, part);
        if (answer != Answer::Yes) {
            return answer == Answer::No ? wanted : notTaken;
        }
        if (isLast) {
            return 0;
        }
    }
}

} // namespace wildcards

} // namespace zelk::kernels::ZELK_KERNEL_SET
