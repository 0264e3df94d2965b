#include "kernels/byte_sets.h"

#include "detail/sink.h"
#include "kernels/byte_sets_dvb_portable.h"
#include "kernels/byte_sets_portable.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/byte_sets_avx512.h"
#include "kernels/byte_sets_dvb_avx512.h"
#endif

#include <climits>

namespace zelk::kernels {

unsigned int plainByteSetToUtf8(tables::ByteSet set, char *out, char *outEnd, const unsigned char *in,
                                const unsigned char *inEnd, const char *begin) {
    constexpr int upToTheZero = -1; // only a terminated text is longer than counts go
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    const unsigned int written = detail::convertUnits<detail::Utf8Sink>(
        out, static_cast<int>(outEnd - out), in, inEnd - in <= INT_MAX ? static_cast<int>(inEnd - in) : upToTheZero,
        [&codePoints](unsigned char byte) -> unsigned int { return codePoints[byte]; });
    return static_cast<unsigned int>(out - begin) + written;
}

} // namespace zelk::kernels
