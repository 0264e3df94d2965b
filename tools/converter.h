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

// `first`, then `second` on its result, also on what `first` gave before it failed.
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

// As fromUcs2, for units of a teletext decoder: private-use characters become what they stand for.
Converter fromTeletext(bool highFirst);

// Lines of DVB strings.
Converter fromDvb(DvbReader &reader);

// Single-byte sets by number.
Converter fromIso(unsigned int part);
Converter fromWindows(int codePage);

// How much of an input is read as UTF-8, before the rest of it is read in its set. While all was, `bytes` is npos.
struct Utf8Prefix {
    std::size_t bytes = 0;
    std::size_t characters = 0;
};

// ISO text that may be UTF-8 up to some place, which is noted in `prefix`.
Converter fromIsoTolerant(unsigned int part, Utf8Prefix &prefix);

// The characters of a single-byte set by byte, as its converter reads them; U+FFFD where there is none.
using CharacterTable = std::array<unsigned short, 256>;
CharacterTable charactersOf(const Converter &set);

// Appends units in the set that is written. `utf8Bytes` is how long they were as UTF-8, if they were.
using UnitWriter =
    std::function<void(const unsigned short *units, std::size_t count, std::size_t utf8Bytes, std::string &out)>;

UnitWriter writeUcs2(bool highFirst);

// What has no place: how much was before it, in bytes if it was UTF-8 and in characters, and what it is.
using MissingCharacter = std::function<void(std::size_t utf8Bytes, std::size_t characters, unsigned short character)>;

// A question mark stands for a character that the set lacks.
UnitWriter writeSingleByte(const CharacterTable &set, MissingCharacter missing);

// One single-byte set to another, byte by byte. `missing` is told of each byte whose character there is no place for,
// or that is none (U+FFFD): its offset, itself and its character.
using MissingByte = std::function<void(std::size_t offset, char byte, unsigned short character)>;
Converter byteToByte(const CharacterTable &from, const CharacterTable &to, MissingByte missing);

// UTF-8, and UCS-2 in either order, to a writer of units. Where surrogates are asked for, `surrogate` is told of each,
// and it becomes U+FFFD.
Converter utf8To(UnitWriter writer);
Converter ucs2To(bool highFirst, UnitWriter writer, MissingCharacter surrogate);

} // namespace zelk::tool
