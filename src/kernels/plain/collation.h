// Texts side by side: memchr finds how far both reach and reads nothing after a terminator; inside
// that, eight bytes at a time. Characters of ASCII that are only alike are looked at one by one.
#pragma once

#include "kernels/kernels.h"
#include "kernels/plain/operations.h"

#include <cstdint>
#include <cstring>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

// The bytes before the terminator, at most `limit`.
inline std::size_t boundedLength(const unsigned char *text, std::size_t limit) {
    const void *end = std::memchr(text, 0, limit);
    return end != nullptr ? static_cast<std::size_t>(static_cast<const unsigned char *>(end) - text) : limit;
}

inline std::size_t countEqual(const unsigned char *a, const unsigned char *b, std::size_t count) {
    std::size_t equal = 0;
    for (; count - equal >= wordBytes; equal += wordBytes) {
        const std::uint64_t different = wordAt(a + equal) ^ wordAt(b + equal);
        if (different != 0) {
            return equal + firstByteOf(different);
        }
    }
    while (equal < count && a[equal] == b[equal]) {
        ++equal;
    }
    return equal;
}

// The search for a terminator runs ahead in growing blocks, after the first few bytes, where most texts part.
ZELK_STAGE std::size_t sharedBytes(const unsigned char *a, const unsigned char *b) {
    constexpr std::size_t singly = 4;
    std::size_t shared = 0;
    while (shared < singly) {
        if (a[shared] != b[shared] || a[shared] == 0) {
            return shared;
        }
        ++shared;
    }
    for (std::size_t block = 64;; block *= 2) {
        const std::size_t room = boundedLength(b + shared, boundedLength(a + shared, block));
        const std::size_t equal = countEqual(a + shared, b + shared, room);
        shared += equal;
        if (equal < block) {
            return shared;
        }
    }
}

ZELK_STAGE TextPlaces passShared(const unsigned char *a, const unsigned char *b) {
    const std::size_t shared = sharedBytes(a, b);
    return {a + shared, b + shared};
}

// Equal bytes are passed by another function.
template <TextPlaces pass(const unsigned char *, const unsigned char *)>
ZELK_OPERATION std::size_t alikeBytesBy(const unsigned char *a, const unsigned char *b,
                                        LesserDifferences &differences) {
    constexpr int promising = 4; // equal bytes in a row: many more may be
    int equal = 0;
    for (std::size_t passed = 0;; ++passed) {
        const unsigned int left = a[passed];
        const unsigned int right = b[passed];
        if (left == right) {
            if (left == 0) {
                return passed;
            }
            if (++equal == promising) {
                passed = static_cast<std::size_t>(pass(a + passed, b + passed).left - a) - 1;
                equal = 0;
            }
            continue;
        }
        equal = 0;
        if ((left | right) >= 0x80 || left == 0 || right == 0) {
            return passed;
        }
        const std::uint32_t leftKey = tables::collationKeyOf(left);
        const std::uint32_t rightKey = tables::collationKeyOf(right);
        if (tables::mainOf(leftKey ^ rightKey) != 0 || tables::expansionOf(leftKey | rightKey) != 0) {
            return passed;
        }
        differences.note(leftKey, rightKey);
    }
}

ZELK_STAGE std::size_t alikeBytes(const unsigned char *a, const unsigned char *b, LesserDifferences &differences) {
    return alikeBytesBy<passShared>(a, b, differences);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
