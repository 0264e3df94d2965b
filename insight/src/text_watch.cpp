#include "text_watch.h"

#include "tables/dvb_marks.h"
#include "tables/dvb_tables.h"

#include <algorithm>
#include <array>

namespace zelk::insight {
namespace {

struct ScriptRange {
    unsigned int first;
    unsigned int last;
    Script script;
};

// Letters by the blocks of Unicode, in order.
constexpr ScriptRange scriptRanges[] = {
    {0x0041, 0x005A, Latin},      {0x0061, 0x007A, Latin},    {0x00AA, 0x00AA, Latin},    {0x00BA, 0x00BA, Latin},
    {0x00C0, 0x00D6, Latin},      {0x00D8, 0x00F6, Latin},    {0x00F8, 0x024F, Latin},    {0x0370, 0x03FF, Greek},
    {0x0400, 0x052F, Cyrillic},   {0x0531, 0x0587, Armenian}, {0x05D0, 0x05F2, Hebrew},   {0x0620, 0x065F, Arabic},
    {0x066E, 0x06EF, Arabic},     {0x06FA, 0x06FF, Arabic},   {0x0750, 0x077F, Arabic},   {0x08A0, 0x08FF, Arabic},
    {0x0900, 0x0963, Devanagari}, {0x0980, 0x09FF, Bengali},  {0x0A00, 0x0A7F, Gurmukhi}, {0x0A80, 0x0AFF, Gujarati},
    {0x0B80, 0x0BFF, Tamil},      {0x0C00, 0x0C7F, Telugu},   {0x0C80, 0x0CFF, Kannada},  {0x0D00, 0x0D7F, Malayalam},
    {0x0D80, 0x0DFF, Sinhala},    {0x0E01, 0x0E4E, Thai},     {0x0E80, 0x0EFF, Lao},      {0x10A0, 0x10FF, Georgian},
    {0x1100, 0x11FF, Hangul},     {0x1E00, 0x1EFF, Latin},    {0x1F00, 0x1FFF, Greek},    {0x3041, 0x30FF, Kana},
    {0x3130, 0x318F, Hangul},     {0x31F0, 0x31FF, Kana},     {0x3400, 0x4DBF, Han},      {0x4E00, 0x9FFF, Han},
    {0xAC00, 0xD7AF, Hangul},     {0xF900, 0xFAFF, Han},      {0xFB1D, 0xFB4F, Hebrew},   {0xFB50, 0xFDFF, Arabic},
    {0xFE70, 0xFEFC, Arabic},     {0xFF66, 0xFF9F, Kana},     {0x20000, 0x3FFFF, Han},
};

Script scriptOf(unsigned int codePoint) {
    const auto *const range =
        std::find_if(std::begin(scriptRanges), std::end(scriptRanges),
                     [codePoint](const ScriptRange &candidate) { return codePoint <= candidate.last; });
    return range != std::end(scriptRanges) && codePoint >= range->first ? range->script : NoScript;
}

// ---- Letters with marks ----

// The combining characters of Unicode beside the mark bytes of ISO/IEC 6937.
struct Mark {
    unsigned short combining;
    unsigned char byte;
};

constexpr Mark marks[] = {{0x0300, 0xC1}, {0x0301, 0xC2}, {0x0302, 0xC3}, {0x0303, 0xC4}, {0x0304, 0xC5},
                          {0x0306, 0xC6}, {0x0307, 0xC7}, {0x0308, 0xC8}, {0x030A, 0xCA}, {0x030B, 0xCD},
                          {0x030C, 0xCF}, {0x0327, 0xCB}, {0x0328, 0xCE}};

// The letters of Greek and Cyrillic (U+0370 to U+045F) that have a mark in a character of their own, by Unicode's
// canonical compositions: letters less U+0370, marks less U+0300.
struct Composed {
    unsigned char letter;
    unsigned char combining;
    unsigned char whole;
};

constexpr unsigned int firstGreek = 0x0370;
constexpr unsigned int firstCombining = 0x0300;

constexpr Composed otherComposed[] = {
    {0x21, 0x01, 0x16}, {0x25, 0x01, 0x18}, {0x27, 0x01, 0x19}, {0x29, 0x01, 0x1A}, {0x2F, 0x01, 0x1C},
    {0x35, 0x01, 0x1E}, {0x39, 0x01, 0x1F}, {0x5A, 0x01, 0x20}, {0x29, 0x08, 0x3A}, {0x35, 0x08, 0x3B},
    {0x41, 0x01, 0x3C}, {0x45, 0x01, 0x3D}, {0x47, 0x01, 0x3E}, {0x49, 0x01, 0x3F}, {0x5B, 0x01, 0x40},
    {0x49, 0x08, 0x5A}, {0x55, 0x08, 0x5B}, {0x4F, 0x01, 0x5C}, {0x55, 0x01, 0x5D}, {0x59, 0x01, 0x5E},
    {0x62, 0x01, 0x63}, {0x62, 0x08, 0x64}, {0xA5, 0x00, 0x90}, {0xA5, 0x08, 0x91}, {0xA3, 0x01, 0x93},
    {0x96, 0x08, 0x97}, {0xAA, 0x01, 0x9C}, {0xA8, 0x00, 0x9D}, {0xB3, 0x06, 0x9E}, {0xA8, 0x06, 0xA9},
    {0xC8, 0x06, 0xC9}, {0xC5, 0x00, 0xE0}, {0xC5, 0x08, 0xE1}, {0xC3, 0x01, 0xE3}, {0xE6, 0x08, 0xE7},
    {0xCA, 0x01, 0xEC}, {0xC8, 0x00, 0xED}, {0xD3, 0x06, 0xEE},
};

constexpr bool isCombiningMark(unsigned int codePoint) {
    return codePoint >= 0x0300 && codePoint <= 0x036F;
}

// Whether the two have a character of their own.
bool composes(unsigned int letter, unsigned int combining) {
    for (const Mark &mark : marks) {
        if (mark.combining == combining && letter < 0x80) {
            const unsigned int whole = tables::composeIn(tables::dvbMarks, tables::latinMarks, letter, mark.byte);
            return whole != 0 && whole != letter;
        }
    }
    return std::any_of(std::begin(otherComposed), std::end(otherComposed), [=](const Composed &composed) {
        return composed.letter == letter - firstGreek && composed.combining == combining - firstCombining;
    });
}

bool isPrecomposed(unsigned int codePoint) {
    constexpr unsigned int firstLetter = 0xC0; // the grid has marks alone, too
    const auto &grids = tables::dvbMarks.composed;
    const auto *const begin = grids.data() + tables::dvbMarks.sets[tables::latinMarks].grid + tables::latinColumns;
    const auto *const end = begin + std::size_t{tables::latinRows - 1} * tables::latinColumns;
    return codePoint >= firstLetter &&
           (std::find(begin, end, codePoint) != end ||
            std::any_of(std::begin(otherComposed), std::end(otherComposed),
                        [codePoint](const Composed &composed) { return composed.whole == codePoint - firstGreek; }));
}

constexpr bool isEmphasis(unsigned int code) {
    return code == 0x86 || code == 0x87;
}

constexpr bool isControlCode(unsigned int code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

} // namespace

void TextWatch::extendHigh(Span span, unsigned int textOffset, unsigned int textLength) {
    if (span.offset + span.length > firstHigh_ && span.offset <= lastHigh_) {
        if (high_.length == 0) {
            high_ = {span.offset, 0, textOffset, 0};
        }
        high_.extendTo(span, textOffset + textLength);
    }
}

void TextWatch::character(unsigned int codePoint, Span span, unsigned int textOffset, unsigned int textLength) {
    extendHigh(span, textOffset, textLength);
    if (isEmphasis(codePoint)) {
        return;
    }
    if (isControlCode(codePoint)) {
        plain_ = plain_ && codePoint == 0x0A;
        control(codePoint, span, textOffset, textLength);
        return;
    }
    controls_ = {};
    plain_ = plain_ && codePoint < 0x80;
    letter(codePoint, span, textOffset, textLength);
    composition(codePoint, span, textOffset, textLength);
}

void TextWatch::finding(const zelkInsightFinding &finding) {
    const bool known = finding.kind == ZelkInsightControlDropped || finding.kind == ZelkInsightEmphasisUnbalanced;
    plain_ = plain_ && (known || finding.kind < ZelkInsightByteUnassigned); // what is said of a selector comes first
    const Span span{finding.offset, finding.length};
    extendHigh(span, finding.textOffset, finding.textLength);
    if (finding.kind == ZelkInsightControlDropped) {
        control(finding.value, span, finding.textOffset, 0);
    } else if (!known) {
        controls_ = {}; // bytes that leave nothing are no control codes
    }
}

void TextWatch::control(unsigned int code, Span span, unsigned int textOffset, unsigned int textLength) {
    const bool adjacent = controls_.length != 0 && span.offset <= controls_.offset + controls_.length;
    if (adjacent && code == lastControlCode_ && doubled_.length == 0) {
        doubled_ = lastControl_;
        doubled_.extendTo(span, textOffset + textLength);
        doubledControl_ = code;
    }
    lastControl_ = {span.offset, span.length, textOffset, textLength};
    lastControlCode_ = code;
    if (controls_.length == 0) {
        controls_ = lastControl_;
    }
    controls_.extendTo(span, textOffset + textLength);
}

void TextWatch::letter(unsigned int codePoint, Span span, unsigned int textOffset, unsigned int textLength) {
    const Script script = scripts_ == NoScript ? NoScript : scriptOf(codePoint);
    if (script == NoScript) {
        return;
    }
    if ((script & scripts_) != 0) {
        ++ownLetters_;
        return;
    }
    ++(script == Latin ? latinLetters_ : otherLetters_);
    if (foreign_.length == 0) {
        foreign_ = {span.offset, 0, textOffset, 0};
        foreignLetter_ = codePoint;
    }
    foreign_.extendTo(span, textOffset + textLength);
}

void TextWatch::composition(unsigned int codePoint, Span span, unsigned int textOffset, unsigned int textLength) {
    if (isCombiningMark(codePoint) && decomposed_.length == 0 && composes(beforeCode_, codePoint)) {
        decomposed_ = {before_.offset, 0, beforeText_, 0};
        decomposed_.extendTo(span, textOffset + textLength);
    }
    precomposed_ = precomposed_ || (codePoint >= 0x80 && isPrecomposed(codePoint));
    before_ = span;
    beforeText_ = textOffset;
    beforeCode_ = codePoint;
}

// Names of stations and people are in Latin letters everywhere: a whole sentence of them is not.
Place TextWatch::foreignLetters() const {
    constexpr unsigned int fewOfOthers = 3;
    constexpr unsigned int fewOfLatin = 20;
    const bool foreign = ownLetters_ == 0 && (otherLetters_ >= fewOfOthers || latinLetters_ >= fewOfLatin);
    return foreign ? foreign_ : Place{};
}

} // namespace zelk::insight
