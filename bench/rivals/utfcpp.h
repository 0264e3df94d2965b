// utfcpp, its checked functions.
#pragma once

#include "harness.h"

#if defined(BENCH_HAS_UTFCPP)
#include <utf8.h>
#endif

namespace zelk_bench {

#if defined(BENCH_HAS_UTFCPP)
inline void addUtfcpp(Conversion<unsigned short, char> &conversion) {
    conversion.rival("utfcpp", [](std::span<const unsigned short> text, char *out, std::size_t) {
        return static_cast<std::size_t>(utf8::utf16to8(text.begin(), text.end(), out) - out);
    });
}

inline void addUtfcpp(Conversion<char, unsigned short> &conversion) {
    conversion.rival("utfcpp", [](std::span<const char> text, unsigned short *out, std::size_t) {
        return static_cast<std::size_t>(utf8::utf8to16(text.begin(), text.end(), out) - out);
    });
}

inline void addUtfcppValidity(Cell &cell, const Texts<char> &texts) {
    cell.rival("utfcpp", texts.size(),
               [&texts](std::size_t i) { return utf8::is_valid(texts[i].begin(), texts[i].end()) ? 1 : 0; });
}

inline void addUtfcppWidth(Cell &cell, const Texts<char> &texts) {
    cell.rival("utfcpp", texts.size(),
               [&texts](std::size_t i) { return utf8::distance(texts[i].begin(), texts[i].end()); });
}
#else
inline void addUtfcpp(Conversion<unsigned short, char> &) {}
inline void addUtfcpp(Conversion<char, unsigned short> &) {}
inline void addUtfcppValidity(Cell &, const Texts<char> &) {}
inline void addUtfcppWidth(Cell &, const Texts<char> &) {}
#endif

} // namespace zelk_bench
