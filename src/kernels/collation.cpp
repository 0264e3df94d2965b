#include "kernels/collation.h"

#include "kernels/collation_portable.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/collation_avx512.h"
#endif
