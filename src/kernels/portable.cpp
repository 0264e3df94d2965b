// The kernels of every machine: words of eight bytes.
#include "kernels/set.h"

#define ZELK_KERNEL_SET portable

#include "kernels/plain/kernels.h"

namespace zelk::kernels {

const Kernels portableKernels = portable::plain::table;

} // namespace zelk::kernels
