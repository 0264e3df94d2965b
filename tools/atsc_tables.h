// What the sections of ATSC program and system information say (A/65): channels (VCT), events (EIT), their extended
// texts (ETT), the time (STT), and where further tables are (MGT).
#pragma once

#include "announced.h"
#include "section.h"

namespace zelk::tool {

inline constexpr std::uint8_t tableGuide = 0xC7; // the master guide table
inline constexpr std::uint8_t tableChannelsTerrestrial = 0xC8;
inline constexpr std::uint8_t tableChannelsCable = 0xC9;
inline constexpr std::uint8_t tableAtscEvents = 0xCB;
inline constexpr std::uint8_t tableMessages = 0xCC;
inline constexpr std::uint8_t tableAtscTime = 0xCD;

// Adds what the section says; false where its table is none of these.
bool readAtscSection(const Section &section, SectionRecords &records);

} // namespace zelk::tool
