// The kernels for SSE4.1 (with SSSE3 and POPCNT): 16 bytes at a time, every x86-64 processor since 2008.
#include "kernels/set.h"

#include <immintrin.h>

#define ZELK_KERNEL_SET sse41

ZELK_TARGET_BEGIN("sse4.1,popcnt")

#include "kernels/plain/kernels.h"
#include "kernels/simd/sse41.h"

namespace zelk::kernels {

const Kernels sse41Kernels = sse41::plain::table;

} // namespace zelk::kernels

ZELK_TARGET_END
