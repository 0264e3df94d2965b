// Blocks of 16 bytes, in the vectors that compilers have for every machine, and names of up to four of them.
#pragma once

#include "clean.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::insight::portable {

using Lanes = std::uint8_t __attribute__((vector_size(16)));
using Signed = std::int8_t __attribute__((vector_size(16)));

inline constexpr std::size_t blockSize = sizeof(Lanes);

inline bool anyOf(Signed lanes) {
    std::uint64_t halves[2];
    std::memcpy(halves, &lanes, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

// kindOf() of a name, 16 to 64 bytes, without a loop; ASCII is copied. Unknown for another length.
[[gnu::always_inline]] inline Bytes copyName(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t blocks = 4;
    if (count - blockSize > (blocks - 1) * blockSize) {
        return Bytes::Unknown;
    }
    const std::size_t middle = count > 2 * blockSize ? blockSize : 0;
    const std::size_t places[blocks] = {0, middle, count - blockSize - middle, count - blockSize};
    Lanes name[blocks];
    Signed ascii = ~Signed{};
    Signed graphic = ascii;
    for (std::size_t i = 0; i < blocks; ++i) {
        std::memcpy(&name[i], bytes + places[i], blockSize);
        const Signed here = name[i] - 0x20 < 0x5F;
        ascii &= here;
        graphic &= here | (name[i] >= 0xA0);
    }
    if (anyOf(~ascii)) {
        return anyOf(~graphic) ? Bytes::Other : Bytes::Graphic;
    }
    for (std::size_t i = 0; i < blocks; ++i) {
        std::memcpy(out + places[i], &name[i], blockSize);
    }
    return Bytes::Ascii;
}

} // namespace zelk::insight::portable
