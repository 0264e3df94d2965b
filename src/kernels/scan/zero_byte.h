// Where a text of bytes ends that a zero may end before its count. Nothing is read after the block that holds the zero.
#pragma once

#include "detail/words.h"
#include "kernels/plain/byte_sets.h"
#include "kernels/simd/lines.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// Up to so many bytes a text is looked through block by block; above, a call of the C library's search costs less.
inline constexpr std::size_t bytesLookedThrough = 256;

// What is looked for in a text: flags of a block, bits of a word, a byte.
struct Zeros {
    ZELK_OPERATION Flags in(Bytes bytes) { return equal(bytes, Bytes{}); }
    ZELK_OPERATION std::uint64_t in(std::uint64_t word) { return detail::zeroBytes(word); }
    ZELK_OPERATION bool is(unsigned char byte) { return byte == 0; }
};

struct ZerosAndOthersThanAscii {
    ZELK_OPERATION Flags in(Bytes bytes) { return lessSigned(bytes, repeatByte(0x01)); }
    ZELK_OPERATION std::uint64_t in(std::uint64_t word) { return detail::zeroBytes(word) | (word & detail::highBits); }
    ZELK_OPERATION bool is(unsigned char byte) { return byte == 0 || byte >= 0x80; }
};

// The bytes before the first that is looked for, of which all may be read, in fewer than a block.
template <class What>
ZELK_OPERATION std::size_t bytesBeforeInFew(const unsigned char *text, std::size_t length) {
    if (blockLanes == 2 && length >= laneBytes) {
        const std::size_t second = length - laneBytes;
        const std::uint64_t found = placesOf(What::in(loadHalves(text, text + second)));
        const std::size_t place = firstPlace(found);
        return found == 0 ? length : place < laneBytes ? place : second + place - laneBytes;
    }
    std::size_t at = 0;
    if (length >= detail::wordBytes) {
        const std::size_t second = length - detail::wordBytes;
        at = detail::firstByteOf(What::in(detail::wordAt(text)));
        if (at == detail::wordBytes) {
            at = second + detail::firstByteOf(What::in(detail::wordAt(text + second)));
        }
        return at;
    }
    while (at < length && !What::is(text[at])) {
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
    if (length < blockBytes) {
        return bytesBeforeInFew<What>(text, length);
    }
    const std::uint64_t found = placesOf(What::in(load(text + length - blockBytes)));
    return found == 0 ? length : length - blockBytes + firstPlace(found);
}

ZELK_OPERATION std::size_t bytesBeforeZero(const unsigned char *text, std::size_t length) {
    return length > bytesLookedThrough ? plain::bytesBeforeZero(text, length) : bytesBefore<Zeros>(text, length);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
