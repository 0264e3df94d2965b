// Compressed text with evidence: the bits of each code and what they gave.
#pragma once

#include "reading.h"
#include "recorder.h"

namespace zelk::insight {

// Encoding types 1 and 2: a code that depends on the character before.
void recordContextText(Recorder &recorder, const Reading &reading, unsigned int flags);

// Encoding types 5 and 6: codes for pieces of one to four characters.
void recordPieces(Recorder &recorder, const Reading &reading);

} // namespace zelk::insight
