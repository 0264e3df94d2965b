// What decoding with evidence is made of, for those that decode to another end.
#pragma once

#include "clean.h"
#include "reading.h"
#include "recorder.h"

#include "zelk_insight.h"

namespace zelk::insight {

inline constexpr zelkInsightSettings standardSettings = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};

// `in` is not null.
Reading readSelector(const zelkInsightSettings &settings, const char *in, int inLen);

// Whether the standard says anything against the selector of a string that has one.
bool isSelectorFaulty(const Reading &reading);

// Whether a table is one of those that a guess weighs.
constexpr bool isGuessable(zelkInsightTable table) {
    return table <= ZelkInsightTableUtf8;
}

// From this confidence on a guess is taken: docs/guess.md has what is wrong above it.
inline constexpr unsigned int sureEnough = ZELK_INSIGHT_CERTAIN * 7 / 10;

// The whole string, selector and all.
void record(Recorder &recorder, const Reading &reading, unsigned int flags);

// `bytes` have no selector; one more byte must be readable.
unsigned int decodeAs(zelkInsightTable table, char *out, int outSize, const unsigned char *bytes, unsigned int length);

// zelkInsightDecode() of a string that is there.
unsigned int decodeAny(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int inLen,
                       zelkInsightEvidence *evidence);

// The same of a string that is read already, and of whose text proper `kind` is known.
unsigned int decodeRead(const Reading &reading, Bytes kind, const zelkInsightSettings &settings, char *out, int outSize,
                        const char *in, int inLen, zelkInsightEvidence *evidence);

} // namespace zelk::insight
