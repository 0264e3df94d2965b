// Wildcard patterns, a block of the text and a part of the pattern at a time. Included by wildcard.cpp alone.
//
// The special bytes of a pattern are bits of a mask, so that no loop runs over its letters. A part between two stars is
// looked for by two of its bytes at once, at all places of a block of text; where both are found it is compared whole.
// No place is looked at twice for a part, nor for the next part a place in front of it: time is linear in the text.
// The tail is compared last: if it does not fit behind the first places of the parts, it does behind no others. What is
// out of the ordinary, a row of stars or a part longer than a block, is left to the plain rule, which can go on at any
// star.
//
// Where a text ends is known only when it is read: a block may reach behind a terminator, but never onto a page that
// the text does not reach.
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/avx512.h"

#include <algorithm>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET {

namespace wildcards {

using Byte = unsigned char;

// The block at any place of a terminated text. What lies after the terminator is undefined.
ZELK_OPERATION Block blockAt(const Byte *text) {
    const Mask inLine = firstBytes(bytesInLine(text));
    const Block block = loadInLine(text, inLine);
    return nonZero(block) == inLine ? loadInLine(text, ~Mask{0}) : block;
}

ZELK_OPERATION std::size_t lastOf(std::uint16_t mask) { // there is one
    return static_cast<unsigned int>(__builtin_clz(mask) ^ 31);
}

// The bits in front of the first one, and up to it; all where there is none.
ZELK_OPERATION Mask beforeFirst(Mask mask) {
    return ~mask & (mask - 1);
}

ZELK_OPERATION Mask upToFirst(Mask mask) {
    return _blsmsk_u64(mask);
}

ZELK_OPERATION Mask equal(Block a, Block b) {
    return _mm512_cmpeq_epi8_mask(a, b);
}

ZELK_OPERATION Mask zeros(Block block) {
    return _mm512_testn_epi8_mask(block, block);
}

// Stars, question marks and zeros: each has a low half byte of its own, which finds it in a table of sixteen.
ZELK_OPERATION Mask specials(Block bytes) {
    const Block table = nibbleTable(_mm_setr_epi8(0, -1, -1, -1, -1, -1, -1, -1, -1, -1, '*', -1, -1, -1, -1, '?'));
    return equal(look16(table, bytes), bytes);
}

ZELK_OPERATION Block everyOf(Block block, std::size_t place) {
    return _mm512_permutexvar_epi8(_mm512_set1_epi8(static_cast<char>(place)), block);
}

// The low bytes of 64 numbers.
ZELK_OPERATION Block lowBytes(const int *numbers) {
    constexpr std::size_t inBlock = blockBytes / sizeof(int);
    const Block places = multiples<sizeof(int)>();
    const Block front = _mm512_permutex2var_epi8(load(numbers), places, load(numbers + inBlock));
    const Block back = _mm512_permutex2var_epi8(load(numbers + 2 * inBlock), places, load(numbers + 3 * inBlock));
    return _mm512_inserti64x4(front, _mm512_castsi512_si256(back), 1);
}

// A rule folds bytes: those that come out alike are equal. One that is partial may refuse a block for a byte in front
// of its end; then another rule goes on.
struct Exact {
    static constexpr bool isPartial = false;
    ZELK_OPERATION bool takes(Mask /*ends*/, Block /*block*/) { return true; }
    ZELK_OPERATION Block fold(const Exact & /*rule*/, Block block) { return block; }
};

// By half of the C library's table of small letters, for ASCII alone.
struct AsciiInAnyCase {
    static constexpr bool isPartial = true;
    Table128 table;

    ZELK_OPERATION AsciiInAnyCase by(const int *smallLetters) {
        return {{lowBytes(smallLetters), lowBytes(smallLetters + blockBytes)}};
    }
    ZELK_OPERATION bool takes(Mask ends, Block block) {
        const Mask high = highBits(block);
        return _kortestz_mask64_u8(high, high) != 0 || (high & upToFirst(ends)) == 0;
    }
    ZELK_OPERATION Block fold(const AsciiInAnyCase &rule, Block block) {
        return _mm512_permutex2var_epi8(rule.table.low, block, rule.table.high);
    }
};

// By all of the table.
struct AnyCase {
    static constexpr bool isPartial = false;
    AsciiInAnyCase low;
    AsciiInAnyCase high;

