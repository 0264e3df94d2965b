// Where a text of bytes ends that a zero may end before its count. Nothing is read after the block that holds
// the zero.
#pragma once

#include "kernels/plain/byte_sets.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// Up to so many bytes a text is looked through line by line; above, a call of the C library's search costs less.
inline constexpr std::size_t linesLookedThrough = 4;

// Blocks are read from the one that holds the first byte up to the first zero, or to the one that holds the last byte.
ZELK_OPERATION std::size_t bytesBeforeZero(const unsigned char *text, std::size_t length) {
    if (length == 0 || length > linesLookedThrough * lineBytes) {
        return plain::bytesBeforeZero(text, length);
    }
    const auto zerosAt = [](const unsigned char *block) { return placesOf(equal(loadAligned(block), Bytes{})); };
    const std::size_t inBlock = reinterpret_cast<std::uintptr_t>(text) % blockBytes;
    std::uint64_t zeros = zerosAt(text - inBlock) >> inBlock * bitsPerPlace;
    std::size_t checked = 0;
    for (std::size_t next = blockBytes - inBlock; zeros == 0 && next < length; next += blockBytes) {
        checked = next;
        zeros = zerosAt(text + next);
    }
    return zeros == 0 ? length : std::min(length, checked + firstPlace(zeros));
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
