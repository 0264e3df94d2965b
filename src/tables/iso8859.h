// The parts of ISO/IEC 8859. Bytes below 0xA0 are ASCII and the C1 controls, the same in all of them.
#pragma once

#include "tables/byte_set_notation.h"

namespace zelk::tables {

// No part, but what stands in for those that are not supported.
inline constexpr CodePoints ascii = withoutAny(identity, 0x80, 0xFF);

inline constexpr CodePoints iso8859_1 = identity;

// Latin-2, central Europe.
inline constexpr CodePoints iso8859_2 =
    withGrid(identity, 0xA0,
             "00A0 0104 02D8 0141 00A4 013D 015A 00A7 00A8 0160 015E 0164 0179 00AD 017D 017B "  // A_
             "00B0 0105 02DB 0142 00B4 013E 015B 02C7 00B8 0161 015F 0165 017A 02DD 017E 017C "  // B_
             "0154 00C1 00C2 0102 00C4 0139 0106 00C7 010C 00C9 0118 00CB 011A 00CD 00CE 010E "  // C_
             "0110 0143 0147 00D3 00D4 0150 00D6 00D7 0158 016E 00DA 0170 00DC 00DD 0162 00DF "  // D_
             "0155 00E1 00E2 0103 00E4 013A 0107 00E7 010D 00E9 0119 00EB 011B 00ED 00EE 010F "  // E_
             "0111 0144 0148 00F3 00F4 0151 00F6 00F7 0159 016F 00FA 0171 00FC 00FD 0163 02D9"); // F_

// Latin-3, southern Europe.
inline constexpr CodePoints iso8859_3 =
    withGrid(identity, 0xA0,
             "00A0 0126 02D8 00A3 00A4 ---- 0124 00A7 00A8 0130 015E 011E 0134 00AD ---- 017B "  // A_
             "00B0 0127 00B2 00B3 00B4 00B5 0125 00B7 00B8 0131 015F 011F 0135 00BD ---- 017C "  // B_
             "00C0 00C1 00C2 ---- 00C4 010A 0108 00C7 00C8 00C9 00CA 00CB 00CC 00CD 00CE 00CF "  // C_
             "---- 00D1 00D2 00D3 00D4 0120 00D6 00D7 011C 00D9 00DA 00DB 00DC 016C 015C 00DF "  // D_
             "00E0 00E1 00E2 ---- 00E4 010B 0109 00E7 00E8 00E9 00EA 00EB 00EC 00ED 00EE 00EF "  // E_
             "---- 00F1 00F2 00F3 00F4 0121 00F6 00F7 011D 00F9 00FA 00FB 00FC 016D 015D 02D9"); // F_

// Latin-4, northern Europe.
inline constexpr CodePoints iso8859_4 =
    withGrid(identity, 0xA0,
             "00A0 0104 0138 0156 00A4 0128 013B 00A7 00A8 0160 0112 0122 0166 00AD 017D 00AF "  // A_
             "00B0 0105 02DB 0157 00B4 0129 013C 02C7 00B8 0161 0113 0123 0167 014A 017E 014B "  // B_
             "0100 00C1 00C2 00C3 00C4 00C5 00C6 012E 010C 00C9 0118 00CB 0116 00CD 00CE 012A "  // C_
             "0110 0145 014C 0136 00D4 00D5 00D6 00D7 00D8 0172 00DA 00DB 00DC 0168 016A 00DF "  // D_
             "0101 00E1 00E2 00E3 00E4 00E5 00E6 012F 010D 00E9 0119 00EB 0117 00ED 00EE 012B "  // E_
             "0111 0146 014D 0137 00F4 00F5 00F6 00F7 00F8 0173 00FA 00FB 00FC 0169 016B 02D9"); // F_

// Cyrillic: U+0400 and up in its order, but for four positions.
inline constexpr CodePoints iso8859_5 =
    except(with(identity, {{0xA0, 0xFF, 0x0400}}), {{0xA0, 0x00A0}, {0xAD, 0x00AD}, {0xF0, 0x2116}, {0xFD, 0x00A7}});

// A variant in some receivers' tables: without the letter that Unicode composes from another and a breve.
inline constexpr CodePoints iso8859_5WithoutShortI = except(iso8859_5, {{0xB9, unassigned}, {0xD9, unassigned}});

// Arabic.
inline constexpr CodePoints iso8859_6 =
    except(with(withoutAny(identity, 0xA0, 0xFF), {{0xC1, 0xDA, 0x0621}, {0xE0, 0xF2, 0x0640}}),
           {{0xA0, 0x00A0}, {0xA4, 0x00A4}, {0xAC, 0x060C}, {0xAD, 0x00AD}, {0xBB, 0x061B}, {0xBF, 0x061F}});

// Greek: the first edition with the euro sign of the second at 0xA4. Kept on purpose: the second edition's 0xA5 and
// 0xAA are not assigned.
inline constexpr CodePoints iso8859_7 =
    withGrid(identity, 0xA0,
             "00A0 2018 2019 00A3 20AC ---- 00A6 00A7 00A8 00A9 ---- 00AB 00AC 00AD ---- 2015 "  // A_
             "00B0 00B1 00B2 00B3 0384 0385 0386 00B7 0388 0389 038A 00BB 038C 00BD 038E 038F "  // B_
             "0390 0391 0392 0393 0394 0395 0396 0397 0398 0399 039A 039B 039C 039D 039E 039F "  // C_
             "03A0 03A1 ---- 03A3 03A4 03A5 03A6 03A7 03A8 03A9 03AA 03AB 03AC 03AD 03AE 03AF "  // D_
             "03B0 03B1 03B2 03B3 03B4 03B5 03B6 03B7 03B8 03B9 03BA 03BB 03BC 03BD 03BE 03BF "  // E_
             "03C0 03C1 03C2 03C3 03C4 03C5 03C6 03C7 03C8 03C9 03CA 03CB 03CC 03CD 03CE ----"); // F_

// Hebrew: the first edition, without the direction marks of the second at 0xFD and 0xFE.
inline constexpr CodePoints iso8859_8 = except(with(withoutAny(identity, 0xBF, 0xFF), {{0xE0, 0xFA, 0x05D0}}),
                                               {{0xA1, unassigned}, {0xAA, 0x00D7}, {0xBA, 0x00F7}, {0xDF, 0x2017}});

// Latin-5, Turkish: six letters take the place of the Icelandic ones.
inline constexpr CodePoints iso8859_9 =
    except(iso8859_1, {{0xD0, 0x011E}, {0xDD, 0x0130}, {0xDE, 0x015E}, {0xF0, 0x011F}, {0xFD, 0x0131}, {0xFE, 0x015F}});

// Latin-6, Nordic.
inline constexpr CodePoints iso8859_10 =
    withGrid(identity, 0xA0,
             "00A0 0104 0112 0122 012A 0128 0136 00A7 013B 0110 0160 0166 017D 00AD 016A 014A "  // A_
             "00B0 0105 0113 0123 012B 0129 0137 00B7 013C 0111 0161 0167 017E 2015 016B 014B "  // B_
             "0100 00C1 00C2 00C3 00C4 00C5 00C6 012E 010C 00C9 0118 00CB 0116 00CD 00CE 00CF "  // C_
             "00D0 0145 014C 00D3 00D4 00D5 00D6 0168 00D8 0172 00DA 00DB 00DC 00DD 00DE 00DF "  // D_
             "0101 00E1 00E2 00E3 00E4 00E5 00E6 012F 010D 00E9 0119 00EB 0117 00ED 00EE 00EF "  // E_
             "00F0 0146 014D 00F3 00F4 00F5 00F6 0169 00F8 0173 00FA 00FB 00FC 00FD 00FE 0138"); // F_

// Thai: U+0E00 and up in its order.
inline constexpr CodePoints iso8859_11 =
    with(withoutAny(identity, 0xA1, 0xFF), {{0xA1, 0xDA, 0x0E01}, {0xDF, 0xFB, 0x0E3F}});

// Latin-7, Baltic.
inline constexpr CodePoints iso8859_13 =
    withGrid(identity, 0xA0,
             "00A0 201D 00A2 00A3 00A4 201E 00A6 00A7 00D8 00A9 0156 00AB 00AC 00AD 00AE 00C6 "  // A_
             "00B0 00B1 00B2 00B3 201C 00B5 00B6 00B7 00F8 00B9 0157 00BB 00BC 00BD 00BE 00E6 "  // B_
             "0104 012E 0100 0106 00C4 00C5 0118 0112 010C 00C9 0179 0116 0122 0136 012A 013B "  // C_
             "0160 0143 0145 00D3 014C 00D5 00D6 00D7 0172 0141 015A 016A 00DC 017B 017D 00DF "  // D_
             "0105 012F 0101 0107 00E4 00E5 0119 0113 010D 00E9 017A 0117 0123 0137 012B 013C "  // E_
             "0161 0144 0146 00F3 014D 00F5 00F6 00F7 0173 0142 015B 016B 00FC 017C 017E 2019"); // F_

// Latin-8, Celtic.
inline constexpr CodePoints iso8859_14 =
    withGrid(identity, 0xA0,
             "00A0 1E02 1E03 00A3 010A 010B 1E0A 00A7 1E80 00A9 1E82 1E0B 1EF2 00AD 00AE 0178 "  // A_
             "1E1E 1E1F 0120 0121 1E40 1E41 00B6 1E56 1E81 1E57 1E83 1E60 1EF3 1E84 1E85 1E61 "  // B_
             "00C0 00C1 00C2 00C3 00C4 00C5 00C6 00C7 00C8 00C9 00CA 00CB 00CC 00CD 00CE 00CF "  // C_
             "0174 00D1 00D2 00D3 00D4 00D5 00D6 1E6A 00D8 00D9 00DA 00DB 00DC 00DD 0176 00DF "  // D_
             "00E0 00E1 00E2 00E3 00E4 00E5 00E6 00E7 00E8 00E9 00EA 00EB 00EC 00ED 00EE 00EF "  // E_
             "0175 00F1 00F2 00F3 00F4 00F5 00F6 1E6B 00F8 00F9 00FA 00FB 00FC 00FD 0177 00FF"); // F_

// Latin-9: Latin-1 with the euro sign and the letters that French, Finnish and Estonian lack there.
inline constexpr CodePoints iso8859_15 = except(iso8859_1, {{0xA4, 0x20AC},
                                                            {0xA6, 0x0160},
                                                            {0xA8, 0x0161},
                                                            {0xB4, 0x017D},
                                                            {0xB8, 0x017E},
                                                            {0xBC, 0x0152},
                                                            {0xBD, 0x0153},
                                                            {0xBE, 0x0178}});

// Latin-10, south-eastern Europe.
inline constexpr CodePoints iso8859_16 =
    withGrid(identity, 0xA0,
             "00A0 0104 0105 0141 20AC 201E 0160 00A7 0161 00A9 0218 00AB 0179 00AD 017A 017B "  // A_
             "00B0 00B1 010C 0142 017D 201D 00B6 00B7 017E 010D 0219 00BB 0152 0153 0178 017C "  // B_
             "00C0 00C1 00C2 0102 00C4 0106 00C6 00C7 00C8 00C9 00CA 00CB 00CC 00CD 00CE 00CF "  // C_
             "0110 0143 00D2 00D3 00D4 0150 00D6 015A 0170 00D9 00DA 00DB 00DC 0118 021A 00DF "  // D_
             "00E0 00E1 00E2 0103 00E4 0107 00E6 00E7 00E8 00E9 00EA 00EB 00EC 00ED 00EE 00EF "  // E_
             "0111 0144 00F2 00F3 00F4 0151 00F6 015B 0171 00F9 00FA 00FB 00FC 0119 021B 00FF"); // F_

// Kept on purpose for text that is named by its part: the last position is not assigned.
inline constexpr CodePoints iso8859_16WithoutFF = except(iso8859_16, {{0xFF, unassigned}});

static_assert(unassignedCount(ascii) == 128 && isRun(ascii, {0x00, 0x7F, 0}));
static_assert(isRun(iso8859_1, {0x00, 0xFF, 0}));

// Which positions are not assigned, part by part: no others are.
static_assert(areUnassigned(iso8859_1, {}) && areUnassigned(iso8859_2, {}) && areUnassigned(iso8859_4, {}));
static_assert(areUnassigned(iso8859_3, {0xA5, 0xAE, 0xBE, 0xC3, 0xD0, 0xE3, 0xF0}));
static_assert(areUnassigned(iso8859_5, {}) && areUnassigned(iso8859_5WithoutShortI, {0xB9, 0xD9}));
static_assert(unassignedCount(iso8859_6) == 45);
static_assert(areUnassigned(iso8859_7, {0xA5, 0xAA, 0xAE, 0xD2, 0xFF}));
static_assert(unassignedCount(iso8859_8) == 38 && iso8859_8[0xFD] == unassigned && iso8859_8[0xFE] == unassigned);
static_assert(areUnassigned(iso8859_9, {}) && areUnassigned(iso8859_10, {}));
static_assert(areUnassigned(iso8859_11, {0xDB, 0xDC, 0xDD, 0xDE, 0xFC, 0xFD, 0xFE, 0xFF}));
static_assert(areUnassigned(iso8859_13, {}) && areUnassigned(iso8859_14, {}) && areUnassigned(iso8859_15, {}));
static_assert(areUnassigned(iso8859_16, {}) && areUnassigned(iso8859_16WithoutFF, {0xFF}));

static_assert(isRun(iso8859_5, {0xC0, 0xDF, 0x0420}) && isRun(iso8859_5, {0xAE, 0xEF, 0x040E}));
static_assert(iso8859_5[0xF0] == 0x2116 && iso8859_5[0xFD] == 0x00A7);
static_assert(iso8859_5[0xB9] == 0x0419 && iso8859_5[0xD9] == 0x0439, "the short i, capital and small");
static_assert(iso8859_7[0xA1] == 0x2018 && iso8859_7[0xA2] == 0x2019 && iso8859_7[0xA4] == 0x20AC);
static_assert(iso8859_7[0xAF] == 0x2015 && isRun(iso8859_7, {0xD3, 0xFE, 0x03A3}));
static_assert(isRun(iso8859_9, {0x00, 0xBF, 0}) && differences(iso8859_9, iso8859_1) == 6);
static_assert(isRun(iso8859_15, {0xC0, 0xFF, 0x00C0}) && differences(iso8859_15, iso8859_1) == 8);
static_assert(differences(iso8859_16, iso8859_16WithoutFF) == 1 && iso8859_16[0xFF] == 0x00FF);

} // namespace zelk::tables
