// Texts side by side. Their lines are looked through for the terminators; what lies before these is compared, of either
// text at the address that it has.
//
// passShared:   two bytes singly, then blocks while the next line of neither text ends it; the bytes up to the first
//               terminator, fewer than two blocks, as two blocks, lanes or words that overlap
// alikeBytes:   equal bytes so, characters of ASCII that are only alike one by one
#pragma once

#include "kernels/plain/collation.h"
#include "kernels/simd/text_lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// The place of the first difference among eight bytes from a place on, or the place after them.
ZELK_OPERATION std::size_t equalInWord(const unsigned char *a, const unsigned char *b, std::size_t at) {
    return at + detail::firstByteOf(detail::wordAt(a + at) ^ detail::wordAt(b + at));
}

ZELK_OPERATION std::uint64_t placesOfOthers(Bytes a, Bytes b) {
    return placesOf(~equal(a, b));
}

// Of so many bytes that both texts have, fewer than two blocks: those at the front that are equal.
ZELK_OPERATION std::size_t equalBytes(const unsigned char *a, const unsigned char *b, std::size_t count) {
    if (count >= blockBytes) {
        const std::size_t second = count - blockBytes;
        if (const std::uint64_t others = placesOfOthers(load(a), load(b)); others != 0) {
            return firstPlace(others);
        }
        const std::uint64_t others = placesOfOthers(load(a + second), load(b + second));
        return others != 0 ? second + firstPlace(others) : count;
    }
    if (blockLanes == 2 && count >= laneBytes) {
        const std::size_t second = count - laneBytes;
        const std::uint64_t others = placesOfOthers(loadHalves(a, a + second), loadHalves(b, b + second));
        const std::size_t place = others != 0 ? firstPlace(others) : blockBytes;
        return place < laneBytes ? place : second + place - laneBytes;
    }
    if (count >= detail::wordBytes) {
        const std::size_t first = equalInWord(a, b, 0);
        return first < detail::wordBytes ? first : equalInWord(a, b, count - detail::wordBytes);
    }
    std::size_t equals = 0;
    while (equals < count && a[equals] == b[equals]) {
        ++equals;
    }
    return equals;
}

// A text that is looked through for its terminator, a line at a time.
struct LineReader {
    const unsigned char *next;
    std::uint64_t ends;

    ZELK_OPERATION LineReader at(const unsigned char *text) {
        const unsigned char *const start = lineStart(text);
        return {start + lineBytes, placesIn(lineAt(start), areZero) & placesFrom(placeInLine(text))};
    }
    inline __attribute__((always_inline)) void readUnlessEnded() {
        if (ends == 0) {
            ends = placesIn(lineAt(next), areZero);
            next += lineBytes;
        }
    }
    // The bytes from here to the terminator, or to the end of the line.
    inline __attribute__((always_inline)) std::size_t known(const unsigned char *from) const {
        return static_cast<std::size_t>(next - from) - (ends != 0 ? lineBytes - firstPlace(ends) : 0);
    }
};

ZELK_STAGE TextPlaces passSharedLines(const unsigned char *a, const unsigned char *b) {
    LineReader left = LineReader::at(a);
    LineReader right = LineReader::at(b);
    for (;;) {
        left.readUnlessEnded();
        right.readUnlessEnded();
        if ((left.ends | right.ends) != 0) {
            const std::size_t known = std::min(left.known(a), right.known(b));
            const std::size_t equals = equalBytes(a, b, known);
            a += equals;
            b += equals;
            if (equals < known || *a == 0 || *b == 0) {
                return {a, b};
            }
            continue;
        }
        if (const std::uint64_t others = placesOfOthers(load(a), load(b)); others != 0) {
            return {a + firstPlace(others), b + firstPlace(others)};
        }
        a += blockBytes;
        b += blockBytes;
    }
}

// Many texts part at their first bytes. With two of them singly a list is sorted sooner than with none, by 15 %, and
// equal names are passed sooner than with four, by 30 %.
ZELK_STAGE TextPlaces passShared(const unsigned char *a, const unsigned char *b) {
    constexpr int singly = 2;
    for (int i = 0; i < singly; ++i, ++a, ++b) {
        if (*a != *b || *a == 0) {
            return {a, b};
        }
    }
    return passSharedLines(a, b);
}

ZELK_STAGE std::size_t alikeBytes(const unsigned char *a, const unsigned char *b, LesserDifferences &differences) {
    return plain::alikeBytesBy<passShared>(a, b, differences);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
