// Collects the service information of a DVB transport stream (ETSI EN 300 468): networks, bouquets, services and
// events with their texts as broadcast, undecoded. Every section counts by itself, so that a capture torn at both ends
// gives what it holds; whole tables are not waited for.
#pragma once

#include "transport_stream.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <vector>

namespace zelk::tool {

struct ServiceKey {
    std::uint16_t originalNetwork = 0;
    std::uint16_t transportStream = 0;
    std::uint16_t service = 0;

    bool operator<(const ServiceKey &other) const {
        return std::tie(originalNetwork, transportStream, service) <
               std::tie(other.originalNetwork, other.transportStream, other.service);
    }
};

struct EventKey {
    ServiceKey service;
    std::uint16_t event = 0;
    std::string language; // ISO 639-2, three bytes as broadcast; empty for an event without a text

    bool operator<(const EventKey &other) const {
        return std::tie(service, event, language) < std::tie(other.service, other.event, other.language);
    }
};

// Where a record comes from: a later section of the same table replaces it when its version differs.
struct Origin {
    std::uint8_t table = 0;
    std::uint8_t version = 0;
};

struct Service {
    Origin origin;
    std::uint8_t type = 0; // EN 300 468, table 89
    std::string provider;
    std::string name;
};

struct NamedGroup { // a network or a bouquet
    Origin origin;
    std::string name;
};

struct ExtendedItem {
    std::string description;
    std::string value;

    bool operator==(const ExtendedItem &other) const = default;
};

// One extended event descriptor of the up to sixteen that carry a long text.
struct ExtendedPiece {
    std::vector<ExtendedItem> items;
    std::string text;

    bool operator==(const ExtendedPiece &other) const = default;
};

struct Event {
    Origin origin;
    std::array<std::uint8_t, 5> start{};    // Modified Julian Date and BCD time of day, UTC
    std::array<std::uint8_t, 3> duration{}; // BCD
    std::string name;
    std::string text;
    std::map<std::uint8_t, ExtendedPiece> extended; // by descriptor number
};

enum class RecordKind { Network, Bouquet, Service, Event };

// A record that was announced for the first time, or again by another version of its table.
struct Announcement {
    RecordKind kind = RecordKind::Network;
    std::uint16_t group = 0; // of a network or a bouquet
    EventKey key;            // of an event; its service alone for a service
    Origin origin;
    bool isNew = false;     // else it was known
    bool differs = false;   // says something else than before
    bool later = false;     // by a later version of its table than the first that came
    std::string formerName; // as broadcast, of a record that was known
};

struct SectionCounts {
    std::uint64_t sections = 0;        // whole and with a right checksum, of the tables collected here
    std::uint64_t damagedPackets = 0;  // flagged by the demodulator, scrambled or with an impossible header
    std::uint64_t discontinuities = 0; // packets missing before this one
    std::uint64_t badSections = 0;     // wrong checksum or length
    std::uint64_t brokenSections = 0;  // begun and never finished
    std::uint64_t malformed = 0;       // descriptors or loops that do not fit their frame
    std::uint64_t dropped = 0;         // records beyond the limits
};

// What a scan may keep: far more than any multiplex carries, and a bound for a stream that was made to exhaust memory.
struct Limits {
    std::size_t records = 1'000'000;
    std::size_t textBytes = 256U << 20U;
};

class ServiceInformation {
public:
    using Bytes = std::span<const std::uint8_t>;

    explicit ServiceInformation(Limits limits = {});
    ~ServiceInformation();
    ServiceInformation(const ServiceInformation &) = delete;
    ServiceInformation &operator=(const ServiceInformation &) = delete;

    void push(const Packet &packet);

    // Calls `announced` for every record as its section completes. Records that a complete new version of a table no
    // longer holds are forgotten from then on, so that what is kept follows what is announced.
    void watch(std::function<void(const Announcement &)> announced) { announced_ = std::move(announced); }

    std::size_t records() const { return networks_.size() + bouquets_.size() + services_.size() + events_.size(); }

    // Tells that no packet follows: sections that are still open are counted as broken.
    void finish();

    const std::map<std::uint16_t, NamedGroup> &networks() const { return networks_; }
    const std::map<std::uint16_t, NamedGroup> &bouquets() const { return bouquets_; }
    const std::map<ServiceKey, Service> &services() const { return services_; }
    const std::map<EventKey, Event> &events() const { return events_; }
    const SectionCounts &counts() const { return counts_; }

private:
    class Assembler;
    struct Section;
    struct TableState;
    using TableKey = std::tuple<std::uint8_t, std::uint16_t, std::uint16_t, std::uint16_t>;

    void collect(const Section &section);
    void collectGroup(const Section &section, std::map<std::uint16_t, NamedGroup> &groups, std::uint8_t nameTag);
    void collectServices(const Section &section);
    void collectEvents(const Section &section);
    void collectEvent(Origin origin, const ServiceKey &service, Bytes header, Bytes descriptors);
    template <class Visit>
    void forEachDescriptor(Bytes loop, Visit visit);
    template <class Key, class Record>
    void keep(std::map<Key, Record> &records, const Key &key, Record record);
    void follow(const Section &section);
    void settle(const Section &section);
    template <class Key, class Record, class Belongs>
    void forget(std::map<Key, Record> &records, const Origin &origin, Belongs belongs);

    Limits limits_;
    std::function<void(const Announcement &)> announced_;
    std::map<TableKey, TableState> tables_;
    bool laterVersion_ = false; // of the section that is being collected
    std::size_t textBytes_ = 0;
    std::map<std::uint16_t, std::unique_ptr<Assembler>> assemblers_; // by packet identifier
    std::map<std::uint16_t, NamedGroup> networks_;
    std::map<std::uint16_t, NamedGroup> bouquets_;
    std::map<ServiceKey, Service> services_;
    std::map<EventKey, Event> events_;
    SectionCounts counts_;
};

} // namespace zelk::tool
