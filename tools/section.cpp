// libdvbpsi trusts what it is given more than a broadcast deserves: it reads past packets whose adaptation or pointer
// field points outside, and confuses repeated packets after a gap. So packets are measured here before the library sees
// them.
#include "section.h"

#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>

#include <algorithm>
#include <new>
#include <utility>

namespace zelk::tool {

// Puts the sections of one packet identifier together.
class SectionAssembler::Decoder {
public:
    Decoder(SectionCounts &counts, std::uint16_t pid) : counts_(counts), pid_(pid) {
        handle_ = dvbpsi_new(&Decoder::complain, DVBPSI_MSG_ERROR);
        if (handle_ == nullptr) {
            throw std::bad_alloc();
        }
        handle_->p_sys = this;
        begin();
    }
    ~Decoder() {
        end();
        dvbpsi_DeletePSISections(complete_);
        dvbpsi_delete(handle_);
    }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    void push(const Packet &packet, const Visit &visit);

    // Forgets a section that is not complete.
    void breakOff() {
        if (handle_->p_decoder->p_current_section != nullptr) {
            ++counts_.brokenSections;
        }
        end();
        begin();
    }

private:
    static constexpr int sectionSize = 4096;

    bool sound(const Packet &packet);

    void begin() {
        handle_->p_decoder = static_cast<dvbpsi_decoder_t *>(
            dvbpsi_decoder_new(&Decoder::gather, sectionSize, false, sizeof(dvbpsi_decoder_t)));
        if (handle_->p_decoder == nullptr) {
            throw std::bad_alloc();
        }
    }
    void end() {
        if (handle_->p_decoder != nullptr) {
            dvbpsi_decoder_delete(handle_->p_decoder);
            handle_->p_decoder = nullptr;
        }
    }

    // Sections wait in a list until the library is left again: nothing may be thrown through it.
    static void gather(dvbpsi_t *handle, dvbpsi_psi_section_t *section) {
        auto *self = static_cast<Decoder *>(handle->p_sys);
        dvbpsi_psi_section_t **last = &self->complete_;
        while (*last != nullptr) {
            last = &(*last)->p_next;
        }
        *last = section;
    }

    // Packets arrive here in order and measured, so all that the library can find fault with is a section.
    static void complain(dvbpsi_t *handle, dvbpsi_msg_level_t /*level*/, const char * /*message*/) {
        ++static_cast<Decoder *>(handle->p_sys)->counts_.badSections;
    }

    SectionCounts &counts_;
    std::uint16_t pid_;
    dvbpsi_t *handle_ = nullptr;
    dvbpsi_psi_section_t *complete_ = nullptr;
    bool started_ = false;
    unsigned int continuity_ = 0;
};

// Measures a packet and follows its continuity counter; false for a packet that the library must not see.
bool SectionAssembler::Decoder::sound(const Packet &packet) {
    const bool flagged = (packet[1] & 0x80U) != 0;
    const bool scrambled = (packet[3] & 0xC0U) != 0;
    const bool hasAdaptation = (packet[3] & 0x20U) != 0;
    const bool hasPayload = (packet[3] & 0x10U) != 0;
    const std::size_t payload = hasAdaptation ? 5U + packet[4] : 4U;
    const bool startsSection = (packet[1] & 0x40U) != 0;
    const bool fits = payload < packetSize + (hasPayload ? 0 : 1) &&
                      (!hasPayload || !startsSection || payload + packet[payload] + 1 < packetSize);
    if (flagged || scrambled || !fits || (!hasAdaptation && !hasPayload)) {
        ++counts_.damagedPackets;
        return false;
    }
    if (!hasPayload) {
        return false;
    }
    const unsigned int counter = packet[3] & 0x0FU;
    const bool announcedGap = hasAdaptation && packet[4] != 0 && (packet[5] & 0x80U) != 0;
    const bool repeated = started_ && counter == continuity_ && !announcedGap;
    const bool gap = started_ && counter != ((continuity_ + 1) & 0x0FU);
    started_ = true;
    continuity_ = counter;
    if (repeated) {
        return false;
    }
    if (gap) {
        counts_.discontinuities += announcedGap ? 0 : 1;
        breakOff();
    }
    return true;
}

void SectionAssembler::Decoder::push(const Packet &packet, const Visit &visit) {
    if (!sound(packet)) {
        return;
    }
    Packet copy = packet;
    dvbpsi_packet_push(handle_, copy.data());
    while (complete_ != nullptr) {
        dvbpsi_psi_section_t *section = std::exchange(complete_, complete_->p_next);
        section->p_next = nullptr;
        const std::unique_ptr<dvbpsi_psi_section_t, decltype(&dvbpsi_DeletePSISections)> owner(
            section, &dvbpsi_DeletePSISections);
        if (section->p_payload_end >= section->p_payload_start && section->b_current_next) {
            visit(Section{section->i_table_id,
                          section->b_syntax_indicator,
                          section->i_extension,
                          section->i_version,
                          section->i_number,
                          section->i_last_number,
                          pid_,
                          {section->p_payload_start, section->p_payload_end}});
        }
    }
}

SectionAssembler::SectionAssembler(SectionCounts &counts, std::uint16_t pid)
    : decoder_(std::make_unique<Decoder>(counts, pid)) {}

SectionAssembler::~SectionAssembler() = default;

void SectionAssembler::push(const Packet &packet, const Visit &visit) {
    decoder_->push(packet, visit);
}

void SectionAssembler::pushSection(Bytes section, const Visit &visit) {
    constexpr std::size_t headSize = 4;
    for (bool first = true; first || !section.empty(); first = false) {
        Packet packet;
        packet.fill(0xFF);
        const std::size_t head = headSize + (first ? 1 : 0);
        packet[0] = 0x47;
        packet[1] = first ? 0x40 : 0;
        packet[2] = 0;
        packet[3] = static_cast<std::uint8_t>(0x10U | (continuity_++ & 0x0FU));
        packet[4] = 0; // the section begins at once
        const std::size_t count = std::min(section.size(), packetSize - head);
        std::copy_n(section.begin(), count, packet.begin() + static_cast<std::ptrdiff_t>(head));
        section = section.subspan(count);
        decoder_->push(packet, visit);
    }
}

void SectionAssembler::breakOff() {
    decoder_->breakOff();
}

std::size_t sectionLength(Bytes bytes) {
    constexpr std::size_t headSize = 3;
    return bytes.size() < headSize ? 0 : headSize + ((bytes[1] & 0x0FU) << 8U | bytes[2]);
}

bool beginsWithSection(Bytes bytes) {
    const std::size_t length = sectionLength(bytes);
    if (length == 0 || length > bytes.size()) {
        return false;
    }
    constexpr std::uint8_t tableTime = 0x70;
    if (bytes[0] == tableTime) {
        constexpr std::size_t timeSize = 8;
        return length == timeSize;
    }
    SectionCounts counts;
    SectionAssembler assembler(counts, 0);
    bool found = false;
    assembler.pushSection(bytes.first(length), [&found](const Section &) { found = true; });
    return found && counts.badSections == 0 && ((bytes[1] & 0x80U) != 0 || bytes[0] == 0x73);
}

} // namespace zelk::tool