    ZELK_OPERATION AnyCase by(const int *smallLetters) {
        return {AsciiInAnyCase::by(smallLetters), AsciiInAnyCase::by(smallLetters + 128)};
    }
    ZELK_OPERATION bool takes(Mask /*ends*/, Block /*block*/) { return true; }
    ZELK_OPERATION Block fold(const AnyCase &rule, Block block) {
        return _mm512_mask_mov_epi8(AsciiInAnyCase::fold(rule.low, block), highBits(block),
                                    AsciiInAnyCase::fold(rule.high, block));
    }
};

// A part of the pattern behind a star, up to the next one or to the pattern's end. No bytes: out of the ordinary.
struct Part {
    Block folded; // and what follows in the pattern
    std::size_t size;
    Mask literals; // the bytes that are no question marks; the first is always one
};

template <class Rule>
ZELK_OPERATION Part partAt(const Byte *start, const Rule &rule) {
    const Block block = blockAt(start);
    Mask marks = specials(block);
    if ((marks & 1) != 0) [[unlikely]] {
        if (*start == '*') {
            return {block, 0, 0};
        }
        marks &= marks - 1;
    }
    std::size_t size = firstOf(marks);
    Mask literals = ~Mask{0};
    if (start[size] == '?') [[unlikely]] {
        literals = ~equal(block, everyByte<'?'>()) | 1;
        marks &= literals;
        size = firstOf(marks);
    }
    if ((start[size] != 0 && start[size] != '*') || !Rule::takes(marks, block)) {
        return {block, 0, 0};
    }
    return {Rule::fold(rule, block), size, beforeFirst(marks) & literals};
}

ZELK_OPERATION bool fits(const Part &part, Block folded) {
    return (part.literals & ~equal(folded, part.folded)) == 0;
}

// Where the first place ends at which the part fits; null where there is none; the text itself where the rule refuses.
template <class Rule>
ZELK_OPERATION const Byte *behindPart(const Byte *const text, const Part &part, const Rule &rule) {
    const std::size_t reach = lastOf(static_cast<std::uint16_t>(part.literals)); // of the two bytes looked for
    const Block first = _mm512_broadcastb_epi8(_mm512_castsi512_si128(part.folded));
    const Block last = everyOf(part.folded, reach);
    for (const Byte *at = text;;) {
        const Block block = blockAt(at);
        const Mask ends = zeros(block);
        if (Rule::isPartial && !Rule::takes(ends, block)) {
            return text;
        }
        const Block folded = Rule::fold(rule, block);
        const Mask found = _mm512_mask_cmpeq_epi8_mask(equal(folded, first), startingAt(folded, reach), last);
        std::size_t step = blockBytes;
        for (Mask marks = _kor_mask64(found, ends); marks != 0; marks &= marks - 1) {
            const std::size_t place = firstOf(marks);
            if (at[place] == 0) {
                return nullptr;
            }
            if (place + part.size > blockBytes) {
                step = std::min(place + reach, blockBytes);
                break;
            }
            if (fits(part, startingAt(folded, place))) {
                const bool allLiterals = part.literals == firstBytes(part.size);
                const bool isInText = allLiterals || (ends & firstBytes(place + part.size)) == 0;
                return isInText ? at + place + part.size : nullptr;
            }
        }
        at += step - reach; // nearer to the block's end the second byte may lie behind it
    }
}

ZELK_OPERATION const Byte *terminatorOf(const Byte *text) {
    Mask ends = zeros(blockAt(text));
    if (ends == 0) {
        text -= reinterpret_cast<std::uintptr_t>(text) % blockBytes;
        do {
            text += blockBytes;
            ends = zeros(loadInLine(text, ~Mask{0}));
        } while (ends == 0);
    }
    return text + firstOf(ends);
}

enum class Answer { No, Yes, Open };

template <class Rule>
ZELK_OPERATION Answer endsWith(const Byte *text, const Part &part, const Rule &rule) {
    const Byte *const end = terminatorOf(text);
    if (static_cast<std::size_t>(end - text) < part.size) {
        return Answer::No;
    }
    const Block tail = load(end - part.size, firstBytes(part.size));
    if (Rule::isPartial && !Rule::takes(Mask{0}, tail)) {
        return Answer::Open;
    }
    return fits(part, Rule::fold(rule, tail)) ? Answer::Yes : Answer::No;
}

// What is left of a text, and of a pattern from a star on.
struct Rest {
    const Byte *text;
    const Byte *pattern;
};

// As far as the rule goes: where the answer is open, it is that of the rest.
template <class Rule>
ZELK_OPERATION Answer answerFromStar(Rest &rest, const Rule &rule) {
    for (;;) {
        const Byte *const start = rest.pattern + 1;
        if (*start == 0) {
            return Answer::Yes;
        }
        const Part part = partAt(start, rule);
        if (part.size == 0) {
            return Answer::Open;
        }
        if (start[part.size] == 0) {
            return endsWith(rest.text, part, rule);
        }
        const Byte *const behind = behindPart(rest.text, part, rule);
        if (behind == nullptr) {
            return Answer::No;
        }
        if (Rule::isPartial && behind == rest.text) {
            return Answer::Open;
        }
        rest = {behind, start + part.size};
    }
}

inline const char *chars(const Byte *text) {
    return reinterpret_cast<const char *>(text);
}

inline const Byte *bytes(const char *text) {
    return reinterpret_cast<const Byte *>(text);
}

// The stages give 0 for a match, else what is wanted.
ZELK_STAGE int matchRest(Rest rest, int wanted) {
    const Answer answer = answerFromStar(rest, Exact{});
    return answer == Answer::Yes ? 0 : answer == Answer::No ? wanted : notTaken;
}

ZELK_STAGE int matchRestInAnyCase(Rest rest, int wanted, const int *smallLetters) {
    const Answer answer = answerFromStar(rest, AnyCase::by(smallLetters));
    return answer == Answer::Yes ? 0 : answer == Answer::No ? wanted : notTaken;
}

ZELK_STAGE int matchAsciiRestInAnyCase(Rest rest, int wanted, const int *smallLetters) {
    const Answer answer = answerFromStar(rest, AsciiInAnyCase::by(smallLetters));
    if (answer == Answer::Open) {
        return matchRestInAnyCase(rest, wanted, smallLetters);
    }
    return answer == Answer::Yes ? 0 : wanted;
}

// Takes the head, byte by byte; what goes on from the first star is a stage of its own.
template <class Fold, class Stage>
ZELK_OPERATION int matchFromHead(Rest rest, Fold fold, Stage stage) {
    for (; *rest.text != 0 && *rest.pattern != '*'; ++rest.text, ++rest.pattern) {
        const int difference = *rest.pattern == '?' ? 0 : fold(*rest.text) - fold(*rest.pattern);
        if (difference != 0) {
            return difference;
        }
    }
    const Byte *behindStars = rest.pattern;
    while (*behindStars == '*') {
        ++behindStars;
    }
    const int wanted = *behindStars;
    return *rest.text == 0 || wanted == 0 ? wanted : stage(rest, wanted);
}

// Whether there is text and no head: what is wanted then stands behind the one star.
ZELK_OPERATION bool beginsWithStar(const Rest &rest) {
    return rest.pattern[0] == '*' && rest.pattern[1] != '*' && rest.pattern[1] != 0 && *rest.text != 0;
}

// How many literals the two begin with alike, as far as a block goes.
ZELK_OPERATION std::size_t sharedLiterals(const Rest &rest) {
    const Block pattern = blockAt(rest.pattern);
    const Mask differing = _mm512_cmpneq_epi8_mask(pattern, blockAt(rest.text));
    return firstOf(_kor_mask64(specials(pattern), differing));
}

} // namespace wildcards

ZELK_STAGE int matchWildcards(const char *text, const char *pattern) {
    using namespace wildcards;
    Rest rest = {bytes(text), bytes(pattern)};
    if (beginsWithStar(rest)) {
        return matchRest(rest, rest.pattern[1]);
    }
    if (*pattern != '*') {
        const std::size_t shared = sharedLiterals(rest);
        rest = {rest.text + shared, rest.pattern + shared};
    }
    return matchFromHead(
        rest, [](Byte byte) { return int{byte}; }, matchRest);
}

ZELK_STAGE int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters) {
    using namespace wildcards;
    return matchFromHead(
        {bytes(text), bytes(pattern)}, [=](Byte byte) { return smallLetters[byte]; },
        [=](Rest rest, int wanted) { return matchAsciiRestInAnyCase(rest, wanted, smallLetters); });
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
