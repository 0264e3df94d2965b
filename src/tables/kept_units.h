// The order of bytes that compresses eight units: for each byte of bits, one a unit, that of the first one lowest, the
// units without a set bit move to the front, in their order.
#pragma once

#include "tables/derived.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

struct KeptUnits {
    static constexpr std::size_t units = 8;

    alignas(16) std::array<std::array<std::uint8_t, 2 * units>, 256> order; // of bytes; 0x80 gives a zero
    std::array<std::uint8_t, 256> count;                                    // of the units that are kept
};

ZELK_DERIVING KeptUnits keptUnitsByBits() {
    KeptUnits result{};
    for (std::size_t leftOut = 0; leftOut < result.order.size(); ++leftOut) {
        std::array<std::uint8_t, 2 *KeptUnits::units> &order = result.order[leftOut];
        order.fill(0x80);
        std::size_t count = 0;
        for (std::size_t unit = 0; unit < KeptUnits::units; ++unit) {
            if ((leftOut >> unit & 1U) == 0) {
                order[2 * count] = static_cast<std::uint8_t>(2 * unit);
                order[2 * count + 1] = static_cast<std::uint8_t>(2 * unit + 1);
                ++count;
            }
        }
        result.count[leftOut] = static_cast<std::uint8_t>(count);
    }
    return result;
}

inline ZELK_DERIVED KeptUnits keptUnits = keptUnitsByBits();

} // namespace zelk::tables
