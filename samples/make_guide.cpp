// Makes a small ATSC guide and the listing of what it says, both from one file of programmes in plain words:
//
//     make_guide guide.json guide.ts guide.expected.json
//
// The tables (A/65) are written here field by field: libdvbpsi has no generators for them.
// As with the multiplex, the listing is written from the words themselves, never from decoded bytes.
#include "listing.h"

#include "helpers/sections.h"
#include "reference/context_codes.h"
#include "reference/huffman_encoder.h"
#include "reference/utf8_model.h"

#include "zelk.h"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <string>

namespace {

using zelk_samples::Json;
using zelk_test::bigEndian;
using zelk_test::counted;
using zelk_test::descriptor;
using zelk_test::loop;

constexpr std::uint16_t basePid = 0x1FFB;
constexpr std::uint16_t eventPid = 0x1D00;
constexpr std::uint16_t messagePid = 0x1E00;
constexpr unsigned int leapSeconds = 18;

// ---- Texts ----

std::u16string unitsOf(const std::string &words) {
    std::u16string units;
    for (const zelk_test::Utf8Character &character :
         zelk_test::utf8CharactersModel(words, zelk_test::TextEnd::Terminator)) {
        units += static_cast<char16_t>(character.character.value());
    }
    return units;
}

std::string wide(const std::u16string &units) {
    std::string bytes;
    for (const char16_t unit : units) {
        bytes += bigEndian(unit, 2);
    }
    return bytes;
}

// How a text is sent: "title" and "description" compressed, "wide" in UTF-16, else a byte for each character.
std::string segment(const std::string &form, const std::string &words) {
    static const zelk_test::ContextCodes titles = zelk_test::contextCodes(_title_dec_table);
    static const zelk_test::ContextCodes descriptions = zelk_test::contextCodes(_desc_dec_table);
    if (form == "title") {
        return std::string("\1\0", 2) + counted(encodeGuideText(titles, words));
    }
    if (form == "description") {
        return std::string("\2\0", 2) + counted(encodeGuideText(descriptions, words));
    }
    const std::u16string units = unitsOf(words);
    if (form == "wide") {
        return std::string("\0\x3F", 2) + counted(wide(units));
    }
    return std::string("\0\0", 2) + counted({units.begin(), units.end()});
}

// A multiple string structure of one string in one segment for each language.
std::string strings(const Json &texts, const std::string &form) {
    std::string result = bigEndian(texts.size(), 1);
    for (const auto &[language, words] : texts.items()) {
        result += language + '\1' + segment(form, words.get<std::string>());
    }
    return result;
}

std::int64_t secondsOf(const std::string &time) {
    using namespace std::chrono;
    const year_month_day date(year(std::stoi(time.substr(0, 4))),
                              month(static_cast<unsigned int>(std::stoi(time.substr(5, 2)))),
                              day(static_cast<unsigned int>(std::stoi(time.substr(8, 2)))));
    const sys_days epoch = year(1980) / January / 6;
    return seconds(sys_days(date) - epoch).count() + std::stoi(time.substr(11, 2)) * std::int64_t{3600} +
           std::stoi(time.substr(14, 2)) * std::int64_t{60} + leapSeconds;
}

// ---- Sections and packets ----

class Guide {
public:
    explicit Guide(const std::string &path) : file_(path, std::ios::binary) {}

