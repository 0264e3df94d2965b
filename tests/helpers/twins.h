// The 8-bit and the 16-bit twin of a family behind one set of names, so that a test written once runs on both.
#pragma once

#include "zelk.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace zelk_test {

struct Free {
    void operator()(void *block) const { std::free(block); }
};

template <class Packet>
using Owned = std::unique_ptr<Packet, Free>;

struct Narrow {
    using Unit = char;
    using Packet = CharPacket;
    static Owned<Packet> newPacket(unsigned short size, const Unit *init) {
        return Owned<Packet>(zelkNewCharPacket(size, init));
    }
};

struct Wide {
    using Unit = unsigned short;
    using Packet = WideCharPacket;
    static Owned<Packet> newPacket(unsigned short size, const Unit *init) {
        return Owned<Packet>(zelkNewWideCharPacket(size, init));
    }
};

using Twins = ::testing::Types<Narrow, Wide>;

// The units of a text, not terminated, and with a terminator.
template <class Twin>
std::vector<typename Twin::Unit> units(std::string_view text) {
    std::vector<typename Twin::Unit> result;
    for (const char character : text) {
        result.push_back(static_cast<typename Twin::Unit>(character));
    }
    return result;
}

template <class Unit>
std::vector<Unit> withZero(std::vector<Unit> text) {
    text.push_back(0);
    return text;
}

// The text of a packet by its length; and by its terminator, for packets whose length is not kept.
template <class Packet>
auto textOf(const Packet &packet) {
    using Unit = std::remove_const_t<std::remove_reference_t<decltype(packet->chars[0])>>;
    return std::vector<Unit>(packet->chars, packet->chars + packet->length);
}

template <class Packet>
auto terminatedTextOf(const Packet &packet) {
    using Unit = std::remove_const_t<std::remove_reference_t<decltype(packet->chars[0])>>;
    std::vector<Unit> text;
    while (packet->chars[text.size()] != 0) {
        text.push_back(packet->chars[text.size()]);
    }
    return text;
}

} // namespace zelk_test
