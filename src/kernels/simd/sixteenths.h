// Tables of 128 bytes where a shuffle looks up 16 and gives zeros for all greater indices: eight shuffles.
#pragma once

namespace zelk::kernels::ZELK_KERNEL_SET {

// What a table of 128 bytes has for each byte from 0x80 on; zeros for ASCII.
ZELK_OPERATION Bytes lookUpUpper(const std::uint8_t (&table)[128], Bytes text) {
    Bytes found{};
#pragma GCC unroll 8
    for (unsigned int sixteenth = 0; sixteenth < 8; ++sixteenth) {
        found |= lookUp(load<Lane>(table + std::size_t{16} * sixteenth),
                        text ^ static_cast<std::uint8_t>(0x80 | sixteenth << 4U));
    }
    return found;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET

#include "kernels/simd/planes.h"
