// What becomes of the control codes of a broadcast text: three tables of 32 entries, indexed by the low five bits of
// the code, where 0 drops the code. Few codes survive, so each table lists only those.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>

namespace zelk::tables {

using ControlCodes = std::array<std::uint8_t, 32>;

struct KeptControlCode {
    std::uint8_t code;
    std::uint8_t becomes;
};

constexpr ControlCodes dropAllBut(std::initializer_list<KeptControlCode> kept) {
    ControlCodes codes{};
    for (const KeptControlCode entry : kept) {
        codes[entry.code & 0x1FU] = entry.becomes;
    }
    return codes;
}

// 0x00 to 0x1F: tab and line feed.
inline constexpr ControlCodes controlCodes0 = dropAllBut({{0x09, 0x09}, {0x0A, 0x0A}});

// 0x80 to 0x9F (ETSI EN 300 468 Annex A, Table A.1): CR/LF, 0x8A, is a line feed.
inline constexpr ControlCodes controlCodes8 = dropAllBut({{0x8A, 0x0A}});

// The same for receivers that handle emphasis on (0x86) and off (0x87) themselves.
inline constexpr ControlCodes controlCodes8Restricted = dropAllBut({{0x86, 0x86}, {0x87, 0x87}, {0x8A, 0x0A}});

} // namespace zelk::tables
