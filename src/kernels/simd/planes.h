// Single-byte sets looked up where a table of 128 bytes is looked up at once.
#pragma once

#include "tables/byte_set_planes.h"

namespace zelk::kernels::ZELK_KERNEL_SET {

// Two bytes for each byte of a text; ASCII is itself and a zero, or in UTF-8 anything. Bits of `wide` are set where a
// character has three bytes of UTF-8.
struct TwoBytes {
    Bytes first;
    Bytes second;
    Bytes wide;
};

ZELK_OPERATION TwoBytes unitBytes(tables::ByteSet set, Bytes text) {
    const tables::BytePlanes &planes = tables::planesOf(set);
    const Bytes high = lookUpUpper(planes.ucs2High, text);
    const Bytes low = lookUpUpper(planes.ucs2Low, text);
    return {low | (text & ~lessSigned(text, Bytes{})), high, high & 0xF8};
}

// The last six bits of a character, and before them two of its low byte and three of its high one.
ZELK_OPERATION TwoBytes utf8Bytes(tables::ByteSet set, Bytes text) {
    const TwoBytes unit = unitBytes(set, text);
    const Bytes fromLow = asBytes(asUnits(unit.first) >> 6) & 0x03;
    const Bytes fromHigh = asBytes(asUnits(unit.second) << 2); // of no more than three bits: they stay in their byte
    const Bytes lead = choose(lessSigned(text, Bytes{}), fromLow | fromHigh | 0xC0, text);
    return {lead, (unit.first & 0x3F) | 0x80, unit.wide};
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
