// Comparison in three levels: the first different letter decides; only texts of the same letters are told apart by
// their first different accent, and only those of the same accents by their first different case.
#include "detail/utf8_char.h"
#include "tables/collation.h"
#include "zelk.h"

#include <cstdint>

using namespace zelk;

namespace {

constexpr std::uint32_t keyOf(unsigned int code) {
    return code <= tables::lastCollated ? tables::collationKeys[code] : tables::catchAllKey;
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
        } else {
            while (key == 0 && *at_ != 0) {
                unsigned short character = 0;
                at_ += detail::utf8Decode(at_, detail::unbounded, &character);
                key = keyOf(character);
            }
        }
        pending_ = tables::expansionOf(key);
        return key;
    }

private:
    const unsigned char *at_;
    unsigned int pending_ = 0; // the second character of the last key, 0 for none
};

} // namespace

int zelkCollateCharsByMainKey(int /*selector*/, unsigned int a, unsigned int b) {
    return tables::mainOf(keyOf(a)) - tables::mainOf(keyOf(b));
}

int zelkCollate(int /*selector*/, const char *a, const char *b) {
    KeyReader left(a);
    KeyReader right(b);
    int accents = 0;
    int cases = 0;
    while (!left.atEnd() || !right.atEnd()) {
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
