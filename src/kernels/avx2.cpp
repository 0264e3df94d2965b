// The kernels for AVX2 (with BMI1, BMI2, POPCNT): 32 bytes at a time, desktop processors since 2013.
#include "kernels/set.h"

#include <immintrin.h>

#define ZELK_KERNEL_SET avx2

ZELK_TARGET_BEGIN("avx2,bmi,bmi2,popcnt")

#include "kernels/plain/kernels.h"
#include "kernels/simd/avx2.h"

#include "kernels/move/marked_sets_by_shuffle.h"
#include "kernels/move/sets_by_shuffle.h"
#include "kernels/move/units_to_utf8.h"
#include "kernels/move/utf8_to_units.h"
#include "kernels/scan/collation_by_lines.h"
#include "kernels/scan/wildcard_parts.h"
#include "kernels/scan/wildcards.h"
#include "kernels/scan/xml.h"

namespace zelk::kernels {

const Kernels avx2Kernels = {
    .bytesToUtf8 = avx2::bytesToUtf8,
    .bytesToUcs2 = avx2::bytesToUcs2,
    .cleanToUtf8 = avx2::cleanToUtf8,
    .cleanToUcs2 = avx2::cleanToUcs2,
    .markedToUtf8 = avx2::markedToUtf8,
    .markedToUcs2 = avx2::markedToUcs2,
    .lowFirstToUtf8 = avx2::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = avx2::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = avx2::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = avx2::ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = avx2::measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = avx2::measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = avx2::utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = avx2::utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = avx2::wellFormedUtf8,
    .copyCleanUtf8 = avx2::copyCleanUtf8,
    .measureUtf8 = avx2::measureUtf8,
    .passShared = avx2::passShared,
    .alikeBytes = avx2::alikeBytes,
    .matchWildcards = avx2::matchWildcards,
    .matchWildcardsInAnyCase = avx2::matchWildcardsInAnyCase,
    .escapeXml = avx2::escapeXml,
    .unescapeXml = avx2::unescapeXml,
    .escapedXmlLength = avx2::escapedXmlLength,
};

} // namespace zelk::kernels

ZELK_TARGET_END
