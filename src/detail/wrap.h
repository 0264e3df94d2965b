// The two result wrappers, each written once: a packet for the flat interface, a standard string for the classes.
// Both take the buffer function as a callable that fills the given buffer and returns the units written.
#pragma once

#include "zelk.h"

#include <cstddef>
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

// As filledString() below, of a fill that is called with `context`: one function for all.
template <class Unit>
using FillScratch = std::size_t(const void *context, Unit *buffer);
template <class Unit>
std::string filledBy(std::size_t size, std::size_t extraBytes, FillScratch<Unit> *fill, const void *context);

// The text that fill(buffer) leaves in a scratch buffer of `size` units, as bytes: the units it counts and `extraBytes`
// of the terminator after them. A scratch for a text of up to 1 KiB lives on the stack, so that it costs no allocation
// but the string's own; above it array new is used, whose exceptions reach the caller.
template <class Unit, class Fill>
std::string filledString(std::size_t size, std::size_t extraBytes, const Fill &fill) {
    const auto call = [](const void *context, Unit *buffer) -> std::size_t {
        return (*static_cast<const Fill *>(context))(buffer);
    };
    return filledBy<Unit>(size, extraBytes, call, &fill);
}

} // namespace zelk::detail
