// What the levels of collation below the letters have to say: the first different accent, and the first different case
// up to that.
#pragma once

#include "tables/collation.h"

#include <cstdint>

namespace zelk::kernels {

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

} // namespace zelk::kernels
