// Comparison in three levels: the first different letter decides; only texts of the same letters are told apart by
// their first different accent, and only those of the same accents by their first different case.
//
// Bytes that both texts share decide nothing, so that long equal stretches are stepped over without a look at keys.
#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "tables/collation.h"
#include "zelk.h"

#include <cstddef>
#include <cstdint>

using namespace zelk;

namespace {

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

unsigned int decode(const unsigned char *&at) {
    if (*at < 0x80) {
        return *at++;
    }
    unsigned short character = 0;
    at += detail::utf8Decode(at, detail::unbounded, &character);
    return character;
}

// A text as a sequence of keys: ignorable characters left out, expanding characters as two, zeros after the end.
class KeyReader {
public:
    explicit KeyReader(const unsigned char *text) : at_(text) {}

    std::uint32_t next() {
        std::uint32_t key = 0;
        if (pending_ != 0) {
            key = tables::collationKeyOf(pending_);
        } else {
            while (key == 0 && *at_ != 0) {
                key = tables::collationKeyOf(decode(at_));
            }
        }
        pending_ = tables::expansionOf(key);
        return key;
    }

    // Whether both texts go on with bytes of the columns that hold ASCII letters.
    friend bool lettersFollow(const KeyReader &a, const KeyReader &b) {
        return ((*a.at_ ^ 0x40U) | (*b.at_ ^ 0x40U)) < 0x40;
    }

    // Steps over what two texts have side by side and is surely alike, as far as whole characters go.
    friend void passAlike(KeyReader &a, KeyReader &b, kernels::LesserDifferences &differences) {
        if (a.pending_ == 0 && b.pending_ == 0) {
            const std::size_t passed = wholeCharacters(a.at_, kernels::kernels().alikeBytes(a.at_, b.at_, differences));
            a.at_ += passed;
            b.at_ += passed;
        }
    }

private:
    const unsigned char *at_;
    unsigned int pending_ = 0; // the second character of the last key, 0 for none
};

[[gnu::noinline]] int compareByKeys(const unsigned char *a, const unsigned char *b) {
    KeyReader left(a);
    KeyReader right(b);
    kernels::LesserDifferences differences;
    for (bool equal = false;;) {
        if (equal || lettersFollow(left, right)) {
            passAlike(left, right, differences);
        }
        const std::uint32_t leftKey = left.next();
        const std::uint32_t rightKey = right.next();
        if (const int letters = tables::mainOf(leftKey) - tables::mainOf(rightKey); letters != 0) {
            return letters;
        }
        if (leftKey == 0) {
            return differences.decision();
        }
        differences.note(leftKey, rightKey);
        equal = leftKey == rightKey;
    }
}

// The key of a character beyond ASCII of two bytes, which most letters are, or of one; 0 where it takes a longer look.
inline std::uint32_t keyOfPair(const unsigned char *at) {
    if (*at < 0x80) {
        return tables::collationKeyOf(*at);
    }
    const bool isPair = *at >= 0xC2 && *at < 0xE0 && detail::isContinuation(at[1]);
    return isPair ? tables::collationKeys[(*at & 0x1FU) << 6U | (at[1] & 0x3FU)] : 0;
}

// The answer where the next characters are letters and not the same; 0 where it takes a longer look.
inline int compareLetters(const unsigned char *a, const unsigned char *b) {
    const bool isAscii = (*a | *b) < 0x80;
    const std::uint32_t left = isAscii ? tables::collationKeyOf(*a) : keyOfPair(a);
    const std::uint32_t right = isAscii ? tables::collationKeyOf(*b) : keyOfPair(b);
    return left != 0 && right != 0 ? tables::mainOf(left) - tables::mainOf(right) : 0;
}

// Of texts that begin with the same byte, or perhaps with letters that are alike: apart, so that what it saves does not
// burden the comparisons that end before it. Equal characters say the same, whatever expands among them.
[[gnu::noinline]] int compareAlike(const unsigned char *a, const unsigned char *b) {
    auto [left, right] = kernels::kernels().passShared(a, b);
    if (*left == *right) {
        return 0;
    }
    if ((*left | *right) >= 0x80) { // ASCII ends any sequence
        const auto shared = static_cast<std::size_t>(left - a);
        const std::size_t back = shared - wholeCharacters(a, shared);
        left -= back;
        right -= back;
    }
    const int letters = compareLetters(left, right);
    return letters != 0 ? letters : compareByKeys(left, right);
}

const unsigned char *bytesOf(const char *text) {
    return reinterpret_cast<const unsigned char *>(text != nullptr ? text : "");
}

} // namespace

int zelkCollateCharsByMainKey(int /*selector*/, unsigned int a, unsigned int b) {
    return tables::mainOf(tables::collationKeyOf(a)) - tables::mainOf(tables::collationKeyOf(b));
}

int zelkCollate(int /*selector*/, const char *a, const char *b) {
    const unsigned char *const left = bytesOf(a);
    const unsigned char *const right = bytesOf(b);
    if (*left != *right) [[unlikely]] { // as those of an unsorted list do: the others shall not pay for it
        if (const int letters = compareLetters(left, right); letters != 0) {
            return letters;
        }
    }
    return compareAlike(left, right);
}
