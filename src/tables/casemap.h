// Case mappings of Latin, Greek and Cyrillic, as runs: every `step`-th code point from `first` to `last` has `delta`
// added to it. What no run names has no other case.
//
// The mappings are fixed and narrower than Unicode's. Three oddities are kept on purpose: some small letters drop their
// mark to become a plain capital (U+0131, U+0149, U+01F0, U+0390, U+03B0, U+1E97 to U+1E99); most of Latin Extended-B
// and Additional is left alone; so are U+00B5, U+00DF, U+017F and the final sigma U+03C2.
//
// 24 and 23 distinct pages of 32 deltas serve the 248 pages of each direction: 3.5 KB together.
#pragma once

#include "tables/page_table.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::tables {

// The last code points that are looked up; all above are returned unchanged.
inline constexpr unsigned int lastUpperMapped = 7929; // U+1EF9
inline constexpr unsigned int lastLowerMapped = 7928; // U+1EF8

struct CaseRun {
    std::uint16_t first;
    std::uint16_t last;
    std::uint16_t step;
    std::int16_t delta;
};

// clang-format off
inline constexpr CaseRun upperRuns[] = {
    // Basic Latin, Latin-1
    {0x0061, 0x007A, 1, -32}, {0x00E0, 0x00F6, 1, -32}, {0x00F8, 0x00FE, 1, -32}, {0x00FF, 0x00FF, 1, +121},
    // Latin Extended-A; U+0131 to I, U+0149 to N
    {0x0101, 0x012F, 2, -1}, {0x0131, 0x0131, 1, -232}, {0x0133, 0x0137, 2, -1}, {0x013A, 0x0148, 2, -1},
    {0x0149, 0x0149, 1, -251}, {0x014B, 0x0177, 2, -1}, {0x017A, 0x017E, 2, -1},
    // Latin Extended-B; U+01F0 to J
    {0x01B6, 0x01B6, 1, -1}, {0x01CE, 0x01D4, 2, -1}, {0x01E7, 0x01EB, 2, -1}, {0x01F0, 0x01F0, 1, -422},
    {0x01F5, 0x01F5, 1, -1}, {0x01F9, 0x01F9, 1, -1}, {0x020B, 0x020B, 1, -1}, {0x0219, 0x021B, 2, -1},
    {0x021F, 0x021F, 1, -1}, {0x0227, 0x0229, 2, -1}, {0x022F, 0x022F, 1, -1}, {0x0233, 0x0233, 1, -1},
    // Greek; U+0390 and U+03B0 lose their tonos
    {0x0390, 0x0390, 1, +26}, {0x03AC, 0x03AC, 1, -38}, {0x03AD, 0x03AF, 1, -37}, {0x03B0, 0x03B0, 1, -5},
    {0x03B1, 0x03C1, 1, -32}, {0x03C3, 0x03CB, 1, -32}, {0x03CC, 0x03CC, 1, -64}, {0x03CD, 0x03CE, 1, -63},
    // Cyrillic, without U+045D
    {0x0430, 0x044F, 1, -32}, {0x0450, 0x045C, 1, -80}, {0x045E, 0x045F, 1, -80},
    // Latin Extended Additional; U+1E97 to T, U+1E98 to W, U+1E99 to Y
    {0x1E03, 0x1E0B, 8, -1}, {0x1E11, 0x1E13, 2, -1}, {0x1E1F, 0x1E21, 2, -1}, {0x1E27, 0x1E2B, 2, -1},
    {0x1E31, 0x1E31, 1, -1}, {0x1E3D, 0x1E41, 2, -1}, {0x1E45, 0x1E4B, 6, -1}, {0x1E55, 0x1E59, 2, -1},
    {0x1E61, 0x1E6B, 10, -1}, {0x1E71, 0x1E7D, 12, -1}, {0x1E81, 0x1E87, 2, -1}, {0x1E8D, 0x1E91, 2, -1},
    {0x1E97, 0x1E97, 1, -7747}, {0x1E98, 0x1E98, 1, -7745}, {0x1E99, 0x1E99, 1, -7744},
    {0x1EB9, 0x1EBD, 4, -1}, {0x1EF3, 0x1EF9, 6, -1},
};

inline constexpr CaseRun lowerRuns[] = {
    // Basic Latin, Latin-1
    {0x0041, 0x005A, 1, +32}, {0x00C0, 0x00D6, 1, +32}, {0x00D8, 0x00DE, 1, +32},
    // Latin Extended-A; U+0130 to i, U+0178 to U+00FF
    {0x0100, 0x012E, 2, +1}, {0x0130, 0x0130, 1, -199}, {0x0132, 0x0136, 2, +1}, {0x0139, 0x0147, 2, +1},
    {0x014A, 0x0176, 2, +1}, {0x0178, 0x0178, 1, -121}, {0x0179, 0x017D, 2, +1},
    // Latin Extended-B
    {0x01B5, 0x01B5, 1, +1}, {0x01CD, 0x01D3, 2, +1}, {0x01E6, 0x01EA, 2, +1}, {0x01F4, 0x01F4, 1, +1},
    {0x01F8, 0x01F8, 1, +1}, {0x020A, 0x020A, 1, +1}, {0x0218, 0x021A, 2, +1}, {0x021E, 0x021E, 1, +1},
    {0x0226, 0x0228, 2, +1}, {0x022E, 0x022E, 1, +1}, {0x0232, 0x0232, 1, +1},
    // Greek
    {0x0386, 0x0386, 1, +38}, {0x0388, 0x038A, 1, +37}, {0x038C, 0x038C, 1, +64}, {0x038E, 0x038F, 1, +63},
    {0x0391, 0x03A1, 1, +32}, {0x03A3, 0x03AB, 1, +32},
    // Cyrillic, without U+040D
    {0x0400, 0x040C, 1, +80}, {0x040E, 0x040F, 1, +80}, {0x0410, 0x042F, 1, +32},
    // Latin Extended Additional
    {0x1E02, 0x1E0A, 8, +1}, {0x1E10, 0x1E12, 2, +1}, {0x1E1E, 0x1E20, 2, +1}, {0x1E26, 0x1E2A, 2, +1},
    {0x1E30, 0x1E30, 1, +1}, {0x1E3C, 0x1E40, 2, +1}, {0x1E44, 0x1E4A, 6, +1}, {0x1E54, 0x1E58, 2, +1},
    {0x1E60, 0x1E6A, 10, +1}, {0x1E70, 0x1E7C, 12, +1}, {0x1E80, 0x1E86, 2, +1}, {0x1E8C, 0x1E90, 2, +1},
    {0x1EB8, 0x1EBC, 4, +1}, {0x1EF2, 0x1EF8, 6, +1},
};
// clang-format on

inline constexpr std::size_t casePageSize = 32;
using CaseDeltas = std::array<std::int16_t, (lastUpperMapped / casePageSize + 1) * casePageSize>;

// A code point that two runs name is an error in the runs.
consteval CaseDeltas expandRuns(const auto &runs) {
    CaseDeltas deltas{};
    for (const CaseRun &run : runs) {
        for (unsigned int code = run.first; code <= run.last; code += run.step) {
            if (deltas[code] != 0) {
                throw "named twice";
            }
            deltas[code] = run.delta;
        }
    }
    return deltas;
}

inline constexpr auto upperDeltas = inPages<casePageSize, []() { return expandRuns(upperRuns); }>();
inline constexpr auto lowerDeltas = inPages<casePageSize, []() { return expandRuns(lowerRuns); }>();

} // namespace zelk::tables
