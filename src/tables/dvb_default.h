// The default character table of DVB text: the Latin table of ETSI EN 300 468 Annex A (Figure A.1, from ISO/IEC 6937
// with the euro sign at 0xA4), with the receiver's choices: 0xE2 is the letter eth and 0xFF the soft hyphen.
//
// The controls are unassigned, 0x00 too: a decoder takes them out before it looks a byte up. The marks of the row C_
// stand here as they look when nothing follows that they could be set upon.
#pragma once

#include "tables/byte_set_notation.h"

namespace zelk::tables {

inline constexpr CodePoints dvbDefault =
    withGrid(withoutAny(withoutAny(identity, 0x00, 0x1F), 0x7F, 0x9F), 0xA0,
             "00A0 00A1 00A2 00A3 20AC 00A5 ---- 00A7 00A4 2018 201C 00AB 2190 2191 2192 2193 "  // A_
             "00B0 00B1 00B2 00B3 00D7 00B5 00B6 00B7 00F7 2019 201D 00BB 00BC 00BD 00BE 00BF "  // B_
             "---- 0060 00B4 005E 007E 00AF 02D8 02D9 00A8 ---- 02DA 00B8 ---- 02DD 02DB 02C7 "  // C_
             "2015 00B9 00AE 00A9 2122 266A 00AC 00A6 ---- ---- ---- ---- 215B 215C 215D 215E "  // D_
             "03A9 00C6 00D0 00AA 0126 ---- 0132 013F 0141 00D8 0152 00BA 00DE 0166 014A 0149 "  // E_
             "0138 00E6 0111 00F0 0127 0131 0133 0140 0142 00F8 0153 00DF 00FE 0167 014B 00AD"); // F_

static_assert(isRun(dvbDefault, {0x20, 0x7E, 0x20}));
static_assert(areUnassigned(with(dvbDefault, {{0x00, 0x1F, 0x00}, {0x7F, 0x9F, 0x7F}}),
                            {0xA6, 0xC0, 0xC9, 0xCC, 0xD8, 0xD9, 0xDA, 0xDB, 0xE5}));
static_assert(unassignedCount(dvbDefault) == 32 + 33 + 9);
static_assert(dvbDefault[0xA4] == 0x20AC && dvbDefault[0xA8] == 0x00A4);
static_assert(dvbDefault[0xE2] == 0x00D0 && dvbDefault[0xFF] == 0x00AD, "kept on purpose");

} // namespace zelk::tables
