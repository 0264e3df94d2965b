// In which forms the kernels take UCS-2 and UTF-8 text.
#pragma once

namespace zelk::kernels {

// How the two bytes of a UCS-2 unit lie in memory.
enum class UnitOrder { LowFirst, HighFirst };

// What stops a conversion, besides zeros.
enum class Clean {
    Any,        // nothing: every other unit is converted
    NoControls, // U+0000 to U+001F, U+0080 to U+009F and their images from U+E080 on, which DVB text filters
};

// The least byte of ASCII that stops no conversion.
constexpr unsigned int leastAscii(Clean clean) {
    return clean == Clean::Any ? 0x01 : 0x20;
}

// The forms of UCS-2 that kernels take.
enum class UnitForm { LowFirst, HighFirst, CleanHighFirst };

constexpr UnitOrder orderOf(UnitForm form) {
    return form == UnitForm::LowFirst ? UnitOrder::LowFirst : UnitOrder::HighFirst;
}

constexpr Clean cleanOf(UnitForm form) {
    return form == UnitForm::CleanHighFirst ? Clean::NoControls : Clean::Any;
}

constexpr UnitForm formOf(UnitOrder order, Clean clean) {
    return clean == Clean::NoControls      ? UnitForm::CleanHighFirst
           : order == UnitOrder::HighFirst ? UnitForm::HighFirst
                                           : UnitForm::LowFirst;
}

// Whether U+FFC0 to U+FFFF are characters like others.
enum class Last { Taken, LeftOut };

constexpr bool isTaken(Last last, unsigned int unit) {
    return last == Last::Taken || unit < 0xFFC0;
}

constexpr bool isClean(Clean clean, unsigned int unit) {
    return clean == Clean::Any ? unit != 0
                               : unit >= 0x20 && (unit < 0x80 || (unit > 0x9F && (unit < 0xE080 || unit > 0xE09F)));
}

} // namespace zelk::kernels
