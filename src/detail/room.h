// How far the stated size of an output may be believed.
#pragma once

namespace zelk::detail {

// Kernels store whole blocks where the output has room for them. A size from here on is no buffer's: who states it says
// that the result fits, so that nothing but the result is written.
inline constexpr int leastNominalSize = 1 << 30;

constexpr bool isNominal(int outSize) {
    return outSize >= leastNominalSize;
}

} // namespace zelk::detail
