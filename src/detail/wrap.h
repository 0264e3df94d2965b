// The two result wrappers, each written once: a packet for the flat interface, a standard string for the classes.
// Both take the buffer function as a callable that fills the given buffer and returns the units written.
#pragma once

#include "zelk.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zelk::detail {

// A packet whose fields read as if made for `size` characters modulo 65536, in a block that holds all of them: the
// stored capacity may be the truncated value, the block never is. Null when the allocation fails.
CharPacket *newCharPacketHolding(unsigned int size);
WideCharPacket *newWideCharPacketHolding(unsigned int size);

// Runs fill(chars, outSize) on a fresh packet and stores the low 16 bits of its result as the length.
template <class Packet, class Fill>
Packet *filledPacket(Packet *packet, Fill fill) {
    if (packet != nullptr) {
        packet->length = static_cast<unsigned short>(fill(packet->chars, packet->capacity));
    }
    return packet;
}

// The text that fill(buffer) leaves in a scratch buffer of `size` units, as bytes: the units it counts and `extraBytes`
// of the terminator after them. A scratch of up to 1 KiB lives on the stack, so that a short text costs no allocation
// but the string's own; above it array new is used, whose exceptions reach the caller.
template <class Unit, class Fill>
std::string filledString(std::size_t size, std::size_t extraBytes, Fill fill) {
    constexpr std::size_t stackUnits = 1024 / sizeof(Unit);
    Unit onStack[stackUnits];
    std::unique_ptr<Unit[]> onHeap;
    if (size > stackUnits) {
        onHeap.reset(new Unit[size]);
    }
    Unit *buffer = onHeap ? onHeap.get() : onStack;
    const std::size_t count = fill(buffer);
    return std::string(reinterpret_cast<const char *>(buffer), count * sizeof(Unit) + extraBytes);
}

} // namespace zelk::detail
