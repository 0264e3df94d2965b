// What the rules of whole strings want to know of a text, collected while it is decoded.
#pragma once

#include "zelk_insight.h"

namespace zelk::insight {

// A stretch of the string; of compressed text its bits, counted from the first bit of the string.
struct Span {
    unsigned int offset;
    unsigned int length;
    unsigned int bitOffset = 0;
    unsigned int bitCount = 0;
};

// A place in the string and in its text; of length 0 as long as nothing is there.
struct Place {
    unsigned int offset = 0;
    unsigned int length = 0;
    unsigned int textOffset = 0;
    unsigned int textLength = 0;

    void extendTo(Span span, unsigned int textEnd) {
        length = span.offset + span.length - offset;
        textLength = textEnd - textOffset;
    }
};

// One bit each.
enum Script : unsigned int {
    NoScript = 0,
    Latin = 1U << 0U,
    Greek = 1U << 1U,
    Cyrillic = 1U << 2U,
    Armenian = 1U << 3U,
    Hebrew = 1U << 4U,
    Arabic = 1U << 5U,
    Devanagari = 1U << 6U,
    Bengali = 1U << 7U,
    Gurmukhi = 1U << 8U,
    Gujarati = 1U << 9U,
    Tamil = 1U << 10U,
    Telugu = 1U << 11U,
    Kannada = 1U << 12U,
    Malayalam = 1U << 13U,
    Sinhala = 1U << 14U,
    Thai = 1U << 15U,
    Lao = 1U << 16U,
    Georgian = 1U << 17U,
    Hangul = 1U << 18U,
    Kana = 1U << 19U,
    Han = 1U << 20U,
};

class TextWatch {
public:
    // `scripts` are those of the language, NoScript where it is not known; bytes from `firstHigh` to `lastHigh` are
    // those that tables differ about.
    TextWatch(unsigned int scripts, unsigned int firstHigh, unsigned int lastHigh)
        : scripts_(scripts), firstHigh_(firstHigh), lastHigh_(lastHigh) {}

    void character(unsigned int codePoint, Span span, unsigned int textOffset, unsigned int textLength);
    void finding(const zelkInsightFinding &finding);

    // Where the bytes stand that tables differ about.
    Place high() const { return high_; }
    // Control codes after which nothing comes; emphasis is none of them.
    Place trailingControls() const { return controls_; }
    // Two equal ones, and which.
    Place doubledControls() const { return doubled_; }
    unsigned int doubledControl() const { return doubledControl_; }
    // Whether the text is the graphic characters of ASCII and line feeds, with nothing to say of it.
    bool isPlain() const { return plain_; }
    // The first letter with its mark as two characters, where others have theirs in one.
    Place mixedComposition() const { return precomposed_ ? decomposed_ : Place{}; }
    // Letters that are not the language's, where none is; and the first of them.
    Place foreignLetters() const;
    unsigned int foreignLetter() const { return foreignLetter_; }

private:
    void extendHigh(Span span, unsigned int textOffset, unsigned int textLength);
    void control(unsigned int code, Span span, unsigned int textOffset, unsigned int textLength);
    void letter(unsigned int codePoint, Span span, unsigned int textOffset, unsigned int textLength);
    void composition(unsigned int codePoint, Span span, unsigned int textOffset, unsigned int textLength);

    unsigned int scripts_;
    unsigned int firstHigh_;
    unsigned int lastHigh_;
    Place high_;
    Place controls_;
    Place doubled_;
    Place decomposed_;
    Place foreign_;
    Span before_{}; // of the character before, for marks after it
    unsigned int beforeText_ = 0;
    unsigned int beforeCode_ = 0;
    Place lastControl_; // of the run in `controls_`
    unsigned int lastControlCode_ = 0;
    unsigned int doubledControl_ = 0;
    unsigned int foreignLetter_ = 0;
    unsigned int ownLetters_ = 0;
    unsigned int latinLetters_ = 0;
    unsigned int otherLetters_ = 0;
    bool plain_ = true;
    bool precomposed_ = false;
};

} // namespace zelk::insight
