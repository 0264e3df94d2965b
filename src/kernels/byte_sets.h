// The kernels of the single-byte sets: text of one set to UTF-8 and to UCS-2.
//
// They serve every family whose text is one byte a character and whose lower half is ASCII. For names the way in and
// out costs as much as the work, so that a text passes through stages: each goes as far as it can and ends in a call of
// the next, the plain loop last.
//
// A zero byte ends a text before its end. Callers count beyond their terminators: a kernel reads no page that begins
// behind the zero byte.
#pragma once

#include "kernels/dispatch.h"
#include "kernels/progress.h"
#include "tables/byte_sets.h"

namespace zelk::kernels {

ZELK_OF_EACH_SET(

    // Terminates and tells the bytes. There is room for one byte and the terminator at least.
    unsigned int byteSetToUtf8(tables::ByteSet set, char *out, char *outEnd, const unsigned char *in,
                               const unsigned char *inEnd);

    // Terminates and tells the units. There is room for all of the text and the terminator.
    unsigned int byteSetToUcs2(tables::ByteSet set, unsigned short *out, const unsigned char *in,
                               const unsigned char *inEnd);

    // Of DVB text: up to the first control (0x00 to 0x1F, 0x80 to 0x9F), without a terminator, and to UTF-8 as far as
    // the text surely fits. Kernels differ in how far they go.
    Progress cleanByteSetToUtf8(tables::ByteSet set, char *out, char *outEnd, const unsigned char *in,
                                const unsigned char *inEnd);
    std::size_t cleanByteSetToUcs2(tables::ByteSet set, unsigned short *out, const unsigned char *in,
                                   const unsigned char *inEnd);

)

// The plain loop, for whatever text and room: goes on at `out` and tells the bytes from `begin` on.
unsigned int plainByteSetToUtf8(tables::ByteSet set, char *out, char *outEnd, const unsigned char *in,
                                const unsigned char *inEnd, const char *begin);

} // namespace zelk::kernels
