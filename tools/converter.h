// Conversion of streams of any length in constant memory. A converter takes the next stretch of its input and leaves
// at its end what cannot be decided yet, a character cut in two above all; that comes again with more behind it.
#pragma once

#include "dvb_text.h"
#include "stream.h"

#include "zelk.h"

#include <functional>
#include <string>
#include <string_view>

namespace zelk::tool {

// Appends to `out` what `in` converts to and returns how many bytes of `in` are done; `last` says that nothing
// follows. Bytes left over at the last call are an error of the input.
using Converter = std::function<std::size_t(std::string_view in, bool last, std::string &out)>;

// Runs the input through the converter to `take`. Throws Failure, with `expected` as its reason, when bytes are left
// over at the end.
void convertStream(Input &input, const Converter &converter, const std::function<void(std::string_view)> &take,
                   std::string_view expected = {});

// How many U+FFFD a text holds.
std::size_t countMarks(std::string_view utf8);

// UTF-8 that comes out of the converter has U+FFFD in place of surrogates, which the library takes for characters.
Converter withoutSurrogates(Converter converter);

// `first`, then `second` on its result.
Converter chain(Converter first, Converter second);

// The library ends a text at a zero byte; here a zero byte is passed on, and `convert` sees the texts between.
// convert(text) returns what the text becomes; the text is followed by a zero byte in memory.
Converter betweenZeros(std::function<std::string(const std::string &text)> convert);

// How many bytes of `in` come before a UTF-8 sequence that its end cuts off.
std::size_t wholeCharacters(std::string_view in);

// Holds a cut-off UTF-8 sequence back until its rest arrives; at the end of the input it is given as it is.
Converter holdCharacters(Converter converter);

// UTF-8, made well-formed: U+FFFD stands for what is malformed.
Converter fromUtf8();

// UCS-2 units, high byte first or low byte first.
Converter fromUcs2(bool highFirst);
Converter toUcs2(bool highFirst);

// As fromUcs2, for units of a teletext decoder: private-use characters become what they stand for.
Converter fromTeletext(bool highFirst);

// Lines of DVB strings.
Converter fromDvb(DvbReader &reader);

// Single-byte sets by number, and ISO text that may turn out to be UTF-8 up to some point.
Converter fromIso(unsigned int part);
Converter fromIsoTolerant(unsigned int part);
Converter fromWindows(int codePage);

// The characters of a single-byte set by byte, as its converter reads them; U+FFFD where there is none.
using CharacterTable = std::array<unsigned short, 256>;
CharacterTable charactersOf(const Converter &set);

// UTF-8 to a single-byte set; a question mark stands for a character that it lacks. missing(utf8Bytes, characters,
// character) is told of each of these, and how much was before it.
using MissingCharacter = std::function<void(std::size_t utf8Bytes, std::size_t characters, unsigned short character)>;
Converter toSingleByte(const CharacterTable &set, MissingCharacter missing);

} // namespace zelk::tool
