// What the sections of DVB service information say (ETSI EN 300 468): NIT, BAT, SDT, EIT, TDT and TOT. Every section
// counts by itself.
#pragma once

#include "announced.h"
#include "section.h"

#include <optional>
#include <string>

namespace zelk::tool {

inline constexpr std::uint8_t tableNetworkActual = 0x40;
inline constexpr std::uint8_t tableNetworkOther = 0x41;
inline constexpr std::uint8_t tableServicesActual = 0x42;
inline constexpr std::uint8_t tableServicesOther = 0x46;
inline constexpr std::uint8_t tableBouquet = 0x4A;
inline constexpr std::uint8_t tablePresentActual = 0x4E;
inline constexpr std::uint8_t tablePresentOther = 0x4F;
inline constexpr std::uint8_t tableScheduleLast = 0x6F;
inline constexpr std::uint8_t tableTime = 0x70;
inline constexpr std::uint8_t tableTimeOffset = 0x73;

inline bool isEventTable(std::uint8_t table) {
    return table >= tablePresentActual && table <= tableScheduleLast;
}

inline bool isPresentOrFollowing(std::uint8_t table) {
    return table == tablePresentActual || table == tablePresentOther;
}

inline bool isServiceTable(std::uint8_t table) {
    return table == tableServicesActual || table == tableServicesOther;
}

// Adds what the section says; false where its table is none of these.
bool readDvbSection(const Section &section, SectionRecords &records);

// An event as the event tables hold it, without its section: what receivers keep beside a recording. False where the
// bytes are none.
bool readLoneEvent(Bytes bytes, SectionRecords &records);

} // namespace zelk::tool
