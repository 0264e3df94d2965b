// Compressed text with evidence: the bits of each code and what they gave.
#pragma once

#include "reading.h"
#include "recorder.h"

namespace zelk::insight {

// Encoding types 1 and 2: a code that depends on the character before.
void recordContextText(Recorder &recorder, const Reading &reading, unsigned int flags);

// Encoding types 5 and 6: codes for pieces of one to four characters.
void recordPieces(Recorder &recorder, const Reading &reading);

#if !defined(ZELK_COMPACT)
// Writes the text of a string of encoding type 5 or 6 and gives its length. False where there may be findings or too
// little room: then a part of it may be written.
bool copyPieces(const Reading &reading, char *out, std::size_t room, std::size_t &length);
#endif

} // namespace zelk::insight
