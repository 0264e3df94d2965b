// Wildcard patterns: which bytes are equal, and what a line of the pattern holds.
#pragma once

#include "kernels/kernels.h"
#include "kernels/simd/text_lines.h"

#include <array>
#include <cstdint>

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
    return lessSigned(bytes, Bytes{});
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

enum class Answer { No, Yes, Open };

struct Found {
    Answer answer;
    const Byte *end; // of the first place at which the part fits
};

} // namespace wildcards

} // namespace zelk::kernels::ZELK_KERNEL_SET
