// Character classes (CharClass bits) of U+0000 to U+20F0, one row for each combination of bits.
//
// The rows are the library's own choice and narrower than Unicode's general categories: Latin Extended and IPA are
// letters as a whole, Armenian to Greek Extended have no class, nor have U+2020 to U+2027. What no row names, and all
// above U+20F0, is class 0.
//
// 27 distinct pages of 32 code points serve 264: 2 KB.
#pragma once

#include "tables/page_table.h"
#include "zelk.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace zelk::tables {

inline constexpr unsigned int lastClassified = 8432; // U+20F0; above it nothing is looked up

struct CodeRange {
    consteval CodeRange(unsigned int only) : first(only), last(only) {}
    consteval CodeRange(unsigned int from, unsigned int to) : first(from), last(to) {}
    unsigned int first;
    unsigned int last;
};

inline constexpr std::size_t classPageSize = 32;
using CharClasses = std::array<std::uint16_t, (lastClassified / classPageSize + 1) * classPageSize>;

// clang-format off
consteval CharClasses expandClasses() {
    CharClasses classes{};
    const auto paint = [&classes](unsigned int bits, std::initializer_list<CodeRange> ranges) {
        for (const CodeRange range : ranges) {
            for (unsigned int code = range.first; code <= range.last; ++code) {
                if (classes[code] != 0) {
                    throw "named twice";
                }
                classes[code] = static_cast<std::uint16_t>(bits);
            }
        }
    };

    paint(CharClassDigit, {{0x0030, 0x0039}});
    paint(CharClassLetter, {
        {0x0041, 0x005A}, {0x0061, 0x007A}, {0x00C0, 0x00D6}, {0x00D8, 0x00F6}, {0x00F8, 0x02AF}, {0x0370, 0x0373},
        {0x0376, 0x0377}, {0x0386}, {0x0388, 0x038A}, {0x038C}, {0x038E, 0x03A1}, {0x03A3, 0x03CE}, {0x03D8, 0x03EF},
        {0x03F3}, {0x03F7, 0x03F8}, {0x03FA, 0x03FB}, {0x0400, 0x0481}, {0x048A, 0x04FF}, {0x1E00, 0x1EFF}});
    paint(CharClassPunctuation, {
        {0x0022}, {0x0027}, {0x005F}, {0x007E}, {0x00B7}, {0x0374, 0x0375}, {0x2011, 0x2017}, {0x2030, 0x2031},
        {0x2038}, {0x204F}, {0x2052}, {0x2056}, {0x2058, 0x205A}, {0x20A1}});
    paint(CharClassSpace, {{0x0020}, {0x00A0}, {0x2002, 0x200A}, {0x202F}, {0x205F}});
    paint(CharClassPunctuation | CharClassOpening, {
        {0x0028}, {0x005B}, {0x007B}, {0x00A1}, {0x00AB}, {0x00BF}, {0x2018}, {0x201A}, {0x201C}, {0x201E},
        {0x2035, 0x2037}, {0x2039}});
    paint(CharClassPunctuation | CharClassClosing, {
        {0x0029}, {0x005D}, {0x007D}, {0x00BB}, {0x2019}, {0x201B}, {0x201D}, {0x201F}, {0x2032, 0x2034}, {0x203A}});
    paint(CharClassBreak, {{0x00AD}});
    paint(CharClassPunctuation | CharClassBreak, {{0x002D}, {0x002F}, {0x2010}});
    paint(CharClassPunctuation | CharClassStop, {{0x002C}, {0x002E}, {0x003A, 0x003B}, {0x037E}});
    paint(CharClassPunctuation | CharClassClosing | CharClassStop, {{0x0021}, {0x003F}});
    paint(CharClassSymbol, {
        {0x0023, 0x0026}, {0x002A, 0x002B}, {0x003D}, {0x0040}, {0x005C}, {0x007C}, {0x007F}, {0x00A2, 0x00A7},
        {0x00A9}, {0x00AC}, {0x00AE}, {0x00B0, 0x00B1}, {0x00B6}, {0x00BC, 0x00BE}, {0x00D7}, {0x00F7}, {0x0482},
        {0x2000, 0x2001}, {0x20A0}, {0x20A2, 0x20B9}});
    paint(CharClassLetter | CharClassSymbol, {
        {0x00AA}, {0x00B5}, {0x00BA}, {0x037B, 0x037D}, {0x03CF, 0x03D7}, {0x03F0, 0x03F2}, {0x03F4, 0x03F6},
        {0x03F9}, {0x03FC, 0x03FF}});
    paint(CharClassPunctuation | CharClassOpening | CharClassSymbol, {{0x003C}});
    paint(CharClassPunctuation | CharClassClosing | CharClassSymbol, {{0x003E}});
    paint(CharClassMark, {{0x034F}, {0x20D0, 0x20DC}, {0x20E1}, {0x20E5, 0x20E6}, {0x20E8, 0x20F0}});
    paint(CharClassLetter | CharClassMark, {{0x02B0, 0x02B8}, {0x02E0, 0x02E3}, {0x0363, 0x036F}});
    paint(CharClassSymbol | CharClassMark, {{0x0488, 0x0489}, {0x20DD, 0x20E0}, {0x20E2, 0x20E4}, {0x20E7}});
    paint(CharClassModifier, {
        {0x005E}, {0x0060}, {0x00A8}, {0x00AF}, {0x00B4}, {0x00B8}, {0x02C7}, {0x02D8, 0x02DD}, {0x037A},
        {0x0384, 0x0385}, {0x0387}});
    paint(CharClassMark | CharClassModifier, {
        {0x02B9, 0x02C6}, {0x02C8, 0x02D7}, {0x02DE, 0x02DF}, {0x02E4, 0x034E}, {0x0350, 0x0362}, {0x0483, 0x0487}});
    paint(CharClassFormat, {{0x200D, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x2064}, {0x206A, 0x206F}});
    paint(CharClassSpace | CharClassBreak | CharClassFormat, {{0x200B, 0x200C}});
    paint(CharClassDigit | CharClassSubscript, {{0x2080, 0x2089}, {0x208B}});
    paint(CharClassLetter | CharClassSubscript, {{0x2090, 0x209C}});
    paint(CharClassPunctuation | CharClassOpening | CharClassSubscript, {{0x208D}});
    paint(CharClassPunctuation | CharClassClosing | CharClassSubscript, {{0x208E}});
    paint(CharClassSymbol | CharClassSubscript, {{0x208A}, {0x208C}});
    paint(CharClassDigit | CharClassSuperscript, {{0x00B2, 0x00B3}, {0x00B9}, {0x2070}, {0x2074, 0x2079}, {0x207B}});
    paint(CharClassLetter | CharClassSuperscript, {{0x2071}, {0x207F}});
    paint(CharClassPunctuation | CharClassOpening | CharClassSuperscript, {{0x207D}});
    paint(CharClassPunctuation | CharClassClosing | CharClassSuperscript, {{0x207E}});
    paint(CharClassSymbol | CharClassSuperscript, {{0x207A}, {0x207C}});
    paint(CharClassControl, {{0x0000, 0x001F}, {0x0080, 0x009F}});
    return classes;
}
// clang-format on

inline constexpr auto charClasses = inPages<classPageSize, []() { return expandClasses(); }>();

} // namespace zelk::tables
