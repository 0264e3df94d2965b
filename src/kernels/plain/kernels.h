// The kernels by words of eight bytes, as a table: what a set takes for the functions that it has no own ones for.
#pragma once

#include "kernels/plain/byte_sets.h"
#include "kernels/plain/collation.h"
#include "kernels/plain/marked_sets.h"
#include "kernels/plain/ucs2.h"
#include "kernels/plain/utf8.h"
#include "kernels/plain/wildcards.h"
#include "kernels/plain/xml.h"

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

inline constexpr Kernels table = {
    .bytesToUtf8 = bytesToUtf8,
    .bytesToUcs2 = bytesToUcs2,
    .cleanToUtf8 = cleanToUtf8,
    .cleanToUcs2 = cleanToUcs2,
    .markedToUtf8 = markedToUtf8,
    .markedToUcs2 = markedToUcs2,
    .lowFirstToUtf8 = ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = wellFormedUtf8,
    .copyCleanUtf8 = copyCleanUtf8,
    .measureUtf8 = measureUtf8,
    .passShared = passShared,
    .alikeBytes = alikeBytes,
    .matchWildcards = matchWildcards,
    .matchWildcardsInAnyCase = matchWildcardsInAnyCase,
    .escapeXml = escapeXml,
    .unescapeXml = unescapeXml,
    .escapedXmlLength = escapedXmlLength,
};

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
