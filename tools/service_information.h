// Collects what a broadcast announces, from packets or sections: the records of announced.h. Every section counts by
// itself, so that a capture torn at both ends gives what it holds; whole tables are not waited for. What a complete new
// version of a table no longer holds is forgotten, so that what is kept follows what is announced.
#pragma once

#include "announced.h"
#include "section.h"

#include <bitset>
#include <cstdint>
#include <functional>
#include <map>
#include <tuple>
#include <vector>

namespace zelk::tool {

// A record that was announced for the first time, or again by another version of its table.
struct Announcement {
    RecordKind kind = RecordKind::Network;
    RecordKey key;
    Origin origin;
    bool isNew = false;     // else it was known
    bool differs = false;   // says something else than before
    bool later = false;     // by a later version of its table than the first that came
    std::string formerName; // as broadcast, of a record that was known
};

// What a scan may keep: far more than any multiplex carries, and a bound for a stream that was made to exhaust memory.
struct Limits {
    std::size_t records = 1'000'000;
    std::size_t textBytes = 256U << 20U;
};

class ServiceInformation {
public:
    // Reads the packets of the given identifiers; without any, those that the standards have for these tables, and
    // those that a master guide table names.
    explicit ServiceInformation(Limits limits = {}, const std::vector<std::uint16_t> &pids = {});

    void push(const Packet &packet);

    // A section without packets, and an event without a section.
    void pushSection(Bytes section);
    bool pushLoneEvent(Bytes bytes);

    // Calls `announced` for every record as its section completes.
    void watch(std::function<void(const Announcement &)> announced) { announced_ = std::move(announced); }

    // Tells that no packet follows: sections that are still open are counted as broken.
    void finish();

    const std::map<std::uint16_t, NamedGroup> &networks() const { return networks_; }
    const std::map<std::uint16_t, NamedGroup> &bouquets() const { return bouquets_; }
    const std::map<StreamKey, Stream> &streams() const { return streams_; }
    const std::map<ServiceKey, Service> &services() const { return services_; }
    const std::map<ChannelKey, Channel> &channels() const { return channels_; }
    const std::map<EventKey, Event> &events() const { return events_; }
    const std::map<std::uint8_t, TimeOfDay> &times() const { return times_; } // by table
    std::size_t records() const;
    const SectionCounts &counts() const { return counts_; }

    // The extended text of an ATSC event: in the event's language, else in any; null for none.
    const Message *message(const EventKey &key) const;

    // The number under which receivers list a service; null for none.
    const ChannelNumber *channelNumber(const ServiceKey &key) const;

    // When an event starts, in UTC.
    Seconds startOf(const EventKey &key, const Event &event) const;

    // Whether an event is on now or next. ATSC has no table of these: there its time table says so.
    Position positionOf(const EventKey &key, const Event &event) const;

private:
    // How far the version of a table has come that is being sent.
    struct TableState {
        std::uint8_t version = 0;
        bool changed = false;  // since the first version, whose number comes again after 32
        std::bitset<256> seen; // section numbers
    };
    // Table, its packets, table_id_extension, and what else tells tables apart.
    using TableKey = std::tuple<std::uint8_t, std::uint16_t, std::uint16_t, std::uint32_t>;

    void collect(const Section &section);
    void take(SectionRecords &&records);
    template <class Key, class Record>
    void keep(RecordKind kind, std::map<Key, Record> &records, const Key &key, Record record);
    void keepMessage(const MessageKey &key, Message message);
    void keepTime(TimeOfDay time);
    void listen(std::uint16_t pid);
    TableState *stateOf(const Section &section);
    void settle(const Section &section, TableState &state);
    template <class Key, class Record, class Belongs>
    void forget(std::map<Key, Record> &records, const Origin &origin, Belongs belongs);
    void forgetEvents(const ServiceKey &service, const Origin &origin);

    Limits limits_;
    bool fixedPids_;
    std::function<void(const Announcement &)> announced_;
    std::map<TableKey, TableState> tables_;
    bool laterVersion_ = false; // of the section that is being collected
    std::size_t textBytes_ = 0;
    SectionCounts counts_;
    std::map<std::uint16_t, SectionAssembler> assemblers_; // by packet identifier
    std::map<std::uint16_t, NamedGroup> networks_;
    std::map<std::uint16_t, NamedGroup> bouquets_;
    std::map<StreamKey, Stream> streams_;
    std::map<ServiceKey, Service> services_;
    std::map<ChannelKey, Channel> channels_;
    std::map<EventKey, Event> events_;
    std::map<MessageKey, Message> messages_;
    std::map<std::uint8_t, TimeOfDay> times_;
};

} // namespace zelk::tool
