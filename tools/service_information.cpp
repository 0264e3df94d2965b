// The sections are put together and checked by libdvbpsi, and the descriptors that carry text are taken apart by it.
// The library trusts what it is given more than a broadcast deserves: it reads past packets whose adaptation or pointer
// field points outside, confuses repeated packets after a gap, and copies extended event descriptors without looking
// at their lengths. So packets and descriptors are measured here before the library sees them.
#include "service_information.h"

#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>

#include <dvbpsi/descriptor.h>

#include <dvbpsi/dr_40.h>
#include <dvbpsi/dr_47.h>
#include <dvbpsi/dr_48.h>
#include <dvbpsi/dr_4d.h>
#include <dvbpsi/dr_4e.h>

#include <algorithm>
#include <bitset>
#include <new>
#include <utility>

namespace zelk::tool {

namespace {

using Bytes = ServiceInformation::Bytes;

constexpr std::uint16_t networkPid = 0x0010;
constexpr std::uint16_t servicePid = 0x0011; // services and bouquets
constexpr std::uint16_t eventPid = 0x0012;

constexpr std::uint8_t tableNetworkActual = 0x40;
constexpr std::uint8_t tableNetworkOther = 0x41;
constexpr std::uint8_t tableServicesActual = 0x42;
constexpr std::uint8_t tableServicesOther = 0x46;
constexpr std::uint8_t tableBouquet = 0x4A;
constexpr std::uint8_t tablePresentActual = 0x4E;
constexpr std::uint8_t tablePresentOther = 0x4F;
constexpr std::uint8_t tableScheduleLast = 0x6F;

constexpr std::uint8_t tagNetworkName = 0x40;
constexpr std::uint8_t tagBouquetName = 0x47;
constexpr std::uint8_t tagService = 0x48;
constexpr std::uint8_t tagShortEvent = 0x4D;
constexpr std::uint8_t tagExtendedEvent = 0x4E;

std::uint16_t wordAt(Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8U | bytes[at + 1]);
}

// The twelve-bit lengths of descriptor loops stand behind four bits of other use.
std::size_t lengthAt(Bytes bytes, std::size_t at) {
    return wordAt(bytes, at) & 0x0FFFU;
}

std::string textOf(const std::uint8_t *bytes, std::size_t length) {
    return {bytes, bytes + length};
}

bool presentOrFollowing(std::uint8_t table) {
    return table == tablePresentActual || table == tablePresentOther;
}

// Events are announced in several tables, each with versions of its own: what is said of the present and the following
// event wins over the schedule; else the section that comes later is the newer one.
bool replaces(const Origin &now, const Origin &before) {
    if (now.table == before.table) {
        return now.version != before.version;
    }
    return presentOrFollowing(now.table) || !presentOrFollowing(before.table);
}

// Whether two records say the same, wherever they come from.
bool same(const NamedGroup &a, const NamedGroup &b) {
    return a.name == b.name;
}

bool same(const Service &a, const Service &b) {
    return a.type == b.type && a.provider == b.provider && a.name == b.name;
}

bool same(const Event &a, const Event &b) {
    return a.start == b.start && a.duration == b.duration && a.name == b.name && a.text == b.text &&
           a.extended == b.extended;
}

RecordKind kindOf(const NamedGroup &group) {
    return group.origin.table == tableBouquet ? RecordKind::Bouquet : RecordKind::Network;
}

RecordKind kindOf(const Service & /*service*/) {
    return RecordKind::Service;
}

RecordKind kindOf(const Event & /*event*/) {
    return RecordKind::Event;
}

EventKey eventKey(std::uint16_t /*group*/) {
    return {};
}

EventKey eventKey(const ServiceKey &service) {
    return {service, 0, {}};
}

EventKey eventKey(const EventKey &event) {
    return event;
}

std::uint16_t groupOf(std::uint16_t group) {
    return group;
}

template <class Key>
std::uint16_t groupOf(const Key & /*key*/) {
    return 0;
}

std::size_t textBytes(const NamedGroup &group) {
    return group.name.size();
}

std::size_t textBytes(const Service &service) {
    return service.provider.size() + service.name.size();
}

std::size_t textBytes(const Event &event) {
    std::size_t sum = event.name.size() + event.text.size();
    for (const auto &[number, piece] : event.extended) {
        sum += sizeof piece + piece.text.size();
        for (const ExtendedItem &item : piece.items) {
            sum += sizeof item + item.description.size() + item.value.size();
        }
    }
    return sum;
}

// A descriptor on loan to libdvbpsi.
class Descriptor {
public:
    Descriptor(std::uint8_t tag, Bytes content)
        : descriptor_(dvbpsi_NewDescriptor(tag, static_cast<std::uint8_t>(content.size()),
                                           const_cast<std::uint8_t *>(content.data()))) {
        if (descriptor_ == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~Descriptor() { dvbpsi_DeleteDescriptors(descriptor_); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    dvbpsi_descriptor_t *get() const { return descriptor_; }

private:
    dvbpsi_descriptor_t *descriptor_;
};

// Whether a length byte at `at` and the bytes that it counts lie inside; moves `at` behind them.
bool stepOver(Bytes bytes, std::size_t &at) {
    if (at >= bytes.size() || bytes.size() - at - 1 < bytes[at]) {
        return false;
    }
    at += 1U + bytes[at];
    return true;
}

bool serviceFits(Bytes content) {
    std::size_t at = 1;
    return stepOver(content, at) && stepOver(content, at);
}

bool shortEventFits(Bytes content) {
    std::size_t at = 3;
    return stepOver(content, at) && stepOver(content, at);
}

bool extendedEventFits(Bytes content) {
    std::size_t at = 4;
    if (!stepOver(content, at)) {
        return false;
    }
    const Bytes items = content.first(at);
    for (std::size_t item = 5; item < items.size();) {
        if (!stepOver(items, item) || !stepOver(items, item)) {
            return false;
        }
    }
    return stepOver(content, at);
}

std::string languageOf(const std::uint8_t *code) {
    std::string language = textOf(code, 3);
    for (char &letter : language) {
        const bool capital = letter >= 'A' && letter <= 'Z';
        letter = capital ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return language;
}

} // namespace

struct ServiceInformation::Section {
    Origin origin;
    std::uint16_t extension = 0;
    std::uint8_t number = 0;
    std::uint8_t lastNumber = 0;
    Bytes payload; // between the eight bytes of the header and the checksum
};

// How far the version of a table has come that is being sent.
struct ServiceInformation::TableState {
    std::uint8_t firstVersion = 0;
    std::uint8_t version = 0;
    std::bitset<256> seen; // section numbers
};

// Puts the sections of one packet identifier together.
class ServiceInformation::Assembler {
public:
    explicit Assembler(SectionCounts &counts) : counts_(counts) {
        handle_ = dvbpsi_new(&Assembler::complain, DVBPSI_MSG_ERROR);
        if (handle_ == nullptr) {
            throw std::bad_alloc();
        }
        handle_->p_sys = this;
        begin();
    }
    ~Assembler() {
        end();
        dvbpsi_DeletePSISections(complete_);
        dvbpsi_delete(handle_);
    }
    Assembler(const Assembler &) = delete;
    Assembler &operator=(const Assembler &) = delete;

    template <class Visit>
    void push(const Packet &packet, Visit visit);

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
            dvbpsi_decoder_new(&Assembler::gather, sectionSize, false, sizeof(dvbpsi_decoder_t)));
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
        auto *self = static_cast<Assembler *>(handle->p_sys);
        dvbpsi_psi_section_t **last = &self->complete_;
        while (*last != nullptr) {
            last = &(*last)->p_next;
        }
        *last = section;
    }

    // Packets arrive here in order and measured, so all that the library can find fault with is a section.
    static void complain(dvbpsi_t *handle, dvbpsi_msg_level_t /*level*/, const char * /*message*/) {
        ++static_cast<Assembler *>(handle->p_sys)->counts_.badSections;
    }

    SectionCounts &counts_;
    dvbpsi_t *handle_ = nullptr;
    dvbpsi_psi_section_t *complete_ = nullptr;
    bool started_ = false;
    unsigned int continuity_ = 0;
};

// Measures a packet and follows its continuity counter; false for a packet that the library must not see.
bool ServiceInformation::Assembler::sound(const Packet &packet) {
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

template <class Visit>
void ServiceInformation::Assembler::push(const Packet &packet, Visit visit) {
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
        const bool whole = section->b_syntax_indicator && section->p_payload_end >= section->p_payload_start;
        if (whole && section->b_current_next) {
            visit(Section{{section->i_table_id, section->i_version},
                          section->i_extension,
                          section->i_number,
                          section->i_last_number,
                          {section->p_payload_start, section->p_payload_end}});
        }
    }
}

ServiceInformation::ServiceInformation(Limits limits) : limits_(limits) {
    for (const std::uint16_t pid : {networkPid, servicePid, eventPid}) {
        assemblers_.emplace(pid, std::make_unique<Assembler>(counts_));
    }
}

ServiceInformation::~ServiceInformation() = default;

void ServiceInformation::push(const Packet &packet) {
    const auto pid = static_cast<std::uint16_t>((packet[1] & 0x1FU) << 8U | packet[2]);
    const auto found = assemblers_.find(pid);
    if (found != assemblers_.end()) {
        found->second->push(packet, [this](const Section &section) { collect(section); });
    }
}

void ServiceInformation::finish() {
    for (const auto &[pid, assembler] : assemblers_) {
        assembler->breakOff();
    }
}

// Keeps account of a table's versions, while somebody watches.
void ServiceInformation::follow(const Section &section) {
    const bool events = section.origin.table >= tablePresentActual && section.origin.table <= tableScheduleLast;
    const bool services = section.origin.table == tableServicesActual || section.origin.table == tableServicesOther;
    const Bytes payload = section.payload;
    if (!announced_ || payload.size() < 6) {
        laterVersion_ = false;
        return;
    }
    const TableKey key{section.origin.table, section.extension, services || events ? wordAt(payload, 0) : 0,
                       events ? wordAt(payload, 2) : 0};
    if (tables_.size() >= limits_.records && tables_.find(key) == tables_.end()) {
        return;
    }
    const auto [place, isNew] = tables_.try_emplace(key);
    TableState &state = place->second;
    if (isNew) {
        state.firstVersion = section.origin.version;
    }
    if (isNew || state.version != section.origin.version) {
        state.version = section.origin.version;
        state.seen.reset();
    }
    laterVersion_ = state.version != state.firstVersion;
}

template <class Key, class Record, class Belongs>
void ServiceInformation::forget(std::map<Key, Record> &records, const Origin &origin, Belongs belongs) {
    for (auto entry = records.begin(); entry != records.end();) {
        const Origin &from = entry->second.origin;
        if (from.table == origin.table && from.version != origin.version && belongs(entry->first)) {
            textBytes_ -= textBytes(entry->second);
            entry = records.erase(entry);
        } else {
            ++entry;
        }
    }
}

// Where every section of a version has come, what earlier versions said besides is over. A segment of the schedule may
// end before its eighth section.
void ServiceInformation::settle(const Section &section) {
    const std::uint8_t table = section.origin.table;
    const bool events = table >= tablePresentActual && table <= tableScheduleLast;
    const bool services = table == tableServicesActual || table == tableServicesOther;
    const Bytes payload = section.payload;
    if (!announced_ || payload.size() < 6) {
        return;
    }
    const auto found = tables_.find(
        {table, section.extension, services || events ? wordAt(payload, 0) : 0, events ? wordAt(payload, 2) : 0});
    if (found == tables_.end() || found->second.seen[section.number]) {
        return;
    }
    std::bitset<256> &seen = found->second.seen;
    seen.set(section.number);
    for (unsigned int skipped = payload[4] + 1U;
         events && skipped <= (section.number | 7U) && payload[4] >= section.number; ++skipped) {
        seen.set(skipped);
    }
    for (unsigned int number = 0; number <= section.lastNumber; ++number) {
        if (!seen[number]) {
            return;
        }
    }
    if (events) {
        const ServiceKey service{wordAt(payload, 2), wordAt(payload, 0), section.extension};
        forget(events_, section.origin,
               [&service](const EventKey &key) { return !(key.service < service) && !(service < key.service); });
    } else if (services) {
        const std::uint16_t network = wordAt(payload, 0);
        forget(services_, section.origin, [&section, network](const ServiceKey &key) {
            return key.transportStream == section.extension && key.originalNetwork == network;
        });
    } else {
        forget(table == tableBouquet ? bouquets_ : networks_, section.origin,
               [&section](std::uint16_t id) { return id == section.extension; });
    }
}

void ServiceInformation::collect(const Section &section) {
    const std::uint8_t table = section.origin.table;
    follow(section);
    if (table == tableNetworkActual || table == tableNetworkOther) {
        collectGroup(section, networks_, tagNetworkName);
    } else if (table == tableBouquet) {
        collectGroup(section, bouquets_, tagBouquetName);
    } else if (table == tableServicesActual || table == tableServicesOther) {
        collectServices(section);
    } else if (table >= tablePresentActual && table <= tableScheduleLast) {
        collectEvents(section);
    } else {
        return;
    }
    ++counts_.sections;
    settle(section);
}

template <class Visit>
void ServiceInformation::forEachDescriptor(Bytes loop, Visit visit) {
    while (loop.size() >= 2) {
        const std::size_t length = loop[1];
        if (loop.size() - 2 < length) {
            break;
        }
        visit(loop[0], loop.subspan(2, length));
        loop = loop.subspan(2 + length);
    }
    counts_.malformed += loop.empty() ? 0 : 1;
}

// Puts a record in its place unless the one that is there is as new, or the limits are reached.
template <class Key, class Record>
void ServiceInformation::keep(std::map<Key, Record> &records, const Key &key, Record record) {
    const auto found = records.find(key);
    const bool known = found != records.end();
    if (known && !replaces(record.origin, found->second.origin)) {
        return;
    }
    const std::size_t room = limits_.textBytes - textBytes_ + (known ? textBytes(found->second) : 0);
    const std::size_t count = networks_.size() + bouquets_.size() + services_.size() + events_.size();
    if (textBytes(record) > room || (!known && count >= limits_.records)) {
        ++counts_.dropped;
        return;
    }
    textBytes_ = limits_.textBytes - room + textBytes(record);
    Announcement announcement;
    if (announced_) {
        announcement = {kindOf(record), groupOf(key), eventKey(key), record.origin, !known, true, laterVersion_, {}};
        if (known) {
            announcement.differs = !same(record, found->second);
            announcement.formerName = found->second.name;
        }
    }
    if (known) {
        found->second = std::move(record);
    } else {
        records.emplace(key, std::move(record));
    }
    if (announced_) {
        announced_(announcement);
    }
}

void ServiceInformation::collectGroup(const Section &section, std::map<std::uint16_t, NamedGroup> &groups,
                                      std::uint8_t nameTag) {
    const Bytes payload = section.payload;
    if (payload.size() < 2 || payload.size() - 2 < lengthAt(payload, 0)) {
        ++counts_.malformed;
        return;
    }
    // The name stands in one section of the table, most often the first: the others leave it as it is.
    forEachDescriptor(payload.subspan(2, lengthAt(payload, 0)), [&](std::uint8_t tag, Bytes content) {
        if (tag != nameTag) {
            return;
        }
        const Descriptor descriptor(tag, content);
        NamedGroup group{section.origin, {}};
        if (tag == tagNetworkName) {
            if (const auto *decoded = dvbpsi_DecodeNetworkNameDr(descriptor.get())) {
                group.name = textOf(decoded->i_name_byte, decoded->i_name_length);
            }
        } else if (const auto *decoded = dvbpsi_DecodeBouquetNameDr(descriptor.get())) {
            group.name = textOf(decoded->i_char, decoded->i_name_length);
        }
        keep(groups, section.extension, std::move(group));
    });
}

void ServiceInformation::collectServices(const Section &section) {
    constexpr std::size_t headSize = 3;
    constexpr std::size_t entrySize = 5;
    Bytes rest = section.payload;
    if (rest.size() < headSize) {
        ++counts_.malformed;
        return;
    }
    const std::uint16_t originalNetwork = wordAt(rest, 0);
    for (rest = rest.subspan(headSize); rest.size() >= entrySize;) {
        const ServiceKey key{originalNetwork, section.extension, wordAt(rest, 0)};
        const std::size_t length = lengthAt(rest, 3);
        rest = rest.subspan(entrySize);
        if (length > rest.size()) {
            break;
        }
        Service service{section.origin, 0, {}, {}};
        forEachDescriptor(rest.first(length), [&](std::uint8_t tag, Bytes content) {
            if (tag != tagService) {
                return;
            }
            if (!serviceFits(content)) {
                ++counts_.malformed;
                return;
            }
            const Descriptor descriptor(tag, content);
            if (const auto *decoded = dvbpsi_DecodeServiceDr(descriptor.get())) {
                service.type = decoded->i_service_type;
                service.provider = textOf(decoded->i_service_provider_name, decoded->i_service_provider_name_length);
                service.name = textOf(decoded->i_service_name, decoded->i_service_name_length);
            }
        });
        keep(services_, key, std::move(service));
        rest = rest.subspan(length);
    }
    counts_.malformed += rest.empty() ? 0 : 1;
}

void ServiceInformation::collectEvents(const Section &section) {
    constexpr std::size_t headSize = 6;
    constexpr std::size_t entrySize = 12;
    Bytes rest = section.payload;
    if (rest.size() < headSize) {
        ++counts_.malformed;
        return;
    }
    const ServiceKey service{wordAt(rest, 2), wordAt(rest, 0), section.extension};
    for (rest = rest.subspan(headSize); rest.size() >= entrySize;) {
        const Bytes header = rest.first(entrySize);
        const std::size_t length = lengthAt(header, 10);
        rest = rest.subspan(entrySize);
        if (length > rest.size()) {
            break;
        }
        collectEvent(section.origin, service, header, rest.first(length));
        rest = rest.subspan(length);
    }
    counts_.malformed += rest.empty() ? 0 : 1;
}

// An event says its texts once for each language, and each language becomes a record.
void ServiceInformation::collectEvent(Origin origin, const ServiceKey &service, Bytes header, Bytes descriptors) {
    Event blank;
    blank.origin = origin;
    std::copy_n(header.begin() + 2, blank.start.size(), blank.start.begin());
    std::copy_n(header.begin() + 7, blank.duration.size(), blank.duration.begin());

    std::map<std::string, Event> languages;
    forEachDescriptor(descriptors, [&](std::uint8_t tag, Bytes content) {
        if (tag == tagShortEvent && shortEventFits(content)) {
            const Descriptor descriptor(tag, content);
            if (const auto *decoded = dvbpsi_DecodeShortEventDr(descriptor.get())) {
                Event &event = languages.try_emplace(languageOf(decoded->i_iso_639_code), blank).first->second;
                event.name = textOf(decoded->i_event_name, static_cast<std::size_t>(decoded->i_event_name_length));
                event.text = textOf(decoded->i_text, static_cast<std::size_t>(decoded->i_text_length));
            }
        } else if (tag == tagExtendedEvent && extendedEventFits(content)) {
            const Descriptor descriptor(tag, content);
            if (const auto *decoded = dvbpsi_DecodeExtendedEventDr(descriptor.get())) {
                Event &event = languages.try_emplace(languageOf(decoded->i_iso_639_code), blank).first->second;
                ExtendedPiece &piece = event.extended[decoded->i_descriptor_number];
                piece = {};
                for (int i = 0; i < decoded->i_entry_count; ++i) {
                    piece.items.push_back(
                        {textOf(decoded->i_item_description[i], decoded->i_item_description_length[i]),
                         textOf(decoded->i_item[i], decoded->i_item_length[i])});
                }
                piece.text = textOf(decoded->i_text, static_cast<std::size_t>(decoded->i_text_length));
            }
        } else if (tag == tagShortEvent || tag == tagExtendedEvent) {
            ++counts_.malformed;
        }
    });
    if (languages.empty()) {
        languages.emplace(std::string(), blank);
    }
    for (auto &[language, event] : languages) {
        keep(events_, EventKey{service, wordAt(header, 0), language}, std::move(event));
    }
}

} // namespace zelk::tool
