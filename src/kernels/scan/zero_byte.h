// Where a text of bytes ends that a zero may end before its count. Nothing is read after the block that holds the zero.
#pragma once

#include "detail/words.h"
#include "kernels/plain/byte_sets.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// Up to so many bytes a text is looked through block by block; above, a call of the C library's search costs less.
inline constexpr std::size_t bytesLookedThrough = 256;

// What is looked for in a text, and in how short ones: fewer bytes than a lane, or not.
struct Zeros {
    static constexpr bool inFew = true;
    ZELK_OPERATION Flags in(Bytes bytes) { return equal(bytes, Bytes{}); }
};

struct ZerosAndOthersThanAscii {
    static constexpr bool inFew = false;
    ZELK_OPERATION Flags in(Bytes bytes) { return lessSigned(bytes, repeatByte(0x01)); }
};

// The bytes before the first that is looked for, of which all may be read: in two lanes, which may overlap.
template <class What>
ZELK_OPERATION std::size_t bytesBeforeInLanes(const unsigned char *text, std::size_t length) {
    const std::size_t second = length - laneBytes;
    const std::uint64_t found = placesOf(What::in(loadHalves(text, text + second)));
    const std::size_t place = firstPlace(found);
    return found == 0 ? length : place < laneBytes ? place : second + place - laneBytes;
}

// Before the first zero in fewer bytes than a lane.
ZELK_OPERATION std::size_t bytesBeforeZeroInFew(const unsigned char *text, std::size_t length) {
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

// Aligned blocks are read, from the one that holds the first byte up to the first byte that is looked for, and up to
// the last byte.
template <class What>
ZELK_OPERATION std::size_t bytesBefore(const unsigned char *text, std::size_t length) {
    const auto foundAt = [](const unsigned char *block) { return placesOf(What::in(loadAligned(block))); };
    const std::size_t before = placeInLine(text);
    std::size_t next = blockBytes - before;
    if (next < length) {
        std::uint64_t found = foundAt(text - before) >> before * bitsPerPlace;
        if (found != 0) {
            return firstPlace(found);
        }
        for (; length - next > blockBytes; next += blockBytes) {
            found = foundAt(text + next);
            if (found != 0) {
                return next + firstPlace(found);
            }
        }
    }
    if (blockLanes == 2 && length < blockBytes && (!What::inFew || length >= laneBytes)) {
        return bytesBeforeInLanes<What>(text, length);
    }
    if (What::inFew && length < blockBytes) {
        return bytesBeforeZeroInFew(text, length);
    }
    const std::uint64_t found = placesOf(What::in(load(text + length - blockBytes)));
    return found == 0 ? length : length - blockBytes + firstPlace(found);
}

ZELK_OPERATION std::size_t bytesBeforeZero(const unsigned char *text, std::size_t length) {
    return length > bytesLookedThrough ? plain::bytesBeforeZero(text, length) : bytesBefore<Zeros>(text, length);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