    void send(std::uint16_t pid, std::uint8_t table, std::uint16_t extension, const std::string &payload) {
        file_ << packets_.packets(pid, zelk_test::section({table, extension, 1}, payload));
    }

private:
    std::ofstream file_;
    zelk_test::PacketMaker packets_;
};

// ---- Tables ----

std::string masterGuide() {
    const auto entry = [](unsigned int type, std::uint16_t pid) {
        return bigEndian(type, 2) + bigEndian(0xE000U | pid, 2) + bigEndian(0xE1, 1) + bigEndian(0, 4) +
               loop({}, 0xF000U);
    };
    return bigEndian(0, 1) + bigEndian(2, 2) + entry(0x100, eventPid) + entry(0x200, messagePid) + loop({}, 0xF000U);
}

std::string channelTable(const Json &guide) {
    std::string payload = bigEndian(0, 1) + bigEndian(guide.at("channels").size(), 1);
    for (const Json &channel : guide.at("channels")) {
        std::u16string name = unitsOf(channel.at("name"));
        name.resize(7);
        const unsigned int major = channel.at("major");
        const unsigned int minor = channel.at("minor");
        payload += wide(name) + bigEndian(0xF00000U | major << 10U | minor, 3) + bigEndian(0x04, 1) + bigEndian(0, 4);
        payload += bigEndian(guide.at("transport_stream").get<unsigned int>(), 2);
        payload += bigEndian(channel.at("program").get<unsigned int>(), 2) + bigEndian(0x0DC2, 2);
        payload += bigEndian(channel.at("source").get<unsigned int>(), 2);
        payload += loop(descriptor(0xA0, strings({{"eng", channel.at("long_name")}}, "plain")), 0xFC00U);
    }
    return payload + loop({}, 0xFC00U);
}

std::string eventTable(const Json &channel) {
    std::string payload = bigEndian(0, 1) + bigEndian(channel.at("events").size(), 1);
    for (const Json &event : channel.at("events")) {
        std::string descriptors;
        if (event.contains("rating")) {
            // One region with one dimension, and what it means in words.
            descriptors += descriptor(0x87, std::string("\xC1\1\1\0\xF2", 5) +
                                                counted(strings({{"eng", event.at("rating")}}, "plain")));
        }
        if (event.contains("genres")) {
            std::string codes;
            for (const Json &genre : event.at("genres")) {
                codes += bigEndian(genre.at("code").get<unsigned int>(), 1);
            }
            descriptors += descriptor(0xAB, bigEndian(0xE0U | codes.size(), 1) + codes);
        }
        payload += bigEndian(0xC000U | event.at("event").get<unsigned int>(), 2);
        payload += bigEndian(static_cast<std::uint64_t>(secondsOf(event.at("start"))), 4);
        payload += bigEndian(0xD00000U | event.at("minutes").get<unsigned int>() * 60U, 3);
        payload += counted(strings(event.at("name"), event.value("form", "title")));
        payload += loop(descriptors, 0xF000U);
    }
    return payload;
}

void makeGuide(const Json &guide, const std::string &path) {
    Guide stream(path);
    stream.send(basePid, 0xC7, 0, masterGuide());
    stream.send(basePid, 0xC8, guide.at("transport_stream"), channelTable(guide));
    for (const Json &channel : guide.at("channels")) {
        const std::uint16_t source = channel.at("source");
        stream.send(eventPid, 0xCB, source, eventTable(channel));
        for (const Json &event : channel.at("events")) {
            if (event.contains("extended")) {
                const unsigned int number = event.at("event");
                stream.send(messagePid, 0xCC, 0,
                            bigEndian(0, 1) + bigEndian(source, 2) + bigEndian(number << 2U | 2U, 2) +
                                strings(event.at("extended"), event.value("extended_form", "description")));
            }
        }
    }
    stream.send(basePid, 0xCD, 0,
                bigEndian(0, 1) + bigEndian(static_cast<std::uint64_t>(secondsOf(guide.at("time"))), 4) +
                    bigEndian(leapSeconds, 1) + bigEndian(0x6000, 2));
}

// ---- The listing ----

std::string durationOf(unsigned int minutes) {
    const auto two = [](unsigned int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
    return two(minutes / 60) + ':' + two(minutes % 60) + ":00";
}

Json channelOf(const Json &guide, const Json &channel) {
    return {{"channel", channel.at("major").dump() + '.' + channel.at("minor").dump()},
            {"transport_stream", guide.at("transport_stream")},
            {"program", channel.at("program")},
            {"source", channel.at("source")},
            {"type", 2},
            {"name", channel.at("name")},
            {"long_name", channel.at("long_name")},
            {"scrambled", false},
            {"hidden", false}};
}

Json eventOf(const Json &channel, const Json &event, const std::string &language) {
    Json record = {{"source", channel.at("source")},
                   {"event", event.at("event")},
                   {"language", language},
                   {"position", event.value("position", "schedule")},
                   {"start", event.at("start").get<std::string>() + ":00Z"},
                   {"duration", durationOf(event.at("minutes"))},
                   {"name", event.at("name").at(language)},
                   {"text", ""},
                   {"extended", event.contains("extended") ? event.at("extended").at(language) : Json("")}};
    if (event.contains("genres")) {
        record["genres"] = event.at("genres");
    }
    if (event.contains("rating")) {
        record["ratings"] = Json::array({{{"region", 1}, {"meaning", Json::array({event.at("rating")})}}});
    }
    return record;
}

Json listing(const Json &guide) {
    Json document = {{"networks", Json::array()}, {"bouquets", Json::array()}, {"streams", Json::array()},
                     {"services", Json::array()}, {"channels", Json::array()}, {"events", Json::array()}};
    for (const Json &channel : guide.at("channels")) {
        document["channels"].push_back(channelOf(guide, channel));
        for (const Json &event : channel.at("events")) {
            for (const auto &[language, name] : event.at("name").items()) {
                document["events"].push_back(eventOf(channel, event, language));
            }
        }
    }
    document["times"].push_back(
        {{"table", "STT"}, {"utc", guide.at("time").get<std::string>() + ":00Z"}, {"leap_seconds", leapSeconds}});
    return document;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        std::cerr << "usage: make_guide guide.json guide.ts guide.expected.json\n";
        return 2;
    }
    try {
        std::ifstream file(argv[1]);
        const Json guide = Json::parse(file);
        makeGuide(guide, argv[2]);
        zelk_samples::writeListing(argv[3], listing(guide));
    } catch (const std::exception &error) {
        std::cerr << "make_guide: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
