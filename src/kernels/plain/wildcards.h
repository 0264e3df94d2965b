// Wildcard patterns without vectors: the rule itself looks at eight places at a time, so that all is left to it.
#pragma once

#include "kernels/kernels.h"

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

ZELK_STAGE int matchWildcards(const char * /*text*/, const char * /*pattern*/) {
    return notTaken;
}

ZELK_STAGE int matchWildcardsInAnyCase(const char * /*text*/, const char * /*pattern*/, const int * /*smallLetters*/) {
    return notTaken;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
