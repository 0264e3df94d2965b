// The kernels of UTF-8 and UCS-2 text: as far as the text is well-formed and surely fits.
//
// A kernel stops before the first block of text that holds anything out of the ordinary (a zero, a sequence that is
// rejected, what a filter would change) and before the output might be full; its caller goes on with the plain loop and
// may come back. Every kernel gives what the plain loop gives for the text it consumes.
#pragma once

#include "kernels/progress.h"

#include <cstddef>

namespace zelk::kernels {

// How the two bytes of a UCS-2 unit lie in memory.
enum class UnitOrder { LowFirst, HighFirst };

// What the text must not hold, besides zeros.
enum class Clean {
    Any,        // nothing: every other unit is converted
    NoControls, // U+0000 to U+001F, U+0080 to U+009F and U+E080 to U+E09F, which DVB text filters
};

// `room` counts the terminator; `count` is in units, which may lie at any address.
template <UnitOrder order, Clean clean>
Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room);

// `room` is the number of units that may be written.
template <Clean clean>
Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room);

// The bytes at the front of the text, at most `length`, that are well-formed, without U+FFFD and clean; the characters
// in them are added to `characters`.
template <Clean clean>
std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length, std::size_t &characters);

} // namespace zelk::kernels
