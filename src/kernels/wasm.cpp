// The kernels for WebAssembly with SIMD128: 16 bytes at a time.
#include "kernels/set.h"

#include <wasm_simd128.h>

#define ZELK_KERNEL_SET wasm

#include "kernels/plain/kernels.h"
#include "kernels/simd/wasm.h"

#include "kernels/move/units_to_utf8.h"
#include "kernels/scan/wildcards.h"

namespace zelk::kernels {

const Kernels wasmKernels = {
    .bytesToUtf8 = wasm::plain::bytesToUtf8,
    .bytesToUcs2 = wasm::plain::bytesToUcs2,
    .cleanToUtf8 = wasm::plain::cleanToUtf8,
    .cleanToUcs2 = wasm::plain::cleanToUcs2,
    .markedToUtf8 = wasm::plain::markedToUtf8,
    .markedToUcs2 = wasm::plain::markedToUcs2,
    .lowFirstToUtf8 = wasm::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = wasm::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = wasm::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = wasm::ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = wasm::measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = wasm::measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = wasm::plain::utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = wasm::plain::utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = wasm::plain::wellFormedUtf8<Clean::Any>,
    .copyCleanUtf8 = wasm::plain::copyWellFormedUtf8<Clean::NoControls>,
    .measureUtf8 = wasm::plain::measureUtf8,
    .sharedBytes = wasm::plain::sharedBytes,
    .alikeBytes = wasm::plain::alikeBytes,
    .matchWildcards = wasm::matchWildcards,
    .matchWildcardsInAnyCase = wasm::matchWildcardsInAnyCase,
    .escapeXml = wasm::plain::escapeXml,
    .unescapeXml = wasm::plain::unescapeXml,
    .escapedXmlLength = wasm::plain::escapedXmlLength,
};

} // namespace zelk::kernels
