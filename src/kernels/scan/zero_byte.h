// Where a text of bytes ends that a zero may end before its count. Nothing is read after the block that holds the zero.
#pragma once

#include "detail/words.h"
#include "kernels/plain/byte_sets.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// Up to so many bytes a text is looked through block by block; above, a call of the C library's search costs less.
inline constexpr std::size_t bytesLookedThrough = 256;

// The bytes before a zero, of which all may be read, in fewer than a block.
ZELK_OPERATION std::size_t bytesBeforeZeroInFew(const unsigned char *text, std::size_t length) {
    if (blockLanes == 2 && length >= laneBytes) {
        const std::size_t second = length - laneBytes;
        const std::uint64_t zeros = placesOf(equal(loadHalves(text, text + second), Bytes{}));
        const std::size_t place = firstPlace(zeros);
        return zeros == 0 ? length : place < laneBytes ? place : second + place - laneBytes;
    }
    std::size_t at = 0;
    if (length >= detail::wordBytes) {
        const std::size_t second = length - detail::wordBytes;
        at = detail::firstByteOf(detail::zeroBytes(detail::wordAt(text)));
        if (at == detail::wordBytes) {
            at = second + detail::firstByteOf(detail::zeroBytes(detail::wordAt(text + second)));
        }
        return at;
    }
    while (at < length && text[at] != 0) {
        ++at;
    }
    return at;
}

// Aligned blocks are read, from the one that holds the first byte up to the first zero, and up to the last byte.
ZELK_OPERATION std::size_t bytesBeforeZero(const unsigned char *text, std::size_t length) {
    if (length > bytesLookedThrough) {
        return plain::bytesBeforeZero(text, length);
    }
    const auto zerosAt = [](const unsigned char *block) { return placesOf(equal(loadAligned(block), Bytes{})); };
    const std::size_t before = placeInLine(text);
    std::size_t next = blockBytes - before;
    if (next < length) {
        std::uint64_t zeros = zerosAt(text - before) >> before * bitsPerPlace;
        if (zeros != 0) {
            return firstPlace(zeros);
        }
        for (; length - next > blockBytes; next += blockBytes) {
            zeros = zerosAt(text + next);
            if (zeros != 0) {
                return next + firstPlace(zeros);
            }
        }
    }
    if (length < blockBytes) {
        return bytesBeforeZeroInFew(text, length);
    }
    const std::uint64_t zeros = placesOf(equal(load(text + length - blockBytes), Bytes{}));
    return zeros == 0 ? length : length - blockBytes + firstPlace(zeros);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
