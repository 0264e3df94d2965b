// How far two zero-terminated texts are collated alike: what lies in front of the first letter that may differ is
// stepped over in blocks.
#pragma once

#include "kernels/dispatch.h"
#include "tables/collation.h"

#include <cstddef>
#include <cstdint>

namespace zelk::kernels {

// What the levels below the letters have to say so far: the first different accent, and the first different case up to
// that.
class LesserDifferences {
public:
    void note(std::uint32_t leftKey, std::uint32_t rightKey) {
        if (accents_ == 0) {
            accents_ = tables::accentOf(leftKey) - tables::accentOf(rightKey);
            cases_ = cases_ != 0 ? cases_ : tables::caseOf(leftKey) - tables::caseOf(rightKey);
        }
    }
    int decision() const { return accents_ != 0 ? accents_ : cases_; }

private:
    int accents_ = 0;
    int cases_ = 0;
};

using CompareBehind = int(const unsigned char *a, const unsigned char *b, std::size_t shared);

ZELK_OF_EACH_SET(

    // The result of compare(a, b, shared), where `shared` is the number of bytes that the texts have in common before
    // they part; 0 where they are the same to their ends.
    int compareBehindShared(const unsigned char *a, const unsigned char *b, CompareBehind *compare);

    // How many bytes of the texts, terminators not counted, are the same or differing ASCII characters of one main key
    // that do not expand; the lesser differences among them are noted.
    std::size_t alikeBytes(const unsigned char *a, const unsigned char *b, LesserDifferences &differences);

)

} // namespace zelk::kernels
