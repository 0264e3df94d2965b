#include "kernels/xml.h"

#include "kernels/dispatch.h"
#include "kernels/xml_portable.h"
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/xml_avx512.h"
#endif

namespace zelk::kernels {

unsigned int escapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                            XmlConversion otherwise) {
    return ZELK_CHOOSE((text, length, out, room, otherwise), escapeShortXml);
}

unsigned int unescapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                              XmlConversion otherwise) {
    return ZELK_CHOOSE((text, length, out, room, otherwise), unescapeShortXml);
}

Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    return ZELK_CHOOSE((text, length, out, room), escapeXml);
}

Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room) {
    return ZELK_CHOOSE((text, length, out, room), unescapeXml);
}

std::uint64_t escapedXmlLength(const char *text, std::size_t length) {
    return ZELK_CHOOSE((text, length), escapedXmlLength);
}

} // namespace zelk::kernels
