// Puts the sections of packets together (ISO/IEC 13818-1), by libdvbpsi, and checks them. Sections that stand in a file
// without packets go the same way.
#pragma once

#include "announced.h"
#include "bytes.h"
#include "transport_stream.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace zelk::tool {

struct Section {
    std::uint8_t table = 0;
    bool longForm = false; // with the four fields after it; else they are 0
    std::uint16_t extension = 0;
    std::uint8_t version = 0;
    std::uint8_t number = 0;
    std::uint8_t lastNumber = 0;
    std::uint16_t pid = 0; // of its packets
    Bytes payload;         // between the header and the checksum

    Origin origin() const { return {table, version, pid}; }
};

struct SectionCounts {
    std::uint64_t sections = 0;        // whole and with a right checksum, of the tables that are collected
    std::uint64_t damagedPackets = 0;  // flagged by the demodulator, scrambled or with an impossible header
    std::uint64_t discontinuities = 0; // packets missing before this one
    std::uint64_t badSections = 0;     // wrong checksum or length
    std::uint64_t brokenSections = 0;  // begun and never finished
    std::uint64_t malformed = 0;       // descriptors or loops that do not fit their frame
    std::uint64_t dropped = 0;         // records beyond the limits
};

// The sections of one packet identifier.
class SectionAssembler {
public:
    using Visit = std::function<void(const Section &)>;

    SectionAssembler(SectionCounts &counts, std::uint16_t pid);
    ~SectionAssembler();

    void push(const Packet &packet, const Visit &visit);

    // A section without packets.
    void pushSection(Bytes section, const Visit &visit);

    // Forgets a section that is not complete.
    void breakOff();

private:
    class Decoder;
    std::unique_ptr<Decoder> decoder_;
    unsigned int continuity_ = 0; // of packets made for sections
};

// Calls visit(tag, Cursor) for each descriptor of a loop, and counts what is left when one does not fit.
template <class Visit>
void forEachDescriptor(Bytes loop, std::uint64_t &malformed, Visit visit) {
    for (Cursor rest(loop); !rest.empty();) {
        const std::uint8_t tag = rest.byte();
        const Bytes content = rest.take(rest.byte());
        if (!rest.good()) {
            ++malformed;
            return;
        }
        visit(tag, Cursor(content));
    }
}

// The length of the section that begins there, by its header; 0 where fewer than three bytes are left.
std::size_t sectionLength(Bytes bytes);

// Whether a whole section with a right checksum begins there; tables without a checksum have the length that they must
// have.
bool beginsWithSection(Bytes bytes);

} // namespace zelk::tool
