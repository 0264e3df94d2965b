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
#include "tables/dvb_tables.h"

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

    // Of DVB text whose marks are those of ISO/IEC 6937, the same: also up to a mark that does not compose and to what
    // has no character. A mark in the last place is left. There is room for all: three bytes or one unit a character.
    Progress markedByteSetToUtf8(tables::ByteSet set, char *out, const unsigned char *in, const unsigned char *inEnd);
    Progress markedByteSetToUcs2(tables::ByteSet set, unsigned short *out, const unsigned char *in,
                                 const unsigned char *inEnd);

    // Counted DVB texts from beginning to end, terminator and all, by table: those without marks and those with these
    // marks. A text that is more than a stretch or might not fit is handed on.
    unsigned int cleanTextToUtf8(char *out, int outSize, const unsigned char *in, int length, tables::DvbTable table,
                                 unsigned int flags);
    unsigned int markedTextToUtf8(char *out, int outSize, const unsigned char *in, int length, tables::DvbTable table,
                                  unsigned int flags);
    unsigned int cleanTextToUcs2(unsigned short *out, int outSize, const unsigned char *in, int length,
                                 tables::DvbTable table, unsigned int flags);
    unsigned int markedTextToUcs2(unsigned short *out, int outSize, const unsigned char *in, int length,
                                  tables::DvbTable table, unsigned int flags);

)

// What such texts are handed on to: the loop of stretches and single characters of the DVB family, from the beginning
// or from behind a stretch.
unsigned int dvbTextToUtf8(char *out, int outSize, const unsigned char *in, int length, tables::DvbTable table,
                           unsigned int flags);
unsigned int dvbTextToUcs2(unsigned short *out, int outSize, const unsigned char *in, int length,
                           tables::DvbTable table, unsigned int flags);
unsigned int restOfDvbTextToUtf8(char *out, int outSize, const unsigned char *in, int length, tables::DvbTable table,
                                 unsigned int flags, Progress done);
unsigned int restOfDvbTextToUcs2(unsigned short *out, int outSize, const unsigned char *in, int length,
                                 tables::DvbTable table, unsigned int flags, Progress done);

// The plain loop, for whatever text and room: goes on at `out` and tells the bytes from `begin` on.
unsigned int plainByteSetToUtf8(tables::ByteSet set, char *out, char *outEnd, const unsigned char *in,
                                const unsigned char *inEnd, const char *begin);

} // namespace zelk::kernels
