// The kernels for AVX2 (with BMI1, BMI2, POPCNT): 32 bytes at a time, desktop processors since 2013.
#include "kernels/set.h"

#include <immintrin.h>

#define ZELK_KERNEL_SET avx2

ZELK_TARGET_BEGIN("avx2,bmi,bmi2,popcnt")

#include "kernels/plain/kernels.h"
#include "kernels/simd/avx2.h"

namespace zelk::kernels {

const Kernels avx2Kernels = avx2::plain::table;

} // namespace zelk::kernels

ZELK_TARGET_END
