// The kernels for NEON (Advanced SIMD): 16 bytes at a time, every 64-bit Arm processor, and 32-bit ones that the build
// is for.
#include "kernels/set.h"

#include <arm_neon.h>

#define ZELK_KERNEL_SET neon

#include "kernels/plain/kernels.h"
#include "kernels/simd/neon.h"

namespace zelk::kernels {

const Kernels neonKernels = neon::plain::table;

} // namespace zelk::kernels
