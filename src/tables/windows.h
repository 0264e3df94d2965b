// Six of the Windows code pages, as Microsoft publishes them; what they leave undefined is unassigned here.
#pragma once

#include "tables/byte_set_notation.h"

namespace zelk::tables {

// Central Europe.
inline constexpr CodePoints windows1250 =
    withGrid(identity, 0x80,
             "20AC ---- 201A ---- 201E 2026 2020 2021 ---- 2030 0160 2039 015A 0164 017D 0179 "  // 8_
             "---- 2018 2019 201C 201D 2022 2013 2014 ---- 2122 0161 203A 015B 0165 017E 017A "  // 9_
             "00A0 02C7 02D8 0141 00A4 0104 00A6 00A7 00A8 00A9 015E 00AB 00AC 00AD 00AE 017B "  // A_
             "00B0 00B1 02DB 0142 00B4 00B5 00B6 00B7 00B8 0105 015F 00BB 013D 02DD 013E 017C "  // B_
             "0154 00C1 00C2 0102 00C4 0139 0106 00C7 010C 00C9 0118 00CB 011A 00CD 00CE 010E "  // C_
             "0110 0143 0147 00D3 00D4 0150 00D6 00D7 0158 016E 00DA 0170 00DC 00DD 0162 00DF "  // D_
             "0155 00E1 00E2 0103 00E4 013A 0107 00E7 010D 00E9 0119 00EB 011B 00ED 00EE 010F "  // E_
             "0111 0144 0148 00F3 00F4 0151 00F6 00F7 0159 016F 00FA 0171 00FC 00FD 0163 02D9"); // F_

// Cyrillic: U+0410 and up in its order in the upper half.
inline constexpr CodePoints windows1251 =
    withGrid(with(identity, {{0xC0, 0xFF, 0x0410}}), 0x80,
             "0402 0403 201A 0453 201E 2026 2020 2021 20AC 2030 0409 2039 040A 040C 040B 040F "  // 8_
             "0452 2018 2019 201C 201D 2022 2013 2014 ---- 2122 0459 203A 045A 045C 045B 045F "  // 9_
             "00A0 040E 045E 0408 00A4 0490 00A6 00A7 0401 00A9 0404 00AB 00AC 00AD 00AE 0407 "  // A_
             "00B0 00B1 0406 0456 0491 00B5 00B6 00B7 0451 2116 0454 00BB 0458 0405 0455 0457"); // B_

// Western Europe: ISO 8859-1 with print characters in place of the C1 controls.
inline constexpr CodePoints windows1252 =
    withGrid(identity, 0x80,
             "20AC ---- 201A 0192 201E 2026 2020 2021 02C6 2030 0160 2039 0152 ---- 017D ---- "  // 8_
             "---- 2018 2019 201C 201D 2022 2013 2014 02DC 2122 0161 203A 0153 ---- 017E 0178"); // 9_

// Greek.
inline constexpr CodePoints windows1253 =
    withGrid(identity, 0x80,
             "20AC ---- 201A 0192 201E 2026 2020 2021 ---- 2030 ---- 2039 ---- ---- ---- ---- "  // 8_
             "---- 2018 2019 201C 201D 2022 2013 2014 ---- 2122 ---- 203A ---- ---- ---- ---- "  // 9_
             "00A0 0385 0386 00A3 00A4 00A5 00A6 00A7 00A8 00A9 ---- 00AB 00AC 00AD 00AE 2015 "  // A_
             "00B0 00B1 00B2 00B3 0384 00B5 00B6 00B7 0388 0389 038A 00BB 038C 00BD 038E 038F "  // B_
             "0390 0391 0392 0393 0394 0395 0396 0397 0398 0399 039A 039B 039C 039D 039E 039F "  // C_
             "03A0 03A1 ---- 03A3 03A4 03A5 03A6 03A7 03A8 03A9 03AA 03AB 03AC 03AD 03AE 03AF "  // D_
             "03B0 03B1 03B2 03B3 03B4 03B5 03B6 03B7 03B8 03B9 03BA 03BB 03BC 03BD 03BE 03BF "  // E_
             "03C0 03C1 03C2 03C3 03C4 03C5 03C6 03C7 03C8 03C9 03CA 03CB 03CC 03CD 03CE ----"); // F_

// Turkish: 1252 without the letter z with caron, and with the six letters of ISO 8859-9.
inline constexpr CodePoints windows1254 = except(windows1252, {{0x8E, unassigned},
                                                               {0x9E, unassigned},
                                                               {0xD0, 0x011E},
                                                               {0xDD, 0x0130},
                                                               {0xDE, 0x015E},
                                                               {0xF0, 0x011F},
                                                               {0xFD, 0x0131},
                                                               {0xFE, 0x015F}});

// Baltic. Kept on purpose: 0xFF, the dot above (U+02D9) as published, is not assigned.
inline constexpr CodePoints windows1257 =
    withGrid(identity, 0x80,
             "20AC ---- 201A ---- 201E 2026 2020 2021 ---- 2030 ---- 2039 ---- 00A8 02C7 00B8 "  // 8_
             "---- 2018 2019 201C 201D 2022 2013 2014 ---- 2122 ---- 203A ---- 00AF 02DB ---- "  // 9_
             "00A0 ---- 00A2 00A3 00A4 ---- 00A6 00A7 00D8 00A9 0156 00AB 00AC 00AD 00AE 00C6 "  // A_
             "00B0 00B1 00B2 00B3 00B4 00B5 00B6 00B7 00F8 00B9 0157 00BB 00BC 00BD 00BE 00E6 "  // B_
             "0104 012E 0100 0106 00C4 00C5 0118 0112 010C 00C9 0179 0116 0122 0136 012A 013B "  // C_
             "0160 0143 0145 00D3 014C 00D5 00D6 00D7 0172 0141 015A 016A 00DC 017B 017D 00DF "  // D_
             "0105 012F 0101 0107 00E4 00E5 0119 0113 010D 00E9 017A 0117 0123 0137 012B 013C "  // E_
             "0161 0144 0146 00F3 014D 00F5 00F6 00F7 0173 0142 015B 016B 00FC 017C 017E ----"); // F_

// Which positions are not assigned: no others are.
static_assert(areUnassigned(windows1250, {0x81, 0x83, 0x88, 0x90, 0x98}));
static_assert(areUnassigned(windows1251, {0x98}));
static_assert(areUnassigned(windows1252, {0x81, 0x8D, 0x8F, 0x90, 0x9D}));
static_assert(areUnassigned(windows1253, {0x81, 0x88, 0x8A, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x98, 0x9A, 0x9C, 0x9D, 0x9E,
                                          0x9F, 0xAA, 0xD2, 0xFF}));
static_assert(areUnassigned(windows1254, {0x81, 0x8D, 0x8E, 0x8F, 0x90, 0x9D, 0x9E}));
static_assert(areUnassigned(windows1257,
                            {0x81, 0x83, 0x88, 0x8A, 0x8C, 0x90, 0x98, 0x9A, 0x9C, 0x9F, 0xA1, 0xA5, 0xFF}));

static_assert(windows1250[0x8A] == 0x0160 && windows1252[0x80] == 0x20AC);
static_assert(isRun(windows1251, {0xC0, 0xFF, 0x0410}));
static_assert(isRun(windows1252, {0xA0, 0xFF, 0x00A0}));
static_assert(isRun(windows1254, {0xA0, 0xBF, 0x00A0}));

} // namespace zelk::tables
