// The kernels of the single-byte sets: text of one set to UTF-8 and to UCS-2, as far as it surely fits.
//
// They serve every family whose text is one byte a character. A set's lower half is ASCII and its text holds no zero
// byte; what does not surely fit is left to the plain loop, which knows the exact rule near the end of a buffer.
#pragma once

#include "kernels/progress.h"
#include "tables/byte_sets.h"

namespace zelk::kernels {

// `room` counts the terminator, which the kernel leaves to its caller. Every kernel of this page gives the same bytes
// for the text it consumes; they differ in how far they go before they leave the rest.
Progress byteSetToUtf8(tables::ByteSet set, const unsigned char *in, std::size_t length, char *out, std::size_t room);

// Converts all of the text: `out` holds `length` units.
void byteSetToUcs2(tables::ByteSet set, const unsigned char *in, std::size_t length, unsigned short *out);

} // namespace zelk::kernels
