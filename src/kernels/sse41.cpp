// The kernels for SSE4.1 (with SSSE3 and POPCNT): 16 bytes at a time, every x86-64 processor since 2008.
#include "kernels/set.h"

#include <immintrin.h>

#define ZELK_KERNEL_SET sse41

ZELK_TARGET_BEGIN("sse4.1,popcnt")

#include "kernels/plain/kernels.h"
#include "kernels/simd/sse41.h"

#include "kernels/move/marked_sets_by_shuffle.h"
#include "kernels/move/sets_by_shuffle.h"
#include "kernels/move/units_to_utf8.h"
#include "kernels/move/utf8_to_units.h"
#include "kernels/scan/collation_by_lines.h"
#include "kernels/scan/wildcard_parts.h"
#include "kernels/scan/wildcards.h"
#include "kernels/scan/xml.h"

namespace zelk::kernels {

const Kernels sse41Kernels = {
    .bytesToUtf8 = sse41::bytesToUtf8,
    .bytesToUcs2 = sse41::bytesToUcs2,
    .cleanToUtf8 = sse41::cleanToUtf8,
    .cleanToUcs2 = sse41::cleanToUcs2,
    .markedToUtf8 = sse41::markedToUtf8,
    .markedToUcs2 = sse41::markedToUcs2,
    .lowFirstToUtf8 = sse41::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = sse41::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = sse41::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = sse41::ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = sse41::measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = sse41::measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = sse41::utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = sse41::utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = sse41::wellFormedUtf8,
    .copyCleanUtf8 = sse41::copyCleanUtf8,
    .measureUtf8 = sse41::measureUtf8,
    .passShared = sse41::passShared,
    .alikeBytes = sse41::alikeBytes,
    .matchWildcards = sse41::matchWildcards,
    .matchWildcardsInAnyCase = sse41::matchWildcardsInAnyCase,
    .escapeXml = sse41::escapeXml,
    .unescapeXml = sse41::unescapeXml,
    .escapedXmlLength = sse41::escapedXmlLength,
};

} // namespace zelk::kernels

ZELK_TARGET_END
