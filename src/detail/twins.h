// What differs between the 8-bit and the 16-bit twin of a function, as overloads, so that one template serves both.
#pragma once

#include "zelk.h"

#include <cstddef>
#include <cstring>

namespace zelk::detail {

inline constexpr std::size_t longestPacketText = 0xFFFF;

inline std::size_t textLength(const char *text) {
    return std::strlen(text);
}

inline std::size_t textLength(const unsigned short *text) {
    return zelk_wcslen(text);
}

// An empty packet of the same kind as the given one, for `size` characters.
inline CharPacket *newPacketLike(const CharPacket * /*kind*/, std::size_t size) {
    return zelkNewCharPacket(static_cast<unsigned short>(size), nullptr);
}

inline WideCharPacket *newPacketLike(const WideCharPacket * /*kind*/, std::size_t size) {
    return zelkNewWideCharPacket(static_cast<unsigned short>(size), nullptr);
}

} // namespace zelk::detail
