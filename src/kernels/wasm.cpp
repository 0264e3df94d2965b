// The kernels for WebAssembly with SIMD128: 16 bytes at a time.
#include "kernels/set.h"

#include <wasm_simd128.h>

#define ZELK_KERNEL_SET wasm

#include "kernels/plain/kernels.h"
#include "kernels/simd/wasm.h"

namespace zelk::kernels {

const Kernels wasmKernels = wasm::plain::table;

} // namespace zelk::kernels
