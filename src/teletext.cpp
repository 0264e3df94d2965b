// Teletext characters of the private-use area to ordinary ones; everything else passes.
#include "tables/teletext.h"
#include "detail/sink.h"
#include "zelk.h"

namespace zelk::detail {

namespace {

unsigned int ordinaryCharacter(unsigned int code) {
    if (code < tables::firstTeletextCode || code > tables::lastTeletextCode) {
        return code;
    }
    const unsigned int position = code - tables::firstTeletextLetter; // wraps for the spaces before the letters
    return position < tables::teletextLetterCount ? tables::teletextLetters[position] : u' ';
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

unsigned int zelk_pela_ttxConvertToUnicode(unsigned short *out, int outSize, const unsigned short *in, int inLength) {
    return detail::convertUnits<detail::Ucs2Sink>(out, outSize, in, inLength, detail::ordinaryCharacter);
}

unsigned int zelk_pela_ttxConvertToUtf8(char *out, int outSize, const unsigned short *in, int inLength) {
    return detail::convertUnits<detail::Utf8Sink>(out, outSize, in, inLength, detail::ordinaryCharacter);
}
