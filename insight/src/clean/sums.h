// How two sums, of a string's bytes and of its text's, say that nothing of the string was lost.
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

// By the two sums: with all bytes of 0x80 and more accounted for by characters beyond ASCII, none of them was dropped;
// and then a mark that stands alone gives a character too many.
template <class Count>
inline bool isWhole(const TextCounts &out, std::size_t length, std::size_t count, bool marks, Count countOfString) {
    const std::size_t characters = length - out.continuations;
    if (out.rare || !marks) {
        return !out.rare && characters == count;
    }
    const StringCounts string = countOfString();
    const std::size_t highCharacters = out.high - out.continuations;
    return !string.controls && highCharacters + out.controls == string.high && characters == count - string.marks;
}

} // namespace zelk::insight
