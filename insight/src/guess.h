// The guess on the bytes of a text, without its selector.
#pragma once

#include "zelk_insight.h"

namespace zelk::insight {

// `announced` is the table that the string is read with otherwise, `marked` whether a selector names it.
unsigned int guessTables(const unsigned char *bytes, unsigned int length, zelkInsightTable announced, bool marked,
                         const char *language, zelkInsightGuess *guesses, unsigned int room);

} // namespace zelk::insight
