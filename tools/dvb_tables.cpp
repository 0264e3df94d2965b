// Descriptors are read here, within their bounds: libdvbpsi copies some of them without looking at their lengths, and
// knows no stream_content_ext.
#include "dvb_tables.h"

#include <chrono>
#include <map>

namespace zelk::tool {

namespace {

constexpr std::uint8_t tagNetworkName = 0x40;
constexpr std::uint8_t tagServiceList = 0x41;
constexpr std::uint8_t tagBouquetName = 0x47;
constexpr std::uint8_t tagService = 0x48;
constexpr std::uint8_t tagShortEvent = 0x4D;
constexpr std::uint8_t tagExtendedEvent = 0x4E;
constexpr std::uint8_t tagComponent = 0x50;
constexpr std::uint8_t tagContent = 0x54;
constexpr std::uint8_t tagParentalRating = 0x55;
constexpr std::uint8_t tagLocalOffset = 0x58;
constexpr std::uint8_t tagPrivateData = 0x5F;
constexpr std::uint8_t tagChannelNumber = 0x83;

std::optional<unsigned int> fromBcd(std::uint8_t byte, unsigned int limit) {
    const unsigned int tens = byte >> 4U;
    const unsigned int ones = byte & 0x0FU;
    const unsigned int value = tens * 10 + ones;
    return tens < 10 && ones < 10 && value < limit ? std::optional(value) : std::nullopt;
}

// Hours, minutes and seconds of two decimal digits each.
Seconds timeOfDay(Cursor &from, unsigned int hourLimit) {
    const auto hours = fromBcd(from.byte(), hourLimit);
    const auto minutes = fromBcd(from.byte(), 60);
    const auto seconds = fromBcd(from.byte(), 60);
    return hours && minutes && seconds ? Seconds{*hours} * 3600 + Seconds{*minutes} * 60 + *seconds : unknownTime;
}

// Modified Julian Date and time of day.
Seconds dateAndTime(Cursor &from) {
    using namespace std::chrono;
    constexpr sys_days epoch = year{1858} / November / 17;
    const Seconds date = sys_seconds(epoch + days{from.word()}).time_since_epoch().count();
    const Seconds time = timeOfDay(from, 24);
    return time == unknownTime ? unknownTime : date + time;
}

// Hours and minutes of two decimal digits each.
int offsetMinutes(Cursor &from, bool west) {
    const auto hours = static_cast<int>(fromBcd(from.byte(), 100).value_or(0));
    const auto minutes = static_cast<int>(fromBcd(from.byte(), 60).value_or(0));
    return (west ? -1 : 1) * (hours * 60 + minutes);
}

// ---- Networks and bouquets ----

Stream readStream(Origin origin, Bytes descriptors, SectionRecords &records) {
    Stream stream{origin, {}, {}};
    // The tag of channel numbers belongs to whose private data it is. Many do not say; those that do are EACEM, NorDig
    // and the British D-Book.
    std::optional<std::uint64_t> specifier;
    forEachDescriptor(descriptors, records.malformed, [&](std::uint8_t tag, Cursor rest) {
        if (tag == tagPrivateData) {
            specifier = rest.number(4);
        } else if (tag == tagServiceList) {
            while (rest.size() >= 3) {
                const std::uint16_t service = rest.word();
                stream.services.push_back({service, rest.byte()});
            }
        } else if (tag == tagChannelNumber &&
                   (!specifier || specifier == 0x28U || specifier == 0x29U || specifier == 0x233AU)) {
            while (rest.size() >= 4) {
                const std::uint16_t service = rest.word();
                const std::uint16_t entry = rest.word();
                stream.numbers.push_back(
                    {service, static_cast<std::uint16_t>(entry & 0x03FFU), (entry & 0x8000U) != 0});
            }
        }
    });
    return stream;
}

void readGroup(const Section &section, SectionRecords &records) {
    const bool bouquet = section.table == tableBouquet;
    const Origin origin = section.origin();
    Cursor rest(section.payload);
    const Bytes names = rest.loop();
    if (!rest.good()) {
        ++records.malformed;
        return;
    }
    // The name stands in one section of the table, most often the first: the others leave it as it is.
    forEachDescriptor(names, records.malformed, [&](std::uint8_t tag, Cursor content) {
        if (tag == (bouquet ? tagBouquetName : tagNetworkName)) {
            (bouquet ? records.bouquets : records.networks)
                .emplace_back(section.extension, NamedGroup{origin, content.string(content.size())});
        }
    });
    if (rest.empty()) {
        return;
    }
    Cursor streams(rest.loop());
    while (rest.good() && !streams.empty()) {
        StreamKey key{bouquet, section.extension, 0, streams.word()};
        key.originalNetwork = streams.word();
        const Bytes descriptors = streams.loop();
        if (!streams.good()) {
            break;
        }
        records.streams.emplace_back(key, readStream(origin, descriptors, records));
    }
    records.malformed += rest.good() && streams.good() ? 0 : 1;
}

// ---- Services ----

void readServices(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    const std::uint16_t originalNetwork = rest.word();
    (void)rest.byte();
    while (rest.good() && !rest.empty()) {
        const ServiceKey key{originalNetwork, section.extension, rest.word(), System::Dvb};
        (void)rest.byte(); // whether its events are announced
        Service service;
        service.origin = section.origin();
        const std::uint16_t state = rest.word();
        service.runningStatus = static_cast<std::uint8_t>(state >> 13U);
        service.scrambled = (state & 0x1000U) != 0;
        const Bytes descriptors = rest.take(state & 0x0FFFU);
        if (!rest.good()) {
            break;
        }
        forEachDescriptor(descriptors, records.malformed, [&](std::uint8_t tag, Cursor names) {
            if (tag != tagService) {
                return;
            }
            const std::uint8_t type = names.byte();
            const std::string provider = names.shortString();
            const std::string name = names.shortString();
            if (!names.good()) {
                ++records.malformed;
                return;
            }
            service.type = type;
            service.provider = provider;
            service.name = name;
        });
        records.services.emplace_back(key, std::move(service));
    }
    records.malformed += rest.good() ? 0 : 1;
}

// ---- Events ----

// The texts of an event in one language.
bool readExtendedEvent(Cursor rest, std::map<std::string, Event> &languages) {
    const auto number = static_cast<std::uint8_t>(rest.byte() >> 4U);
    const std::string language = rest.language();
    Cursor items(rest.take(rest.byte()));
    ExtendedPiece piece;
    while (!items.empty() && items.good()) {
        std::string description = items.shortString();
        piece.items.push_back({std::move(description), items.shortString()});
    }
    piece.text = rest.shortString();
    if (!rest.good() || !items.good()) {
        return false;
    }
    languages[language].extended[number] = std::move(piece);
    return true;
}

bool readShortEvent(Cursor rest, std::map<std::string, Event> &languages) {
    const std::string language = rest.language();
    std::string name = rest.shortString();
    std::string text = rest.shortString();
    if (!rest.good()) {
        return false;
    }
    Event &event = languages[language];
    event.name = std::move(name);
    event.text = std::move(text);
    return true;
}

bool readEventDescriptor(std::uint8_t tag, Cursor rest, Event &event, std::map<std::string, Event> &languages) {
    switch (tag) {
    case tagShortEvent:
        return readShortEvent(rest, languages);
    case tagExtendedEvent:
        return readExtendedEvent(rest, languages);
    case tagComponent: {
        Component component;
        const std::uint8_t kind = rest.byte();
        component.extension = static_cast<std::uint8_t>(kind >> 4U);
        component.content = static_cast<std::uint8_t>(kind & 0x0FU);
        component.type = rest.byte();
        component.tag = rest.byte();
        component.language = rest.language();
        component.text = rest.string(rest.size());
        if (rest.good()) {
            event.components.push_back(std::move(component));
        }
        return rest.good();
    }
    case tagContent:
        while (rest.size() >= 2) {
            const std::uint8_t code = rest.byte();
            event.genres.push_back({code, rest.byte()});
        }
        return rest.empty();
    case tagParentalRating:
        while (rest.size() >= 4) {
            const std::string country = rest.string(3);
            event.ratings.push_back({country, rest.byte(), {}});
        }
        return rest.empty();
    default:
        return true;
    }
}

// An event says its texts once for each language, and each language becomes a record with all that is common.
bool readEvent(Cursor &rest, const ServiceKey &service, Origin origin, Position position, SectionRecords &records) {
    const std::uint16_t number = rest.word();
    Event common;
    common.origin = origin;
    common.position = position;
    common.start = dateAndTime(rest);
    common.duration = timeOfDay(rest, 100);
    const std::uint16_t state = rest.word();
    common.runningStatus = static_cast<std::uint8_t>(state >> 13U);
    common.scrambled = (state & 0x1000U) != 0;
    const Bytes descriptors = rest.take(state & 0x0FFFU);
    if (!rest.good()) {
        return false;
    }
    std::map<std::string, Event> languages;
    forEachDescriptor(descriptors, records.malformed, [&](std::uint8_t tag, Cursor content) {
        records.malformed += readEventDescriptor(tag, content, common, languages) ? 0 : 1;
    });
    if (languages.empty()) {
        languages[""];
    }
    for (auto &[language, texts] : languages) {
        Event event = common;
        event.name = std::move(texts.name);
        event.text = std::move(texts.text);
        event.extended = std::move(texts.extended);
        records.events.emplace_back(EventKey{service, number, language}, std::move(event));
    }
    return true;
}

void readEvents(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    ServiceKey service{0, rest.word(), section.extension, System::Dvb};
    service.originalNetwork = rest.word();
    (void)rest.word(); // last section of the segment, last table
    const Position position = !isPresentOrFollowing(section.table) ? Position::Schedule
                              : section.number == 0                ? Position::Present
                                                                   : Position::Following;
    while (rest.good() && !rest.empty()) {
        if (!readEvent(rest, service, section.origin(), position, records)) {
            break;
        }
    }
    records.malformed += rest.good() ? 0 : 1;
}

// ---- Time ----

void readTime(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    TimeOfDay time;
    time.origin = section.origin();
    time.utc = dateAndTime(rest);
    if (section.table == tableTimeOffset) {
        forEachDescriptor(rest.loop(), records.malformed, [&time](std::uint8_t tag, Cursor entry) {
            constexpr std::size_t entrySize = 13;
            while (tag == tagLocalOffset && entry.size() >= entrySize) {
                LocalOffset offset;
                offset.country = entry.string(3);
                const std::uint8_t kind = entry.byte();
                const bool west = (kind & 1U) != 0;
                offset.region = static_cast<std::uint8_t>(kind >> 2U);
                offset.minutes = offsetMinutes(entry, west);
                offset.change = dateAndTime(entry);
                offset.nextMinutes = offsetMinutes(entry, west);
                time.offsets.push_back(std::move(offset));
            }
        });
    }
    if (rest.good()) {
        records.times.push_back(std::move(time));
    }
    records.malformed += rest.good() ? 0 : 1;
}

} // namespace

bool readDvbSection(const Section &section, SectionRecords &records) {
    const std::uint8_t table = section.table;
    const bool isTime = table == tableTime || table == tableTimeOffset;
    if (!isTime && !section.longForm) {
        return false;
    }
    // Without a checksum, nothing but its length tells a time from what follows damage.
    constexpr std::size_t timeSize = 5;
    if (table == tableTime && (section.longForm || section.payload.size() != timeSize)) {
        return false;
    }
    if (isTime) {
        readTime(section, records);
    } else if (table == tableNetworkActual || table == tableNetworkOther || table == tableBouquet) {
        readGroup(section, records);
    } else if (isServiceTable(table)) {
        readServices(section, records);
    } else if (isEventTable(table)) {
        readEvents(section, records);
    } else {
        return false;
    }
    return true;
}

bool readLoneEvent(Bytes bytes, SectionRecords &records) {
    Cursor rest(bytes);
    SectionRecords found;
    constexpr std::size_t headSize = 12;
    const bool read =
        bytes.size() > headSize && readEvent(rest, {}, {tablePresentActual, 0, 0}, Position::Present, found);
    if (!read || !rest.empty() || found.malformed != 0 || found.events.front().second.start == unknownTime ||
        found.events.front().second.duration == unknownTime) {
        return false;
    }
    records.events = std::move(found.events);
    return true;
}

} // namespace zelk::tool
