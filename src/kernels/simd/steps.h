// Single-byte sets looked up where a shuffle looks up 16 bytes and gives zeros for indices from 0x80 on, but for other
// great ones what their low four bits say: by steps, of which all that are not before a byte's own one count.
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

ZELK_OPERATION void takeStep(const tables::ByteSteps &steps, unsigned int step, Bytes index, TwoBytes &bytes) {
    bytes.first ^= lookUp(repeatLane(load<Lane>(steps.first + laneBytes * step)), index);
    bytes.second ^= lookUp(repeatLane(load<Lane>(steps.second + laneBytes * step)), index);
}

ZELK_OPERATION TwoBytes takeSteps(const tables::ByteSteps &steps, Bytes text) {
    TwoBytes bytes{text, {}, {}};
    const Bytes sixteenth = repeatByte(0x10);
    Bytes index = text ^ 0x80; // 0x80 and more for ASCII
    takeStep(steps, 7, index, bytes);
    takeStep(steps, 6, index = addSaturated(index, sixteenth), bytes);
    takeStep(steps, 5, index = addSaturated(index, sixteenth), bytes);
    takeStep(steps, 4, index = addSaturated(index, sixteenth), bytes);
    takeStep(steps, 3, index = addSaturated(index, sixteenth), bytes);
    takeStep(steps, 2, index = addSaturated(index, sixteenth), bytes);
    if (anySignBit(lessSigned(text, repeatByte(0xA0)))) { // rare in text: controls in the ISO 8859 sets
        takeStep(steps, 1, index = addSaturated(index, sixteenth), bytes);
        takeStep(steps, 0, addSaturated(index, sixteenth), bytes);
    }
    return bytes;
}

ZELK_OPERATION TwoBytes unitBytes(tables::ByteSet set, Bytes text) {
    return takeSteps(tables::unitStepsPool[static_cast<unsigned int>(set)], text);
}

ZELK_OPERATION TwoBytes utf8Bytes(tables::ByteSet set, Bytes text) {
    TwoBytes bytes = takeSteps(tables::pairStepsPool[static_cast<unsigned int>(set)], text);
    bytes.wide = bytes.second & tables::notOfTwoBytes;
    return bytes;
}

} // namespace zelk::kernels::ZELK_KERNEL_SET
