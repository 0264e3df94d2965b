// The kernels for WebAssembly with SIMD128: 16 bytes at a time. A module is sent before it runs: what few texts of a
// browser need is plain.
#include "kernels/set.h"

#include <wasm_simd128.h>

#define ZELK_KERNEL_SET wasm

#include "kernels/plain/kernels.h"
#include "kernels/simd/wasm.h"

#include "kernels/move/marked_sets_by_shuffle.h"
#include "kernels/move/sets_by_shuffle.h"
#include "kernels/move/units_to_utf8.h"
#include "kernels/move/utf8_to_units.h"
#include "kernels/scan/collation_by_lines.h"
#include "kernels/scan/wildcard_parts.h"
#include "kernels/scan/wildcards.h"

namespace zelk::kernels {

const Kernels wasmKernels = {
    .bytesToUtf8 = wasm::bytesToUtf8,
    .bytesToUcs2 = wasm::bytesToUcs2,
    .cleanToUtf8 = wasm::cleanToUtf8,
    .cleanToUcs2 = wasm::cleanToUcs2,
    .markedToUtf8 = wasm::markedToUtf8,
    .markedToUcs2 = wasm::markedToUcs2,
    .lowFirstToUtf8 = wasm::plain::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = wasm::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = wasm::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = wasm::ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = wasm::measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = wasm::measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = wasm::utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = wasm::utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = wasm::wellFormedUtf8,
    .copyCleanUtf8 = wasm::copyCleanUtf8,
    .measureUtf8 = wasm::plain::measureUtf8,
    .passShared = wasm::passShared,
    .alikeBytes = wasm::alikeBytes,
    .matchWildcards = wasm::matchWildcards,
    .matchWildcardsInAnyCase = wasm::plain::matchWildcardsInAnyCase,
    .escapeXml = wasm::plain::escapeXml,
    .unescapeXml = wasm::plain::unescapeXml,
    .escapedXmlLength = wasm::plain::escapedXmlLength,
};

} // namespace zelk::kernels
