// The character codec as exported functions: the inline operations of detail/utf8_char.h by their public names.
#include "detail/utf8_char.h"
#include "zelk.h"

using namespace zelk;

unsigned int zelkUtf8CharGetLength(const unsigned char *text, unsigned int available) {
    return detail::utf8Length(text, available);
}

unsigned int zelkUtf8CharDecode(const unsigned char *text, unsigned int available, unsigned short *character) {
    return detail::utf8Decode(text, available, character);
}

unsigned int zelkUtf8CharGetEncodedLength(unsigned int character) {
    return detail::utf8EncodedLength(character);
}

unsigned int zelkUtf8CharEncode(unsigned short character, unsigned char *out, int room) {
    return detail::utf8Encode(character, out, room);
}
