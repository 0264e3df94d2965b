// How far the stated size of an output may be believed.
#pragma once

namespace zelk::detail {

// Kernels store whole blocks where the output has room for them. A size of 1 << 30 and more is no buffer's: who states
// it says that the result fits, so that nothing but the result is written. Half of that, so that what is left of such a
// size behind the front of a result is none of a buffer either.
inline constexpr int leastNominalSize = 1 << 29;

constexpr bool isNominal(int outSize) {
    return outSize >= leastNominalSize;
}

} // namespace zelk::detail
