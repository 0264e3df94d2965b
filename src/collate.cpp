// Comparison in three levels: the first different letter decides; only texts of the same letters are told apart by
// their first different accent, and only those of the same accents by their first different case.
//
// Bytes that both texts share decide nothing, so that long equal stretches are stepped over without a look at keys.
#include "detail/utf8_char.h"
#include "tables/collation.h"
#include "zelk.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace zelk;

namespace {

constexpr std::uint32_t keyOf(unsigned int code) {
    if (code < tables::directlyIndexed) {
        return tables::collationKeys.pages[code];
    }
    return code <= tables::lastCollated ? tables::collationKeys[code] : tables::catchAllKey;
}

// The bytes before the terminator, at most `limit`. memchr stops at the terminator and reads nothing behind it.
std::size_t boundedLength(const unsigned char *text, std::size_t limit) {
    const void *end = std::memchr(text, 0, limit);
    return end != nullptr ? static_cast<std::size_t>(static_cast<const unsigned char *>(end) - text) : limit;
}

template <class Word>
bool sameWord(const unsigned char *a, const unsigned char *b) {
    Word left = 0;
    Word right = 0;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return left == right;
}

std::size_t countEqual(const unsigned char *a, const unsigned char *b, std::size_t count) {
    constexpr std::size_t stride = 32;
    std::size_t equal = 0;
    while (count - equal >= stride && std::memcmp(a + equal, b + equal, stride) == 0) {
        equal += stride;
    }
    while (count - equal >= sizeof(std::uint64_t) && sameWord<std::uint64_t>(a + equal, b + equal)) {
        equal += sizeof(std::uint64_t);
    }
    while (equal < count && a[equal] == b[equal]) {
        ++equal;
    }
    return equal;
}

// How many bytes the texts share, terminators not counted. Most texts part within the first few; for the others the
// search for a terminator runs ahead in growing blocks.
std::size_t countShared(const unsigned char *a, const unsigned char *b) {
    constexpr std::size_t singly = 8;
    std::size_t shared = 0;
    while (shared < singly) {
        if (a[shared] != b[shared] || a[shared] == 0) {
            return shared;
        }
        ++shared;
    }
    for (std::size_t block = 64;; block *= 2) {
        const std::size_t room = std::min(boundedLength(a + shared, block), boundedLength(b + shared, block));
        const std::size_t equal = countEqual(a + shared, b + shared, room);
        shared += equal;
        if (equal < block) {
            return shared;
        }
    }
}

// The part of `shared` equal bytes that is whole characters in either text, whatever follows. A character is left to
// the comparison where its last bytes may differ: a lead byte at the very end, or a three-byte lead before one
// continuation. Two continuation bytes at the end complete any sequence, and `shared` begins at a character.
std::size_t wholeCharacters(const unsigned char *text, std::size_t shared) {
    if (shared >= 1 && text[shared - 1] >= 0xC0) {
        return shared - 1;
    }
    if (shared >= 2 && text[shared - 2] >= 0xE0 && detail::isContinuation(text[shared - 1])) {
        return shared - 2;
    }
    return shared;
}

// A text as a sequence of keys: ignorable characters left out, expanding characters as two, zeros behind the end.
class KeyReader {
public:
    explicit KeyReader(const char *text) : at_(reinterpret_cast<const unsigned char *>(text != nullptr ? text : "")) {}

    bool atEnd() const { return *at_ == 0 && pending_ == 0; }

    std::uint32_t next() {
        std::uint32_t key = 0;
        if (pending_ != 0) {
            key = keyOf(pending_);
        } else if (const std::uint32_t asciiKey = *at_ < 0x80 ? keyOf(*at_) : 0; asciiKey != 0) {
            key = asciiKey;
            ++at_;
        } else {
            while (key == 0 && *at_ != 0) {
                key = keyOf(decode());
            }
        }
        pending_ = tables::expansionOf(key);
        return key;
    }

    // Of a reader at its beginning: the key of the first character, ignorable or not; 0 for an empty text.
    std::uint32_t firstKey() { return keyOf(decode()); }

    // Steps over equal characters. Both texts then stand at the same place of their sequences as before: an expansion
    // among the characters stepped over yields the same keys on both sides.
    friend void skipShared(KeyReader &a, KeyReader &b) {
        if (*a.at_ != *b.at_ || a.pending_ != 0 || b.pending_ != 0) {
            return;
        }
        const std::size_t skipped = wholeCharacters(a.at_, countShared(a.at_, b.at_));
        a.at_ += skipped;
        b.at_ += skipped;
    }

private:
    unsigned int decode() {
        if (*at_ < 0x80) {
            return *at_++;
        }
        unsigned short character = 0;
        at_ += detail::utf8Decode(at_, detail::unbounded, &character);
        return character;
    }

    const unsigned char *at_;
    unsigned int pending_ = 0; // the second character of the last key, 0 for none
};

// The answer of most comparisons in a list that is not yet sorted: the first characters are letters that differ. 0
// where it takes a longer look.
int firstLetters(const char *a, const char *b) {
    const std::uint32_t leftKey = KeyReader(a).firstKey();
    const std::uint32_t rightKey = KeyReader(b).firstKey();
    return leftKey != 0 && rightKey != 0 ? tables::mainOf(leftKey) - tables::mainOf(rightKey) : 0;
}

} // namespace

int zelkCollateCharsByMainKey(int /*selector*/, unsigned int a, unsigned int b) {
    return tables::mainOf(keyOf(a)) - tables::mainOf(keyOf(b));
}

int zelkCollate(int /*selector*/, const char *a, const char *b) {
    if (const int letters = firstLetters(a, b); letters != 0) {
        return letters;
    }
    KeyReader left(a);
    KeyReader right(b);
    int accents = 0;
    int cases = 0;
    for (skipShared(left, right); !left.atEnd() || !right.atEnd(); skipShared(left, right)) {
        const std::uint32_t leftKey = left.next();
        const std::uint32_t rightKey = right.next();
        if (const int letters = tables::mainOf(leftKey) - tables::mainOf(rightKey); letters != 0) {
            return letters;
        }
        if (accents == 0) {
            accents = tables::accentOf(leftKey) - tables::accentOf(rightKey);
            cases = cases != 0 ? cases : tables::caseOf(leftKey) - tables::caseOf(rightKey);
        }
    }
    return accents != 0 ? accents : cases;
}
