// Wildcard patterns, and comparison that passes over control characters.
//
// Seen from its stars, a pattern is a head, pieces and a tail. The head lies at the start of the text and the tail at
// its end, so neither is searched for; the pieces follow each other between them, each taken where it fits first. That
// misses nothing: a piece covers the same number of bytes wherever it fits, so its first place leaves the longest rest
// of text; what follows in the pattern begins with a star, and what a star finds in a rest it finds in every longer
// rest. No place but the latest piece's is ever given up, so there is no recursion and time is at most text times
// pattern.
#include "zelk.h"

#include <cctype>
#include <cstddef>
#include <cstring>

namespace zelk::detail {

namespace {

using Byte = unsigned char;

// The C library's character tables, in the locale of the call. Only the low 7 bits of a byte tell a control character,
// so 0x80 to 0x9F and 0xFF are some too: kept on purpose.
class CharacterTables {
public:
#if defined(__GLIBC__)
    int lower(Byte byte) const {
        return lower_[byte];
    }
    bool isControl(Byte byte) const {
        return (classes_[byte & 0x7FU] & _IScntrl) != 0;
    }

private:
    const int *lower_ = *__ctype_tolower_loc();
    const unsigned short *classes_ = *__ctype_b_loc();
#else
    int lower(Byte byte) const {
        return std::tolower(byte);
    }
    bool isControl(Byte byte) const {
        return std::iscntrl(byte & 0x7F) != 0;
    }
#endif
};

// Rules tell what a variant passes over and which bytes it takes for equal.
class Exact {
public:
    static constexpr bool foldsBytes = false;
    static constexpr bool ignoresBytes = false;
    static int fold(Byte byte) { return byte; }
    static bool ignores(Byte /*byte*/) { return false; }
};

template <bool ignoreCase, bool ignoreControls>
class Lenient {
public:
    static constexpr bool foldsBytes = ignoreCase;
    static constexpr bool ignoresBytes = ignoreControls;
    int fold(Byte byte) const { return ignoreCase ? tables_.lower(byte) : byte; }
    bool ignores(Byte byte) const { return ignoreControls && tables_.isControl(byte); }

private:
    CharacterTables tables_;
};

using AnyCase = Lenient<true, false>;
using AnyControls = Lenient<false, true>;
using AnyCaseAndControls = Lenient<true, true>;

// A zero-terminated text read forward; it stands on a byte that counts, or on the terminator.
template <class Rules>
class Cursor {
public:
    Cursor(const Rules &rules, const char *text) : rules_(rules), at_(reinterpret_cast<const Byte *>(text)) {
        settle();
    }

    Byte operator*() const { return *at_; }
    Cursor &operator++() {
        ++at_;
        settle();
        return *this;
    }
    const Byte *position() const { return at_; }

private:
    void settle() {
        while (rules_.ignores(*at_) && *at_ != 0) {
            ++at_;
        }
    }

    const Rules &rules_;
    const Byte *at_;
};

// The rest of a text between two bytes that count, to be taken from either end.
template <class Rules>
class Span {
public:
    explicit Span(const Rules &rules, const Cursor<Rules> &start)
        : rules_(&rules), first_(start.position()),
          last_(first_ + std::strlen(reinterpret_cast<const char *>(first_))) {
        settleBack();
    }

    bool empty() const { return first_ == last_; }
    Byte front() const { return *first_; }
    Byte back() const { return last_[-1]; }
    bool startsWith(Byte byte) const { return !empty() && front() == byte; }
    void dropFront() {
        ++first_;
        while (first_ != last_ && rules_->ignores(*first_)) {
            ++first_;
        }
    }
    void dropBack() {
        --last_;
        settleBack();
    }

    // Moves to the first byte equal to the given one, which counts; false, and empty, where there is none.
    bool seek(Byte byte) {
        if constexpr (Rules::foldsBytes) {
            for (const int folded = rules_->fold(byte); !empty() && rules_->fold(front()) != folded;) {
                dropFront();
            }
        } else {
            moveTo(std::memchr(first_, byte, left()));
        }
        return !empty();
    }

    // Moves to the first place where the piece that opens `pattern` may fit; false, and empty, where there is none.
    bool seekPiece(const Span &pattern) {
        if constexpr (Rules::foldsBytes || Rules::ignoresBytes) {
            return seek(pattern.front());
        } else {
            const Byte *end = pattern.first_ + 1;
            while (*end != '*' && *end != '?') {
                ++end;
            }
            moveTo(memmem(first_, left(), pattern.first_, static_cast<std::size_t>(end - pattern.first_)));
            return !empty();
        }
    }

private:
    std::size_t left() const { return static_cast<std::size_t>(last_ - first_); }
    void moveTo(const void *found) { first_ = found != nullptr ? static_cast<const Byte *>(found) : last_; }
    void settleBack() {
        while (last_ != first_ && rules_->ignores(last_[-1])) {
            --last_;
        }
    }

