#include "kernels/utf8.h"

#include "kernels/dispatch.h"
#include "kernels/utf8_decode_portable.h"
#include "kernels/utf8_encode_portable.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/utf8_decode_avx512.h"
#include "kernels/utf8_encode_avx512.h"
#endif

namespace zelk::kernels {

template <UnitOrder order, Clean clean>
Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    return ZELK_CHOOSE((text, count, out, room), ucs2ToUtf8<order, clean>);
}

template <UnitOrder order>
unsigned int ucs2TextToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room) {
    return ZELK_CHOOSE((text, count, out, room), ucs2TextToUtf8<order>);
}

template <UnitOrder order>
Progress measureUcs2(const unsigned char *text, std::size_t count) {
    return ZELK_CHOOSE((text, count), measureUcs2<order>);
}

template <Clean clean>
Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room) {
    return ZELK_CHOOSE((text, count, out, room), ucs2ToNative<clean>);
}

template <Clean clean>
Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    return ZELK_CHOOSE((text, length, out, room), utf8ToUcs2<clean>);
}

unsigned int utf8TextToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room) {
    return ZELK_CHOOSE((text, length, out, room), utf8TextToUcs2);
}

template <Clean clean>
std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length) {
    return ZELK_CHOOSE((text, length), wellFormedUtf8<clean>);
}

template <Clean clean>
std::size_t copyWellFormedUtf8(const unsigned char *text, std::size_t length, char *out) {
    return ZELK_CHOOSE((text, length, out), copyWellFormedUtf8<clean>);
}

Progress measureUtf8(const unsigned char *text, std::size_t length) {
    return ZELK_CHOOSE((text, length), measureUtf8);
}

template unsigned int ucs2TextToUtf8<UnitOrder::LowFirst>(const unsigned char *, std::size_t, char *, std::size_t);
template unsigned int ucs2TextToUtf8<UnitOrder::HighFirst>(const unsigned char *, std::size_t, char *, std::size_t);
template Progress ucs2ToUtf8<UnitOrder::HighFirst, Clean::NoControls>(const unsigned char *, std::size_t, char *,
                                                                      std::size_t);
template Progress measureUcs2<UnitOrder::LowFirst>(const unsigned char *, std::size_t);
template Progress measureUcs2<UnitOrder::HighFirst>(const unsigned char *, std::size_t);
template Progress ucs2ToNative<Clean::NoControls>(const unsigned char *, std::size_t, unsigned short *, std::size_t);
template Progress utf8ToUcs2<Clean::Any>(const unsigned char *, std::size_t, unsigned short *, std::size_t);
template Progress utf8ToUcs2<Clean::NoControls>(const unsigned char *, std::size_t, unsigned short *, std::size_t);
template std::size_t wellFormedUtf8<Clean::Any>(const unsigned char *, std::size_t);
template std::size_t copyWellFormedUtf8<Clean::NoControls>(const unsigned char *, std::size_t, char *);

} // namespace zelk::kernels
