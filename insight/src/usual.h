// The quick way to decode with evidence.
#pragma once

#include "zelk_insight.h"

namespace zelk::insight {

// decodeAny(), quick for most strings that have nothing to say. The string has a count of two bytes or more, the
// settings have no options, the evidence no steps.
unsigned int decodeUsual(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int inLen,
                         zelkInsightEvidence &evidence);

} // namespace zelk::insight
