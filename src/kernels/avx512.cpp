// The kernels for AVX-512 (F, BW, DQ, VL, VBMI, VBMI2, with BMI1, BMI2, POPCNT): 64 bytes at a time, server and desktop
// processors since 2019.
#include "kernels/set.h"

#include <immintrin.h>

#define ZELK_KERNEL_SET avx512

ZELK_TARGET_BEGIN("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")

#include "kernels/move/marked_planes.h"
#include "kernels/move/planes.h"
#include "kernels/move/units_by_compress.h"
#include "kernels/move/utf8_by_compress.h"
#include "kernels/move/xml_by_compress.h"
#include "kernels/scan/collation.h"
#include "kernels/scan/wildcard_blocks.h"
#include "kernels/scan/wildcards.h"
#include "kernels/simd/avx512_texts.h"

namespace zelk::kernels {

const Kernels avx512Kernels = {
    .bytesToUtf8 = avx512::bytesToUtf8,
    .bytesToUcs2 = avx512::bytesToUcs2,
    .cleanToUtf8 = avx512::cleanToUtf8,
    .cleanToUcs2 = avx512::cleanToUcs2,
    .markedToUtf8 = avx512::markedToUtf8,
    .markedToUcs2 = avx512::markedToUcs2,
    .lowFirstToUtf8 = avx512::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = avx512::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = avx512::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = avx512::ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = avx512::measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = avx512::measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = avx512::utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = avx512::utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = avx512::wellFormedUtf8,
    .copyCleanUtf8 = avx512::copyCleanUtf8,
    .measureUtf8 = avx512::measureUtf8,
    .passShared = avx512::passShared,
    .alikeBytes = avx512::alikeBytes,
    .matchWildcards = avx512::matchWildcards,
    .matchWildcardsInAnyCase = avx512::matchWildcardsInAnyCase,
    .escapeXml = avx512::escapeXml,
    .unescapeXml = avx512::unescapeXml,
    .escapedXmlLength = avx512::escapedXmlLength,
};

} // namespace zelk::kernels

ZELK_TARGET_END
