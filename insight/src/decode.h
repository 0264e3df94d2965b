// Decoding bytes whose table is known.
#pragma once

#include "zelk_insight.h"

namespace zelk::insight {

// `bytes` have no selector; one more byte must be readable.
unsigned int decodeAs(zelkInsightTable table, char *out, int outSize, const unsigned char *bytes, unsigned int length);

} // namespace zelk::insight
