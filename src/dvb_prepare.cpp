// The prepared form of a DVB string: the private selector 0x1D, then UTF-8. A string is decoded once, stored so, and
// passes every later conversion as a copy.
#include "detail/wrap.h"
#include "zelk.h"

#include <algorithm>
#include <climits>

namespace {

constexpr char preparedSelector = 0x1D;
constexpr int markerAndTerminator = 2;

} // namespace

int zelk_dvb8PrepUtf8Buffersize(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra) {
    const int bound = zelk_dvb8ToUtf8MaxLength(in, inLen, defaultCode, defaultExtra);
    return std::min(bound, INT_MAX - markerAndTerminator) + markerAndTerminator;
}

// Kept on purpose: a size of 1 gets the marker and, after it, the terminator.
unsigned int zelk_dvb8PrepUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in, int inLen,
                               DvbCode_t defaultCode, int defaultExtra, unsigned int flags) {
    if (in == nullptr || outSize < 1) {
        *out = 0;
        return 0;
    }
    *out = preparedSelector;
    return 1 + zelk_dvb8ToUtf8(charSet, out + 1, outSize - 1, in, inLen, defaultCode, defaultExtra, flags);
}

unsigned int zelk_dvbPrep8ToUtf8(char *out, int outSize, const char *in, int inLen) {
    if (in == nullptr || inLen == 0 || outSize < 1) {
        *out = 0;
        return 0;
    }
    auto length = static_cast<unsigned int>(inLen); // a negative count is no limit
    if (*in == preparedSelector) {
        ++in;
        --length;
    }
    return zelk_strlcpy(out, outSize, in, length);
}

CharPacket *zelkPreprocessDvbStringToUtf8(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                          int defaultExtra, unsigned int flags) {
    if (in == nullptr) {
        return nullptr;
    }
    const int size = zelk_dvb8PrepUtf8Buffersize(in, inLen, defaultCode, defaultExtra);
    CharPacket *packet = zelk::detail::newCharPacketHolding(static_cast<unsigned int>(size));
    return zelk::detail::filledPacket(packet, [=](char *chars, unsigned short /*capacity*/) {
        return zelk_dvb8PrepUtf8(charSet, chars, size, in, inLen, defaultCode, defaultExtra, flags);
    });
}
