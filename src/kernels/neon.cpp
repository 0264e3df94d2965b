// The kernels for NEON (Advanced SIMD): 16 bytes at a time, every 64-bit Arm processor, and 32-bit ones that the build
// is for.
#include "kernels/set.h"

#include <arm_neon.h>

#define ZELK_KERNEL_SET neon

#include "kernels/plain/kernels.h"
#include "kernels/simd/neon.h"

#include "kernels/move/marked_sets_by_shuffle.h"
#include "kernels/move/sets_by_shuffle.h"
#include "kernels/move/units_to_utf8.h"
#include "kernels/move/utf8_to_units.h"
#include "kernels/scan/collation_by_lines.h"
#include "kernels/scan/wildcard_parts.h"
#include "kernels/scan/wildcards.h"
#include "kernels/scan/xml.h"

namespace zelk::kernels {

const Kernels neonKernels = {
    .bytesToUtf8 = neon::bytesToUtf8,
    .bytesToUcs2 = neon::bytesToUcs2,
    .cleanToUtf8 = neon::cleanToUtf8,
    .cleanToUcs2 = neon::cleanToUcs2,
    .markedToUtf8 = neon::markedToUtf8,
    .markedToUcs2 = neon::markedToUcs2,
    .lowFirstToUtf8 = neon::ucs2ToUtf8<UnitOrder::LowFirst, Clean::Any>,
    .highFirstToUtf8 = neon::ucs2ToUtf8<UnitOrder::HighFirst, Clean::Any>,
    .cleanHighFirstToUtf8 = neon::ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>,
    .cleanHighFirstToNative = neon::ucs2ToNative<UnitOrder::HighFirst, Clean::NoControls>,
    .measureLowFirst = neon::measureUcs2<UnitOrder::LowFirst>,
    .measureHighFirst = neon::measureUcs2<UnitOrder::HighFirst>,
    .utf8ToUcs2 = neon::utf8ToUcs2<Clean::Any>,
    .cleanUtf8ToUcs2 = neon::utf8ToUcs2<Clean::NoControls>,
    .wellFormedUtf8 = neon::wellFormedUtf8,
    .copyCleanUtf8 = neon::copyCleanUtf8,
    .measureUtf8 = neon::measureUtf8,
    .passShared = neon::passShared,
    .alikeBytes = neon::alikeBytes,
    .matchWildcards = neon::matchWildcards,
    .matchWildcardsInAnyCase = neon::matchWildcardsInAnyCase,
    .escapeXml = neon::escapeXml,
    .unescapeXml = neon::unescapeXml,
    .escapedXmlLength = neon::escapedXmlLength,
};

} // namespace zelk::kernels
