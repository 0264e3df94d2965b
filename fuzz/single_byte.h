// What the ISO 8859 and Windows targets share: a conversion must give, in both outputs and at every size, what the
// rule for a single character gives byte by byte. A zero byte ends the text.
#pragma once

#include "fuzz.h"

namespace fuzz {

struct SingleByteText {
    SingleByteText(const std::string &whole, bool isCounted)
        : text(upToZero(whole)), in(isCounted ? block(whole) : terminated(whole)),
          count(isCounted ? static_cast<int>(whole.size()) : -1) {}

    std::string text;
    std::unique_ptr<char[]> in;
    int count;
};

template <class Rule>
std::u16string byRule(const std::string &text, Rule rule) {
    std::u16string units;
    for (const char byte : text) {
        units += static_cast<char16_t>(rule(static_cast<unsigned char>(byte)));
    }
    return units;
}

// convert(out, size, in, count)
template <class Unit, class Convert, class Expected>
void checkSizes(const SingleByteText &text, int small, int ample, Convert convert, Expected expected) {
    for (const int size : {ample, small}) {
        Output<Unit> out(size);
        require(out.text(convert(out.data(), size, text.in.get(), text.count)) == expected(size), "the rule, by size");
    }
}

template <class ToUcs2, class ToUtf8>
void checkSingleByte(const SingleByteText &text, const std::u16string &units, int small, ToUcs2 toUcs2, ToUtf8 toUtf8) {
    const int length = static_cast<int>(units.size());
    checkSizes<unsigned short>(text, small, length + 1, toUcs2, [&](int size) { return cut(units, size); });
    checkSizes<char>(text, small, 3 * length + 1, toUtf8, [&](int size) { return utf8Of(units, size); });
}

// The scratch of the classes has no room for the terminator of a text that takes three bytes throughout.
inline bool classDropsLast(const SingleByteText &text, const std::u16string &units) {
    return utf8Of(units).size() == 3 * units.size() && text.text.size() == units.size();
}

} // namespace fuzz
