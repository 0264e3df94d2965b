// The kernels of UTF-8 and UCS-2 text: as far as the text is well-formed and surely fits.
//
// A text ends at its count or before it at a zero, so that a count may be larger than the text: no kernel reads on
// another page than the text lies on. A kernel stops in front of a zero, of what is out of the ordinary (a sequence
// that is rejected, what a filter would change) and of what might not fit. Its caller goes on with the plain loop and
// may come back. Every kernel gives what the plain loop gives for the text that it consumes.
#pragma once

#include "kernels/progress.h"

#include <cstddef>

namespace zelk::kernels {

// How the two bytes of a UCS-2 unit lie in memory.
enum class UnitOrder { LowFirst, HighFirst };

// What is out of the ordinary, besides zeros.
enum class Clean {
    Any,        // nothing: every other unit is converted
    NoControls, // U+0000 to U+001F, U+0080 to U+009F and their images from U+E080 on, which DVB text filters
};

constexpr bool isClean(Clean clean, unsigned int unit) {
    return clean == Clean::Any ? unit != 0
                               : unit >= 0x20 && (unit < 0x80 || (unit > 0x9F && (unit < 0xE080 || unit > 0xE09F)));
}

// `room` counts the terminator; `count` is in units, which may lie at any address.
template <UnitOrder order, Clean clean>
Progress ucs2ToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room);

// A whole text: terminates and tells the bytes. There is room for one and the terminator at least.
template <UnitOrder order>
unsigned int ucs2TextToUtf8(const unsigned char *text, std::size_t count, char *out, std::size_t room);

// What it goes on with behind what a kernel did: the plain loop of the family.
template <UnitOrder order>
unsigned int restOfUcs2Text(const unsigned char *text, std::size_t count, char *out, std::size_t room, Progress done);

// The units before the end of a text (read) and the bytes of UTF-8 that they need (written).
template <UnitOrder order>
Progress measureUcs2(const unsigned char *text, std::size_t count);

// Units with the high byte first to native ones; `room` is the number of units that may be written.
template <Clean clean>
Progress ucs2ToNative(const unsigned char *text, std::size_t count, unsigned short *out, std::size_t room);

// `room` is the number of units that may be written. The text begins with a character.
template <Clean clean>
Progress utf8ToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room);

// A whole text, terminator and all: tells the units. There is room for one and the terminator at least.
unsigned int utf8TextToUcs2(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room);

// What it is handed on to where it is no plain text: the loop of the family.
unsigned int anyUtf8Text(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room);

// The bytes at the front of the text that are well-formed and clean and hold none of U+FFC0 to U+FFFF: U+FFFD is the
// answer for what is rejected.
template <Clean clean>
std::size_t wellFormedUtf8(const unsigned char *text, std::size_t length);

// The same bytes, copied, of a text of at most `length` bytes to a place for as many.
template <Clean clean>
std::size_t copyWellFormedUtf8(const unsigned char *text, std::size_t length, char *out);

// The bytes before the end of a text (read) and the steps of utf8Length() through them (written).
Progress measureUtf8(const unsigned char *text, std::size_t length);

} // namespace zelk::kernels
