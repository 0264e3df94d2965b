// The plain rule of wildcard patterns, and of comparison that passes over bytes.
//
// Seen from its stars, a pattern is a head, pieces and a tail. The head lies at the start of the text and the tail at
// its end, so neither is searched for; the pieces follow each other between them, each taken where it fits first. That
// misses nothing: a piece covers the same number of bytes wherever it fits, so its first place leaves the longest rest
// of text; what follows in the pattern begins with a star, and what a star finds in a rest it finds in every longer
// rest. No place but the latest piece's is ever given up, so there is no recursion and time is at most text times
// pattern.
#pragma once

#include "detail/words.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::detail {

using Byte = unsigned char;

// Rules say what a variant passes over and which bytes it takes for equal. Here: those for which a table of 256 small
// letters has the same; null for bytes as they are.
class FoldedBytes {
public:
    static constexpr bool ignoresBytes = false;
    explicit FoldedBytes(const int *smallLetters) : smallLetters_(smallLetters) {}
    bool areExact() const { return smallLetters_ == nullptr; }
    int fold(Byte byte) const { return areExact() ? byte : smallLetters_[byte]; }
    static bool ignores(Byte /*byte*/) { return false; }

private:
    const int *smallLetters_;
};

// A zero-terminated text read forward.
template <class Rules>
class Cursor {
public:
    Cursor(const Rules &rules, const char *text) : rules_(rules), at_(reinterpret_cast<const Byte *>(text)) {}

    Byte operator*() const { return *at_; }
    Cursor &operator++() {
        ++at_;
        return *this;
    }
    const Byte *position() const { return at_; }

    // On to the next byte that counts, or to the terminator.
    void settle() {
        while (rules_.ignores(*at_) && *at_ != 0) {
            ++at_;
        }
    }

private:
    const Rules &rules_;
    const Byte *at_;
};

// Moves over what both texts have, up to the given byte or their ends, and on to the next bytes that count: equal bytes
// both count, or are both passed over.
template <class Rules>
void moveOverShared(Cursor<Rules> &a, Cursor<Rules> &b, int end) {
    for (; *a == *b && *a != 0 && *b != end; ++a, ++b) {
    }
    a.settle();
    b.settle();
}

// The first place at which one byte lies and the other one `distance` bytes on; the end where there is none. Bytes as
// they are, eight places at a time.
template <class Rules>
const Byte *findPair(const Rules &rules, const Byte *at, const Byte *end, Byte first, Byte last, std::size_t distance) {
    while (rules.areExact() && static_cast<std::size_t>(end - at) >= distance + wordBytes) {
        const std::uint64_t pairs =
            zeroBytes((wordAt(at) ^ first * everyByte) | (wordAt(at + distance) ^ last * everyByte));
        if (pairs != 0) {
            return at + firstByteOf(pairs);
        }
        at += wordBytes;
    }
    const int foldedFirst = rules.fold(first);
    const int foldedLast = rules.fold(last);
    for (; static_cast<std::size_t>(end - at) > distance; ++at) {
        if (((rules.fold(*at) ^ foldedFirst) | (rules.fold(at[distance]) ^ foldedLast)) == 0) {
            return at;
        }
    }
    return end;
}

// The rest of a text between two bytes that count, to be taken from either end.
template <class Rules>
class Span {
public:
    Span(const Rules &rules, const Byte *start)
        : rules_(&rules), first_(start), last_(start + std::strlen(reinterpret_cast<const char *>(start))) {
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
        for (const int folded = rules_->fold(byte); !empty() && rules_->fold(front()) != folded;) {
            dropFront();
        }
        return !empty();
    }

    // Moves to the first place where the piece that opens `pattern` may fit; false, and empty, where there is none.
    bool seekPiece(const Span &pattern) {
        if constexpr (Rules::ignoresBytes) {
            return seek(pattern.front());
        } else {
            // Two literals of the piece, as far apart as they may be, seldom lie so by chance.
            const Byte *last = pattern.first_;
            while (last[1] != '*' && last[1] != '?') {
                ++last;
            }
            first_ = findPair(*rules_, first_, last_, *pattern.first_, *last,
                              static_cast<std::size_t>(last - pattern.first_));
            return !empty();
        }
    }

private:
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

// The text after the head against a pattern that begins with a star and is not all stars.
//
// The byte right after a star stands for itself. A star there looks for a star in the text, and the next one in the
// row finds that same star again; but stars that end the pattern match whatever is left. No part of match(), whose way
// to the star is short.
template <class Rules>
[[gnu::noinline]] bool matchesFromStar(Rules rules, const Byte *textStart, const Byte *patternStart) {
    Span<Rules> text(rules, textStart);
    Span<Rules> pattern(rules, patternStart);
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
        pattern.settle();
    }
    return *pattern;
}

template <class Rules>
int match(const Rules &rules, const char *text, const char *pattern) {
    Cursor<Rules> textAt(rules, text);
    Cursor<Rules> patternAt(rules, pattern);
    for (;; ++textAt, ++patternAt) {
        moveOverShared(textAt, patternAt, '*');
        if (*textAt == 0 || *patternAt == '*') {
            break;
        }
        const int difference = *patternAt == '?' ? 0 : rules.fold(*textAt) - rules.fold(*patternAt);
        if (difference != 0) {
            return difference;
        }
    }
    const Byte wanted = byteBehindStars(patternAt);
    if (*textAt == 0 || wanted == 0) {
        return wanted;
    }
    return matchesFromStar(rules, textAt.position(), patternAt.position()) ? 0 : wanted;
}

template <class Rules>
int compare(const Rules &rules, const char *a, const char *b) {
    Cursor<Rules> aAt(rules, a);
    Cursor<Rules> bAt(rules, b);
    for (;; ++aAt, ++bAt) {
        moveOverShared(aAt, bAt, 0);
        if (*aAt == 0) {
            return *bAt;
        }
        const int difference = rules.fold(*aAt) - rules.fold(*bAt);
        if (difference != 0) {
            return difference;
        }
    }
}

} // namespace zelk::detail
