// Where a text of bytes ends that a zero may end before its count. Of the line that holds the zero all is read, of the
// lines after it nothing.
#pragma once

#include "kernels/plain/byte_sets.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// The places of the zeros among 64 bytes, or the 16 of a line.
ZELK_OPERATION std::uint64_t zerosOfLine(const unsigned char *line) {
    std::uint64_t zeros = 0;
    for (std::size_t i = 0; i < lineBytes / blockBytes; ++i) {
        zeros |= placesOf(equal(loadAligned(line + i * blockBytes), Bytes{})) << i * blockBytes * bitsPerPlace;
    }
    return zeros;
}

// Up to so many bytes a text is looked through line by line; above, a call of the C library's search costs less.
inline constexpr std::size_t linesLookedThrough = 4;

ZELK_OPERATION std::size_t bytesBeforeZero(const unsigned char *text, std::size_t length) {
    if (length == 0 || length > linesLookedThrough * lineBytes) {
        return plain::bytesBeforeZero(text, length);
    }
    const std::size_t place = placeInLine(text);
    std::uint64_t zeros = zerosOfLine(text - place) >> place * bitsPerPlace;
    std::size_t checked = 0;
    std::size_t next = lineBytes - place;
    while (zeros == 0 && next < length) {
        checked = next;
        next += lineBytes;
        zeros = zerosOfLine(text + checked);
    }
    return zeros == 0 ? length : std::min(length, checked + firstPlace(zeros));
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
