#include "service_information.h"

#include "atsc_tables.h"
#include "dvb_tables.h"

#include <utility>

namespace zelk::tool {

namespace {

constexpr std::uint16_t networkPid = 0x0010;
constexpr std::uint16_t servicePid = 0x0011; // services and bouquets
constexpr std::uint16_t eventPid = 0x0012;
constexpr std::uint16_t timePid = 0x0014;
constexpr std::uint16_t atscPid = 0x1FFB;
constexpr std::uint16_t filePid = 0xFFFF; // no packet's: of sections without packets

// A master guide table names 256 at most for each of a few kinds of tables.
constexpr std::size_t mostPids = 1024;

// Whether two records say the same, wherever they come from.
template <class Record>
bool same(Record a, const Record &b) {
    a.origin = b.origin;
    return a == b;
}

bool same(Event a, const Event &b) {
    a.origin = b.origin;
    a.schedule = b.schedule;
    return a == b;
}

// Events are announced in several tables, each with versions of its own: what is said of the present and the following
// event wins over the schedule; else the section that comes later is the newer one. ATSC announces an event in two
// tables of the same kind where it lies in the time of both.
template <class Record>
bool replaces(const Record &now, const Record &before) {
    if (now.origin.table != before.origin.table) {
        return isPresentOrFollowing(now.origin.table) || !isPresentOrFollowing(before.origin.table);
    }
    return now.origin.pid == before.origin.pid ? now.origin.version != before.origin.version : !same(now, before);
}

template <class Record>
const std::string &nameOf(const Record &record) {
    return record.name;
}

const std::string &nameOf(const Stream & /*stream*/) {
    static const std::string none;
    return none;
}

// ---- What a record takes ----

std::size_t textBytes(const NamedGroup &group) {
    return group.name.size();
}

std::size_t textBytes(const Stream &stream) {
    return stream.services.size() * sizeof stream.services[0] + stream.numbers.size() * sizeof stream.numbers[0];
}

std::size_t textBytes(const Service &service) {
    return service.provider.size() + service.name.size();
}

std::size_t textBytes(const std::vector<LanguageText> &texts) {
    std::size_t sum = 0;
    for (const LanguageText &text : texts) {
        sum += sizeof text + text.segments.size();
    }
    return sum;
}

std::size_t textBytes(const Channel &channel) {
    return channel.name.size() + textBytes(channel.longNames);
}

std::size_t textBytes(const Event &event) {
    std::size_t sum = event.name.size() + event.text.size() + event.genres.size() * sizeof event.genres[0];
    for (const auto &[number, piece] : event.extended) {
        sum += sizeof piece + piece.text.size();
        for (const ExtendedItem &item : piece.items) {
            sum += sizeof item + item.description.size() + item.value.size();
        }
    }
    for (const Rating &rating : event.ratings) {
        sum += sizeof rating + textBytes(rating.meaning);
    }
    for (const Component &component : event.components) {
        sum += sizeof component + component.text.size();
    }
    return sum;
}

std::size_t textBytes(const Message &message) {
    return message.segments.size();
}

// ---- Which table a section belongs to ----

// Services and events are announced for each network and transport stream by tables that otherwise look alike.
std::uint32_t tableOwner(const Section &section) {
    Cursor rest(section.payload);
    if (isServiceTable(section.table)) {
        return rest.word();
    }
    return isEventTable(section.table) ? static_cast<std::uint32_t>(rest.number(4)) : 0;
}

} // namespace

ServiceInformation::ServiceInformation(Limits limits, const std::vector<std::uint16_t> &pids)
    : limits_(limits), fixedPids_(!pids.empty()) {
    for (const std::uint16_t pid :
         fixedPids_ ? pids : std::vector<std::uint16_t>{networkPid, servicePid, eventPid, timePid, atscPid}) {
        listen(pid);
    }
}

void ServiceInformation::listen(std::uint16_t pid) {
    if (assemblers_.size() < mostPids) {
        assemblers_.try_emplace(pid, counts_, pid);
    }
}

void ServiceInformation::push(const Packet &packet) {
    const auto pid = static_cast<std::uint16_t>((packet[1] & 0x1FU) << 8U | packet[2]);
    const auto found = assemblers_.find(pid);
    if (found != assemblers_.end()) {
        found->second.push(packet, [this](const Section &section) { collect(section); });
    }
}

void ServiceInformation::pushSection(Bytes section) {
    assemblers_.try_emplace(filePid, counts_, filePid).first->second.pushSection(section, [this](const Section &whole) {
        collect(whole);
    });
}

bool ServiceInformation::pushLoneEvent(Bytes bytes) {
    SectionRecords records;
    if (!readLoneEvent(bytes, records)) {
        return false;
    }
    ++counts_.sections;
    take(std::move(records));
    return true;
}

void ServiceInformation::finish() {
    for (auto &[pid, assembler] : assemblers_) {
        assembler.breakOff();
    }
}

std::size_t ServiceInformation::records() const {
    return networks_.size() + bouquets_.size() + streams_.size() + services_.size() + channels_.size() +
           events_.size() + messages_.size();
}

const Message *ServiceInformation::message(const EventKey &key) const {
    if (key.service.system != System::Atsc) {
        return nullptr;
    }
    MessageKey wanted{key.service.service, key.event, key.language};
    const auto exact = messages_.find(wanted);
    if (exact != messages_.end()) {
        return &exact->second;
    }
    wanted.language.clear();
    const auto first = messages_.lower_bound(wanted);
    const bool any =
        first != messages_.end() && first->first.source == wanted.source && first->first.event == key.event;
    return any ? &first->second : nullptr;
}

const ChannelNumber *ServiceInformation::channelNumber(const ServiceKey &key) const {
    for (const auto &[stream, listed] : streams_) {
        if (stream.originalNetwork == key.originalNetwork && stream.transportStream == key.transportStream) {
            for (const ChannelNumber &number : listed.numbers) {
                if (number.service == key.service) {
                    return &number;
                }
            }
        }
    }
    return nullptr;
}

Seconds ServiceInformation::startOf(const EventKey &key, const Event &event) const {
    if (key.service.system != System::Atsc || event.start == unknownTime) {
        return event.start;
    }
    constexpr std::uint8_t since2017 = 18;
    const auto time = times_.find(tableAtscTime);
    return event.start - (time == times_.end() ? since2017 : time->second.leapSeconds.value_or(since2017));
}

Position ServiceInformation::positionOf(const EventKey &key, const Event &event) const {
    const auto time = times_.find(tableAtscTime);
    if (key.service.system != System::Atsc || time == times_.end()) {
        return event.position;
    }
    const Seconds now = time->second.utc;
    const Seconds start = startOf(key, event);
    if (start <= now) {
        return now < start + event.duration ? Position::Present : Position::Schedule;
    }
    for (auto other = events_.lower_bound(EventKey{key.service, 0, {}});
         other != events_.end() && other->first.service == key.service; ++other) {
        const Seconds otherStart = startOf(other->first, other->second);
        if (otherStart > now && otherStart < start) {
            return Position::Schedule;
        }
    }
    return Position::Following;
}

// ---- Versions ----

ServiceInformation::TableState *ServiceInformation::stateOf(const Section &section) {
    const TableKey key{section.table, section.pid, section.extension, tableOwner(section)};
    auto found = tables_.find(key);
    if (found == tables_.end()) {
        if (tables_.size() >= limits_.records) {
            return nullptr;
        }
        found = tables_.emplace(key, TableState{section.version, false, {}}).first;
    }
    TableState &state = found->second;
    if (state.version != section.version) {
        state.version = section.version;
        state.changed = true;
        state.seen.reset();
    }
    return &state;
}

template <class Key, class Record, class Belongs>
void ServiceInformation::forget(std::map<Key, Record> &records, const Origin &origin, Belongs belongs) {
    for (auto entry = records.begin(); entry != records.end();) {
        const Origin &from = entry->second.origin;
        if (from.table == origin.table && from.pid == origin.pid && from.version != origin.version &&
            belongs(entry->first)) {
            textBytes_ -= textBytes(entry->second);
            entry = records.erase(entry);
        } else {
            ++entry;
        }
    }
}

// An event that is no longer present or following stays where the schedule still lists it.
void ServiceInformation::forgetEvents(const ServiceKey &service, const Origin &origin) {
    const auto old = [&origin](const Origin &from) {
        return from.table == origin.table && from.pid == origin.pid && from.version != origin.version;
    };
    for (auto entry = events_.lower_bound(EventKey{service, 0, {}});
         entry != events_.end() && entry->first.service == service;) {
        Event &event = entry->second;
        if (event.schedule && old(*event.schedule)) {
            event.schedule.reset();
        }
        if (!old(event.origin)) {
            ++entry;
        } else if (event.schedule) {
            event.origin = *std::exchange(event.schedule, std::nullopt);
            event.position = Position::Schedule;
            ++entry;
        } else {
            if (service.system == System::Atsc) {
                const MessageKey first{service.service, entry->first.event, {}};
                for (auto message = messages_.lower_bound(first); message != messages_.end() &&
                                                                  message->first.source == first.source &&
                                                                  message->first.event == first.event;) {
                    textBytes_ -= textBytes(message->second);
                    message = messages_.erase(message);
                }
            }
            textBytes_ -= textBytes(event);
            entry = events_.erase(entry);
        }
    }
}

// Where every section of a version has come, what earlier versions said besides is over. A segment of the schedule may
// end before its eighth section.
void ServiceInformation::settle(const Section &section, TableState &state) {
    if (state.seen[section.number]) {
        return;
    }
    state.seen.set(section.number);
    const bool events = isEventTable(section.table);
    const Origin origin = section.origin();
    Cursor rest(section.payload);
    const std::uint16_t firstWord = rest.word();
    const std::uint16_t secondWord = rest.word();
    const std::uint8_t segmentLast = rest.byte();
    for (unsigned int skipped = segmentLast + 1U;
         events && skipped <= (section.number | 7U) && segmentLast >= section.number; ++skipped) {
        state.seen.set(skipped);
    }
    for (unsigned int number = 0; number <= section.lastNumber; ++number) {
        if (!state.seen[number]) {
            return;
        }
    }
    if (events) {
        forgetEvents({secondWord, firstWord, section.extension, System::Dvb}, origin);
    } else if (section.table == tableAtscEvents) {
        forgetEvents({0, 0, section.extension, System::Atsc}, origin);
    } else if (isServiceTable(section.table)) {
        forget(services_, origin, [&section, firstWord](const ServiceKey &key) {
            return key.transportStream == section.extension && key.originalNetwork == firstWord;
        });
    } else if (section.table == tableChannelsTerrestrial || section.table == tableChannelsCable) {
        forget(channels_, origin, [](const ChannelKey & /*key*/) { return true; });
    } else {
        const bool bouquet = section.table == tableBouquet;
        forget(bouquet ? bouquets_ : networks_, origin,
               [&section](std::uint16_t id) { return id == section.extension; });
        forget(streams_, origin, [&section, bouquet](const StreamKey &key) {
            return key.bouquet == bouquet && key.group == section.extension;
        });
    }
}

// ---- Records ----

void ServiceInformation::collect(const Section &section) {
    SectionRecords records;
    if (!readDvbSection(section, records) && !readAtscSection(section, records)) {
        return;
    }
    ++counts_.sections;
    TableState *const state = section.longForm ? stateOf(section) : nullptr;
    laterVersion_ = state != nullptr && state->changed;
    take(std::move(records));
    if (state != nullptr) {
        settle(section, *state);
    }
}

void ServiceInformation::take(SectionRecords &&records) {
    counts_.malformed += records.malformed;
    const auto keepAll = [this](RecordKind kind, auto &kept, auto &found) {
        for (auto &[key, record] : found) {
            keep(kind, kept, key, std::move(record));
        }
    };
    keepAll(RecordKind::Network, networks_, records.networks);
    keepAll(RecordKind::Bouquet, bouquets_, records.bouquets);
    keepAll(RecordKind::Stream, streams_, records.streams);
    keepAll(RecordKind::Service, services_, records.services);
    keepAll(RecordKind::Channel, channels_, records.channels);
    keepAll(RecordKind::Event, events_, records.events);
    for (auto &[key, message] : records.messages) {
        keepMessage(key, std::move(message));
    }
    for (TimeOfDay &time : records.times) {
        keepTime(std::move(time));
    }
    for (const std::uint16_t pid : records.pids) {
        if (!fixedPids_) {
            listen(pid);
        }
    }
}

// Puts a record in its place unless the one that is there is as new, or the limits are reached.
template <class Key, class Record>
void ServiceInformation::keep(RecordKind kind, std::map<Key, Record> &records, const Key &key, Record record) {
    const auto found = records.find(key);
    const bool known = found != records.end();
    if constexpr (std::is_same_v<Record, Event>) {
        if (known && isPresentOrFollowing(found->second.origin.table) && !isPresentOrFollowing(record.origin.table)) {
            found->second.schedule = record.origin;
        } else if (known && isPresentOrFollowing(record.origin.table)) {
            const Event &before = found->second;
            record.schedule = isPresentOrFollowing(before.origin.table) ? before.schedule : before.origin;
        }
    }
    if (known && !replaces(record, found->second)) {
        return;
    }
    const std::size_t room = limits_.textBytes - textBytes_ + (known ? textBytes(found->second) : 0);
    if (textBytes(record) > room || (!known && this->records() >= limits_.records)) {
        ++counts_.dropped;
        return;
    }
    textBytes_ = limits_.textBytes - room + textBytes(record);
    Announcement announcement;
    if (announced_) {
        announcement = {kind, RecordKey(std::in_place_type<Key>, key), record.origin, !known, true, laterVersion_, {}};
        if (known) {
            announcement.differs = !same(record, found->second);
            announcement.formerName = nameOf(found->second);
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

// An event that is known has something more to say.
void ServiceInformation::keepMessage(const MessageKey &key, Message message) {
    const auto found = messages_.find(key);
    const bool known = found != messages_.end();
    if (known && !replaces(message, found->second)) {
        return;
    }
    const std::size_t room = limits_.textBytes - textBytes_ + (known ? textBytes(found->second) : 0);
    if (textBytes(message) > room || (!known && records() >= limits_.records)) {
        ++counts_.dropped;
        return;
    }
    textBytes_ = limits_.textBytes - room + textBytes(message);
    const bool differs = !known || !same(message, found->second);
    const Origin origin = message.origin;
    messages_[key] = std::move(message);
    if (!announced_ || !key.event) {
        return;
    }
    const ServiceKey source{0, 0, key.source, System::Atsc};
    for (auto event = events_.lower_bound(EventKey{source, *key.event, {}});
         event != events_.end() && event->first.service == source && event->first.event == *key.event; ++event) {
        announced_({RecordKind::Event, event->first, origin, false, differs, laterVersion_, event->second.name});
    }
}

void ServiceInformation::keepTime(TimeOfDay time) {
    const std::uint8_t table = time.origin.table;
    const bool isNew = times_.find(table) == times_.end();
    times_[table] = std::move(time);
    if (announced_) {
        announced_({RecordKind::Time,
                    RecordKey(std::in_place_type<std::uint8_t>, table),
                    times_[table].origin,
                    isNew,
                    true,
                    false,
                    {}});
    }
}

} // namespace zelk::tool
