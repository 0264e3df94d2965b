// The functions of clean.h for every machine, 16 bytes at a time.
#pragma once

#include "clean.h"

#include "tables/dvb_tables.h"

#include <cstddef>

namespace zelk::insight::portable {

// As in clean.h.
Bytes kindOf(const unsigned char *bytes, std::size_t count);
Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table);
bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count);
bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count);
bool isPlainTwoByte(const unsigned char *bytes, std::size_t count);
bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks);
bool isWholeText(const char *text, std::size_t length, std::size_t characters);
bool hasRare(const char *text, std::size_t count);
bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count);

// copyAscii() of what is known to be `kind`: Unknown, or as kindOf() says, and then Ascii is copied already.
Bytes copyAsciiAs(Bytes kind, char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table);

// Of graphic bytes: whether each has a character, and each mark a letter that wears it. Graphic where that is quicker
// to find out otherwise.
Bytes wholenessOf(const unsigned char *bytes, std::size_t count, tables::DvbTable table);

// Of two-byte text: Ascii, which is copied, Whole, or Other where that is not known.
inline Bytes judgeTwoByte(char *out, const unsigned char *bytes, std::size_t count) {
    if (count % 2 != 0) {
        return Bytes::Other;
    }
    return copyTwoByteAscii(out, bytes, count)        ? Bytes::Ascii
           : !compact && isPlainTwoByte(bytes, count) ? Bytes::Whole
                                                      : Bytes::Other;
}

} // namespace zelk::insight::portable
