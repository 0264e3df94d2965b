// The four control-code filters, inline for the decoders that run every character through them. A result of 0 drops
// the character.
#pragma once

#include "tables/control_filter.h"

namespace zelk::detail {

constexpr bool isControlCode8(unsigned int code) {
    return code >= 0x80 && code <= 0x9F;
}

constexpr unsigned short filterControlCode0(unsigned short code) {
    return code < 0x20 ? tables::controlCodes0[code] : code;
}

constexpr unsigned short filterControlCode8(unsigned short code) {
    return isControlCode8(code) ? tables::controlCodes8[code & 0x1FU] : code;
}

constexpr unsigned short filterControlCode8Restricted(unsigned short code) {
    return isControlCode8(code) ? tables::controlCodes8Restricted[code & 0x1FU] : code;
}

// Drops both control ranges whole, tab and line feed included.
constexpr unsigned short filterControlChars(unsigned short code) {
    return (code & ~0x9FU) == 0 ? static_cast<unsigned short>(0) : code;
}

} // namespace zelk::detail
