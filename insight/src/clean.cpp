// The counts of clean.h: those of the processor.
#include "clean.h"
#include "clean/avx512.h"
#include "clean/portable.h"

#include <cstring>

#if defined(ZELK_INSIGHT_AVX512)
// GCOVR_EXCL_BR_START: as in avx512::isSupported()
#define ZELK_INSIGHT_CHOOSE(function, ...)                                                                             \
    (avx512::isSupported() ? avx512::function(__VA_ARGS__) : portable::function(__VA_ARGS__))
// GCOVR_EXCL_BR_STOP
#else
#define ZELK_INSIGHT_CHOOSE(function, ...) portable::function(__VA_ARGS__)
#endif

namespace zelk::insight {

Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    return ZELK_INSIGHT_CHOOSE(copyAscii, out, bytes, count, table);
}

Bytes kindOf(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(kindOf, bytes, count);
}

bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyUtf8, out, bytes, count);
}

bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyTwoByteAscii, out, bytes, count);
}

bool isPlainTwoByte(const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(isPlainTwoByte, bytes, count);
}

bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks) {
    return ZELK_INSIGHT_CHOOSE(isWholeTableText, bytes, count, text, length, marks);
}

bool isWholeText(const char *text, std::size_t length, std::size_t characters) {
    return ZELK_INSIGHT_CHOOSE(isWholeText, text, length, characters);
}

bool hasRare(const char *text, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(hasRare, text, count);
}

bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    return ZELK_INSIGHT_CHOOSE(copyUsualUtf8, out, bytes, count);
}

bool isSameUtf8(const unsigned char *bytes, const char *text, std::size_t count) {
    // Nothing but U+FFFD for what is malformed makes a text longer: without it, text of the same length is the same.
    return !hasRare(text, count) || (std::memcmp(bytes, text, count) == 0 && std::memchr(text, 0xED, count) == nullptr);
}

} // namespace zelk::insight
