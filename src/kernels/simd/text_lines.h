// Lines of a terminated text, looked at whole: a terminator in them ends the text, and no other line is read.
#pragma once

#include "kernels/simd/lines.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::kernels::ZELK_KERNEL_SET {

static_assert(lineBytes * bitsPerPlace <= 64, "the places of a line are bits of one number");

using Line = std::array<Bytes, lineBytes / blockBytes>;

ZELK_OPERATION const unsigned char *lineStart(const unsigned char *at) {
    return at - placeInLine(at);
}

// The line that starts here, of which some byte belongs to a text. The sanitizers, who know no lines, do not see this.
[[maybe_unused]] __attribute__((no_sanitize("address", "thread"))) static inline Line
lineAt(const unsigned char *start) {
    Line line;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < line.size(); ++i) {
        line[i] = reinterpret_cast<const AlignedBytes *>(start)[i];
    }
    return line;
}

// The places of a line whose bytes a condition is true for.
template <class Condition>
ZELK_OPERATION std::uint64_t placesIn(const Line &line, Condition condition) {
    std::uint64_t places = 0;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < line.size(); ++i) {
        places |= placesOf(condition(line[i])) << i * blockBytes * bitsPerPlace;
    }
    return places;
}

// All places but the first `count`, which are less than all.
ZELK_OPERATION std::uint64_t placesFrom(std::size_t count) {
    return ~std::uint64_t{0} << count * bitsPerPlace;
}

ZELK_OPERATION Flags areZero(Bytes bytes) {
    return equal(bytes, Bytes{});
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
