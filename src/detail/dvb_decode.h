// A DVB string with its selector read, so that one selection serves both the bound and the decoding of the packets and
// of the converter class.
#pragma once

#include "zelk.h"

namespace zelk::detail {

struct DvbText {
    dvbCharSet_t charSet;
    DvbCode_t code;
    int extra;
    int count;                  // of the whole string, as the caller gave it
    int left;                   // of the bytes after the selector; negative: up to the terminator
    const unsigned char *bytes; // after the selector
};

// `in` must not be null. A selector longer than a counted string leaves an empty text, as does 0x1F in front of a
// terminator.
DvbText openDvbText(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra);

// Units or bytes that the decoding needs at most, the terminator not counted; 2147483647 stands for all above.
int ucs2Bound(const DvbText &text);
int utf8Bound(const DvbText &text);

unsigned int decodeToUcs2(const DvbText &text, unsigned short *out, int outSize, unsigned int flags);
unsigned int decodeToUtf8(const DvbText &text, char *out, int outSize, unsigned int flags);

// The size of a buffer for a bound: one more, for the terminator.
constexpr int withTerminator(int bound) {
    return bound < 0x7FFFFFFF ? bound + 1 : bound;
}

} // namespace zelk::detail
