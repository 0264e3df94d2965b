#include "atsc_tables.h"

namespace zelk::tool {

namespace {

constexpr std::uint8_t tagContentAdvisory = 0x87;
constexpr std::uint8_t tagLongName = 0xA0; // extended_channel_name_descriptor
constexpr std::uint8_t tagGenre = 0xAB;

constexpr Seconds gpsEpoch = 315'964'800; // 1980-01-06

// A multiple string structure: each string is in a language and made of segments, which stay as broadcast.
std::vector<LanguageText> readStrings(Cursor &rest) {
    std::vector<LanguageText> strings(rest.empty() ? 0 : rest.byte());
    for (LanguageText &text : strings) {
        text.language = rest.language();
        for (unsigned int segments = rest.byte(); segments != 0 && rest.good(); --segments) {
            const std::string head = rest.string(3); // compression, mode, bytes
            text.segments += head;
            if (rest.good()) {
                text.segments += rest.string(static_cast<unsigned char>(head[2]));
            }
        }
        if (!rest.good()) {
            return {};
        }
    }
    return strings;
}

// ---- Channels ----

void readChannels(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    (void)rest.byte(); // protocol
    for (unsigned int count = rest.byte(); count != 0 && rest.good(); --count) {
        Channel channel;
        channel.origin = section.origin();
        channel.name = rest.string(14);
        const std::uint64_t numbers = rest.number(3);
        (void)rest.take(5); // modulation, frequency
        const ChannelKey key{rest.word(), static_cast<std::uint16_t>(numbers >> 10U & 0x3FFU),
                             static_cast<std::uint16_t>(numbers & 0x3FFU)};
        channel.program = rest.word();
        const std::uint16_t state = rest.word();
        channel.scrambled = (state & 0x2000U) != 0;
        channel.hidden = (state & 0x1000U) != 0;
        channel.type = static_cast<std::uint8_t>(state & 0x3FU);
        channel.source = rest.word();
        const Bytes descriptors = rest.take(rest.word() & 0x03FFU);
        if (!rest.good()) {
            break;
        }
        forEachDescriptor(descriptors, records.malformed, [&](std::uint8_t tag, Cursor content) {
            if (tag == tagLongName) {
                channel.longNames = readStrings(content);
                records.malformed += content.good() ? 0 : 1;
            }
        });
        records.channels.emplace_back(key, std::move(channel));
    }
    records.malformed += rest.good() ? 0 : 1;
}

// ---- Events ----

std::vector<Rating> readRatings(Cursor &rest) {
    std::vector<Rating> ratings(rest.byte() & 0x3FU);
    for (Rating &rating : ratings) {
        rating.value = rest.byte();
        const std::size_t dimensions = rest.byte();
        (void)rest.take(2 * dimensions);
        Cursor meaning(rest.take(rest.byte()));
        rating.meaning = readStrings(meaning);
        if (!rest.good()) {
            return {};
        }
    }
    return ratings;
}

void readEvents(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    const ServiceKey source{0, 0, section.extension, System::Atsc};
    (void)rest.byte(); // protocol
    for (unsigned int count = rest.byte(); count != 0 && rest.good(); --count) {
        const auto number = static_cast<std::uint16_t>(rest.word() & 0x3FFFU);
        Event event;
        event.origin = section.origin();
        event.start = gpsEpoch + static_cast<Seconds>(rest.number(4));
        event.duration = static_cast<Seconds>(rest.number(3) & 0xFFFFFU);
        Cursor title(rest.take(rest.byte()));
        std::vector<LanguageText> names = readStrings(title);
        const Bytes descriptors = rest.loop();
        if (!rest.good()) {
            break;
        }
        records.malformed += title.good() ? 0 : 1;
        forEachDescriptor(descriptors, records.malformed, [&](std::uint8_t tag, Cursor content) {
            if (tag == tagContentAdvisory) {
                event.ratings = readRatings(content);
            } else if (tag == tagGenre) {
                for (unsigned int genres = content.byte() & 0x1FU; genres != 0 && !content.empty(); --genres) {
                    event.genres.push_back({content.byte(), 0});
                }
            }
            records.malformed += content.good() ? 0 : 1;
        });
        if (names.empty()) {
            names.emplace_back();
        }
        for (LanguageText &name : names) {
            event.name = std::move(name.segments);
            records.events.emplace_back(EventKey{source, number, name.language}, event);
        }
    }
    records.malformed += rest.good() ? 0 : 1;
}

void readMessages(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    (void)rest.byte(); // protocol
    MessageKey key{rest.word(), std::nullopt, {}};
    const std::uint16_t event = rest.word();
    if ((event & 3U) == 2) {
        key.event = static_cast<std::uint16_t>(event >> 2U);
    }
    for (LanguageText &text : readStrings(rest)) {
        key.language = text.language;
        records.messages.emplace_back(key, Message{section.origin(), std::move(text.segments)});
    }
    records.malformed += rest.good() ? 0 : 1;
}

// ---- Time and places ----

void readTime(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    (void)rest.byte(); // protocol
    TimeOfDay time;
    time.origin = section.origin();
    time.utc = gpsEpoch + static_cast<Seconds>(rest.number(4));
    time.leapSeconds = rest.byte();
    time.utc -= *time.leapSeconds;
    if (rest.good()) {
        records.times.push_back(std::move(time));
    }
    records.malformed += rest.good() ? 0 : 1;
}

// A/65, table 6.3: channels, events and extended texts, of the 128 tables of each.
constexpr bool isCollected(unsigned int guideType) {
    constexpr unsigned int lastChannelType = 4;
    const unsigned int family = guideType & ~0x7FU;
    return guideType <= lastChannelType || family == 0x0100 || family == 0x0200;
}

void readGuide(const Section &section, SectionRecords &records) {
    Cursor rest(section.payload);
    (void)rest.byte(); // protocol
    for (unsigned int count = rest.word(); count != 0 && rest.good(); --count) {
        const std::uint16_t type = rest.word();
        const auto pid = static_cast<std::uint16_t>(rest.word() & 0x1FFFU);
        (void)rest.take(5); // version, size
        (void)rest.loop();
        if (rest.good() && isCollected(type) && pid != nullPid) {
            records.pids.push_back(pid);
        }
    }
    records.malformed += rest.good() ? 0 : 1;
}

} // namespace

bool readAtscSection(const Section &section, SectionRecords &records) {
    if (!section.longForm) {
        return false;
    }
    switch (section.table) {
    case tableGuide:
        readGuide(section, records);
        return true;
    case tableChannelsTerrestrial:
    case tableChannelsCable:
        readChannels(section, records);
        return true;
    case tableAtscEvents:
        readEvents(section, records);
        return true;
    case tableMessages:
        readMessages(section, records);
        return true;
    case tableAtscTime:
        readTime(section, records);
        return true;
    default:
        return false;
    }
}

} // namespace zelk::tool
