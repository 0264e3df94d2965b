// The letters that a teletext decoder puts into the private-use area, where it has no standard code point for them.
//
//     teletextLetters[code - firstTeletextLetter]
//
// Private codes without a letter are placeholders and become spaces; so does every code of the area that lies outside
// these 208 entries (416 bytes).
#pragma once

#include <array>
#include <cstdint>

namespace zelk::tables {

inline constexpr unsigned int firstTeletextCode = 0xE000;
inline constexpr unsigned int lastTeletextCode = 0xE2FF;
inline constexpr unsigned int firstTeletextLetter = 0xE1F0;
inline constexpr unsigned int teletextLetterCount = 0xE2C0 - firstTeletextLetter;

extern const std::array<std::uint16_t, teletextLetterCount> teletextLetters;

} // namespace zelk::tables
