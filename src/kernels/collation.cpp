#include "kernels/collation.h"

#include "kernels/collation_portable.h"
#include "kernels/dispatch.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/collation_avx512.h"
#endif

namespace zelk::kernels {

int compareBehindShared(const unsigned char *a, const unsigned char *b, CompareBehind *compare) {
    return ZELK_CHOOSE((a, b, compare), compareBehindShared);
}

std::size_t alikeBytes(const unsigned char *a, const unsigned char *b, LesserDifferences &differences) {
    return ZELK_CHOOSE((a, b, differences), alikeBytes);
}

} // namespace zelk::kernels
