#include "stream_inventory.h"

#include <fmt/format.h>

namespace zelk::tool {

namespace {

struct TableName {
    unsigned int first;
    unsigned int last;
    const char *name;
};

// ISO/IEC 13818-1, ETSI EN 300 468, ATSC A/65.
constexpr TableName tableNames[] = {
    {0x00, 0x00, "PAT"},      {0x01, 0x01, "CAT"},       {0x02, 0x02, "PMT"},      {0x40, 0x41, "NIT"},
    {0x42, 0x42, "SDT"},      {0x46, 0x46, "SDT other"}, {0x4A, 0x4A, "BAT"},      {0x4E, 0x4F, "EIT p/f"},
    {0x50, 0x6F, "EIT"},      {0x70, 0x70, "TDT"},       {0x72, 0x72, "stuffing"}, {0x73, 0x73, "TOT"},
    {0x74, 0x74, "AIT"},      {0xC7, 0xC7, "MGT"},       {0xC8, 0xC9, "VCT"},      {0xCA, 0xCA, "RRT"},
    {0xCB, 0xCB, "ATSC EIT"}, {0xCC, 0xCC, "ETT"},       {0xCD, 0xCD, "STT"},
};

std::string nameOf(unsigned int table) {
    for (const TableName &entry : tableNames) {
        if (table >= entry.first && table <= entry.last) {
            return entry.name;
        }
    }
    return fmt::format("table 0x{:02x}", table);
}

std::string namesOf(const std::bitset<256> &tables) {
    std::string names;
    for (unsigned int table = 0; table < tables.size(); ++table) {
        const std::string name = tables[table] ? nameOf(table) : std::string();
        if (!name.empty() && names.find(name) == std::string::npos) {
            names += (names.empty() ? "" : ", ") + name;
        }
    }
    return names;
}

} // namespace

void StreamInventory::push(const Packet &packet) {
    const auto pid = static_cast<std::uint16_t>((packet[1] & 0x1FU) << 8U | packet[2]);
    std::bitset<256> &tables = tables_[pid];
    const bool starts = (packet[1] & 0x40U) != 0 && (packet[3] & 0xD0U) == 0x10; // in the clear, with a payload
    const std::size_t payload = (packet[3] & 0x20U) != 0 ? 5U + packet[4] : 4U;
    if (!starts || payload + 4 >= packetSize) {
        return;
    }
    const bool elementary = packet[payload] == 0 && packet[payload + 1] == 0 && packet[payload + 2] == 1;
    const std::size_t at = payload + 1 + packet[payload];
    if (!elementary && at + 3 <= packetSize && packet[at] != 0xFF && (packet[at + 1] & 0x30U) == 0x30) {
        tables.set(packet[at]);
    }
}

std::string StreamInventory::seen() const {
    std::string result = sections_.none() ? "" : "sections: " + namesOf(sections_);
    std::size_t others = 0;
    for (const auto &[pid, tables] : tables_) {
        const std::string names = namesOf(tables);
        others += names.empty() ? 1 : 0;
        if (!names.empty()) {
            result += fmt::format("{}PID 0x{:04x}: {}", result.empty() ? "" : "; ", pid, names);
        }
    }
    if (others != 0) {
        result += fmt::format("{}{} PID{} without tables", result.empty() ? "" : "; ", others, others == 1 ? "" : "s");
    }
    return result;
}

std::string StreamInventory::missing() const {
    constexpr TableName wanted[] = {{0x40, 0x41, "NIT"}, {0x4A, 0x4A, "BAT"}, {0x42, 0x46, "SDT"}, {0x4E, 0x6F, "EIT"}};
    std::string result;
    for (const TableName &entry : wanted) {
        bool found = false;
        for (const auto &[pid, tables] : tables_) {
            for (unsigned int table = entry.first; table <= entry.last; ++table) {
                found = found || tables[table];
            }
        }
        if (!found) {
            result += std::string(result.empty() ? "" : ", ") + entry.name;
        }
    }
    return result;
}

} // namespace zelk::tool