    const Rules *rules_;
    const Byte *first_;
    const Byte *last_;
};

// Takes what follows the last star off the ends of both; false where it does not fit.
template <class Rules>
bool takeTail(const Rules &rules, Span<Rules> &text, Span<Rules> &pattern) {
    while (pattern.back() != '*') {
        const Byte wanted = pattern.back();
        pattern.dropBack();
        const bool any = wanted == '?' && pattern.back() != '*';
        if (text.empty() || (!any && rules.fold(text.back()) != rules.fold(wanted))) {
            return false;
        }
        text.dropBack();
    }
    return true;
}

// Takes the piece that opens the pattern, up to the next star, and the text through its first place; false where it
// fits nowhere.
template <class Rules>
bool takePiece(const Rules &rules, Span<Rules> &text, Span<Rules> &pattern) {
    for (; text.seekPiece(pattern); text.dropFront()) {
        Span<Rules> textAt = text;
        Span<Rules> patternAt = pattern;
        do {
            textAt.dropFront();
            patternAt.dropFront();
        } while (patternAt.front() != '*' && !textAt.empty() &&
                 (patternAt.front() == '?' || rules.fold(textAt.front()) == rules.fold(patternAt.front())));
        if (patternAt.front() == '*') {
            text = textAt;
            pattern = patternAt;
            return true;
        }
        if (textAt.empty()) {
            return false; // every later place is shorter still
        }
    }
    return false;
}

// The text behind the head against a pattern that begins with a star and is not all stars.
//
// The byte right behind a star stands for itself. A star there looks for a star in the text, and the next one in the
// row finds that same star again; but stars that end the pattern match whatever is left.
template <class Rules>
bool matchesFromStar(const Rules &rules, Span<Rules> text, Span<Rules> pattern) {
    const bool hasTail = pattern.back() != '*';
    if (!takeTail(rules, text, pattern)) {
        return false;
    }
    for (;;) {
        pattern.dropFront();
        if (pattern.startsWith('*')) {
            do {
                pattern.dropFront();
            } while (pattern.startsWith('*'));
            if ((hasTail || !pattern.empty()) && !text.seek('*')) {
                return false;
            }
        }
        if (pattern.empty()) {
            return true;
        }
        if (!takePiece(rules, text, pattern)) {
            return false;
        }
    }
}

template <class Rules>
Byte byteBehindStars(Cursor<Rules> pattern) {
    while (*pattern == '*') {
        ++pattern;
    }
    return *pattern;
}

template <class Rules>
int match(const Rules &rules, const char *text, const char *pattern) {
    Cursor<Rules> textAt(rules, text);
    Cursor<Rules> patternAt(rules, pattern);
    for (; *textAt != 0 && *patternAt != '*'; ++textAt, ++patternAt) {
        const int difference = *patternAt == '?' ? 0 : rules.fold(*textAt) - rules.fold(*patternAt);
        if (difference != 0) {
            return difference;
        }
    }
    const Byte wanted = byteBehindStars(patternAt);
    if (*textAt == 0 || wanted == 0) {
        return wanted;
    }
    const Span<Rules> textRest(rules, textAt);
    const Span<Rules> patternRest(rules, patternAt);
    return matchesFromStar(rules, textRest, patternRest) ? 0 : wanted;
}

template <class Rules>
int compare(const Rules &rules, const char *a, const char *b) {
    Cursor<Rules> aAt(rules, a);
    Cursor<Rules> bAt(rules, b);
    for (; *aAt != 0; ++aAt, ++bAt) {
        const int difference = rules.fold(*aAt) - rules.fold(*bAt);
        if (difference != 0) {
            return difference;
        }
    }
    return *bAt;
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

int zelk_patternWildcardMatch(const char *text, const char *pattern) {
    return detail::match(detail::Exact(), text, pattern);
}

int zelk_patternWildcardMatchIgnoreCase(const char *text, const char *pattern) {
    return detail::match(detail::AnyCase(), text, pattern);
}

int zelk_patternWildcardMatchIgnoreControlChars(const char *text, const char *pattern) {
    return detail::match(detail::AnyControls(), text, pattern);
}

int zelk_patternWildcardMatchIgnoreCaseAndControlChars(const char *text, const char *pattern) {
    return detail::match(detail::AnyCaseAndControls(), text, pattern);
}

int zelk_patternCompareIgnoreControlChars(const char *a, const char *b) {
    return detail::compare(detail::AnyControls(), a, b);
}

int zelk_patternCompareIgnoreCaseAndControlChars(const char *a, const char *b) {
    return detail::compare(detail::AnyCaseAndControls(), a, b);
}
