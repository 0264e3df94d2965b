// The kernels of wildcard patterns, for the variants that pass over no bytes. They give what the plain rule of
// detail/wildcard.h gives.
#pragma once

#include "kernels/dispatch.h"

namespace zelk::kernels {

ZELK_OF_EACH_SET(

    int matchWildcards(const char *text, const char *pattern);

    // Bytes are equal where the C library's table of 256 small letters has the same for both.
    int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters);

)

} // namespace zelk::kernels
