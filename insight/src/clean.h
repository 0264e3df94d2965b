// Whether a decoded text can have findings at all, seen from counts of its bytes.
//
// A character table gives at most one character for a byte, and that is how a text without findings is known: no byte
// is without its character, and every mark has taken a letter. Then nothing has to be looked at one by one.
#pragma once

#include "tables/dvb_tables.h"

#include "zelk_insight.h"

#include <cstddef>

namespace zelk::insight {

// What is sent to its users does without a part of the quick ways.
#if defined(ZELK_COMPACT)
inline constexpr bool compact = true;
#else
inline constexpr bool compact = false;
#endif

enum class Bytes {
    Unknown,
    Ascii,   // the graphic characters of ASCII alone, which stand for themselves in every table
    Whole,   // those and bytes of 0xA0 and more, each with its character, each mark with a letter that wears it
    Graphic, // the same, but it is not known whether they are whole
    Faulty,  // the same, and they are not
    Other
};

// Of a string in a table of bytes. ASCII is copied, which is all there is to do for it: `out` has room for all of it.
Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table);

// What copyAscii() says, without a copy, without Whole and Faulty.
Bytes kindOf(const unsigned char *bytes, std::size_t count);

// Copies UTF-8 that has no control codes and nothing above U+FFFF. False where it may have, or where it is quicker to
// find out otherwise; `out` has room for all, and what is written then is the beginning of the text.
bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count);

// Copies two-byte characters that all are graphic ones of ASCII. False where one is not, and then a part of those
// before it may be written, which are the text's in any case; `out` has room for all.
bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count);

// Whether a whole number of two-byte characters has no control code, none of their images and no surrogate.
bool isPlainTwoByte(const unsigned char *bytes, std::size_t count);

// Whether the text in UTF-8 of a string in a single-byte table has a character for each byte, where `marks` says that a
// mark (0xC1 to 0xCF) and its letter count as one. False where it may hold a surrogate or U+FFFD, too.
bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks);

// Whether a text of `characters` characters in UTF-8 may hold neither a surrogate nor U+FFFD.
bool isWholeText(const char *text, std::size_t length, std::size_t characters);

// Whether a text in UTF-8 may hold a surrogate or U+FFFD.
bool hasRare(const char *text, std::size_t count);

// Copies UTF-8 without a zero byte; `out` has room for all. False for some that is, as where it has characters above
// U+FFFF, and then what is written is to be written once more.
bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count);

// Whether a text of UTF-8 is the string that it was decoded from, `count` bytes each, and may hold no surrogate.
bool isSameUtf8(const unsigned char *bytes, const char *text, std::size_t count);

} // namespace zelk::insight
