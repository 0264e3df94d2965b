#include "kernels/byte_sets.h"

#include "kernels/byte_sets_portable.h"
#include "kernels/dispatch.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/byte_sets_avx512.h"
#endif

namespace zelk::kernels {

Progress byteSetToUtf8(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out, std::size_t room) {
    return ZELK_CHOOSE((set, in, length, out, room), byteSetToUtf8);
}

void byteSetToUcs2(tables::ByteSet set, const unsigned char *in, std::size_t length, unsigned short *out) {
    ZELK_CHOOSE((set, in, length, out), byteSetToUcs2);
}

} // namespace zelk::kernels
