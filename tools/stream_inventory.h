// What a transport stream carries, by packet identifier: for a scan that found nothing, and has to say what there was.
#pragma once

#include "transport_stream.h"

#include <bitset>
#include <cstdint>
#include <map>
#include <string>

namespace zelk::tool {

class StreamInventory {
public:
    void push(const Packet &packet);

    // A section without packets.
    void add(std::uint8_t table) { sections_.set(table); }

    // "PID 0x0000: PAT; PID 0x0100: PMT; 2 PIDs without tables", or "sections: PAT, PMT".
    std::string seen() const;

    // The tables of service information that did not come: "NIT, BAT, SDT, EIT".
    std::string missing() const;

private:
    std::map<std::uint16_t, std::bitset<256>> tables_; // identifiers of the tables that begin there
    std::bitset<256> sections_;
};

} // namespace zelk::tool
