// Whether a decoded text can have findings at all, seen from counts of its bytes.
//
// A character table gives at most one character for a byte, and that is how a text without findings is known: no byte
// is without its character, and every mark has taken a letter. Then nothing has to be looked at one by one.
#pragma once

#include <cstddef>

namespace zelk::insight {

// Of the bytes of a string in a single-byte table.
struct StringCounts {
    std::size_t high = 0;  // 0x80 and more
    std::size_t marks = 0; // 0xC1 to 0xCF, the marks of ISO/IEC 6937 among them
    bool controls = false; // whether any is below 0x20 or 0x7F
};

// Of the bytes of its text in UTF-8.
struct TextCounts {
    std::size_t continuations = 0; // bytes that begin no character
    std::size_t high = 0;          // bytes of 0x80 and more, those among them
    std::size_t controls = 0;      // below 0x20
    bool rare = false;             // whether any is 0xED or 0xEF, with which surrogates and U+FFFD begin
};

// Whether all bytes are the graphic characters of ASCII.
bool isGraphicAscii(const unsigned char *bytes, std::size_t count);

// Whether all bytes are those or of 0xA0 and more.
bool isGraphic(const unsigned char *bytes, std::size_t count);

StringCounts countString(const unsigned char *bytes, std::size_t count);
TextCounts countText(const char *bytes, std::size_t count);

} // namespace zelk::insight
