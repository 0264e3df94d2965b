// zelk scan: each table of DVB and ATSC, made here field by field, with what it says in words of the standards; what
// the filters choose; and inputs that are no packets.
#include "helpers/sections.h"
#include "helpers/text.h"
#include "reference/huffman_encoder.h"
#include "tool/run.h"

#include "zelk.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <iterator>
#include <memory>

namespace {

using namespace zelk_test;
using nlohmann::json;

// ---- DVB ----

// 2026-03-01 is day 61100 of the Modified Julian Date; the times are BCD.
const std::string evening = bytes("EE AC 18 30 00");

std::string network() {
    const std::string numbers = bytes("00 07 FC 0C 00 08 7C 0D"); // 7: number 12, visible; 8: number 13, hidden
    const std::string stream = descriptor(0x41, bytes("00 07 01 00 08 02")) + descriptor(0x83, numbers);
    const std::string name = descriptor(0x40, "Net");
    return section({0x40, 0x3001}, loop(name) + loop(bytes("00 02 20 01") + loop(stream)));
}

// A foreign owner of private descriptors: tag 0x83 is no channel number then.
std::string foreignNetwork() {
    const std::string stream = descriptor(0x5F, bytes("00 00 00 05")) + descriptor(0x83, bytes("00 07 FC 63"));
    return section({0x41, 0x3002}, loop({}) + loop(bytes("00 03 20 01") + loop(stream)));
}

std::string services() {
    const auto service = [](unsigned int id, unsigned int state, const std::string &name) {
        const std::string names = descriptor(0x48, bytes("19") + counted("P") + counted(name));
        return bigEndian(id, 2) + '\xFD' + loop(names, state);
    };
    return section({0x42, 2}, bytes("20 01 FF") + service(7, 0x8000, "Open") + service(8, 0x3000, "Closed"));
}

std::string eventEntry(unsigned int id, const std::string &start, unsigned int state, const std::string &descriptors) {
    return bigEndian(id, 2) + start + bytes("01 30 00") + loop(descriptors, state);
}

std::string shortEvent(const std::string &language, const std::string &name, const std::string &text) {
    return descriptor(0x4D, language + counted(name) + counted(text));
}

std::string richEvent() {
    const std::string first = bytes("00") + "FRA" + counted({}) +
                              counted("\x05"
                                      "Un caf\xE9 ");
    const std::string second = bytes("11") + "fra" + counted(counted("Avec") + counted("Nobody")) +
                               counted("\x05"
                                       "noir");
    std::string descriptors = shortEvent("fra", "Nom", "Texte") + shortEvent("deu", "Name", "");
    descriptors += descriptor(0x4E, second) + descriptor(0x4E, first);
    descriptors += descriptor(0x50, bytes("F5 0B 01") + "fra" + "Image") + descriptor(0x50, bytes("F2 03 02") + "fra");
    descriptors += descriptor(0x54, bytes("14 00 F7 22")) + descriptor(0x55, "FRA\x09"
                                                                             "DEU\x20");
    return eventEntry(9, evening, 0x9000, descriptors);
}

std::string present() {
    return section({0x4E, 7, 3, 0, 1}, bytes("00 02 20 01 01 4E") + richEvent());
}

std::string following() {
    return section({0x4E, 7, 3, 1, 1}, bytes("00 02 20 01 01 4E") + eventEntry(10, bytes("EE AC 20 00 00"), 0x2000,
                                                                               shortEvent("fra", "Apres", "")));
}

std::string schedule() {
    return section({0x50, 7, 1, 0, 0},
                   bytes("00 02 20 01 00 50") +
                       eventEntry(11, bytes("EE AC 22 00 00"), 0,
                                  shortEvent("fra", "Tard", "") + descriptor(0x54, bytes("40 00"))) +
                       eventEntry(12, std::string(5, '\xFF'), 0, shortEvent("fra", "Un jour", "")));
}

std::string time() {
    return shortSection(0x70, bytes("EE AC 18 45 12"), false);
}

std::string timeOffset() {
    const std::string offsets =
        "GBR" + bytes("02 00 00 EE C8 01 00 00 01 00") + "CAN" + bytes("07 03 30 EE C8 01 00 00 02 30");
    return shortSection(0x73, bytes("EE AC 18 45 13") + loop(descriptor(0x58, offsets)), true);
}

using Sections = std::vector<std::pair<unsigned int, std::string>>;

Sections dvbSections() {
    return {{0x10, network()}, {0x10, foreignNetwork()}, {0x11, services()}, {0x12, schedule()},
            {0x12, present()}, {0x12, following()},      {0x14, time()},     {0x14, timeOffset()}};
}

std::string dvb() {
    return streamOf(dvbSections());
}

json scan(const std::vector<std::string> &options, const std::string &input) {
    std::vector<std::string> arguments = {"scan", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Result result = run(arguments, input);
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_EQ(result.error, "");
    return json::parse(result.out);
}

TEST(Announced, NetworksListStreamsAndChannelNumbers) {
    const json found = scan({}, dvb());
    EXPECT_EQ(found["networks"], json::parse(R"([{"id": 12289, "name": "Net"}])"));
    EXPECT_EQ(found["streams"], json::parse(R"([
        {"group": "network", "id": 12289, "original_network": 8193, "transport_stream": 2,
         "services": [{"service": 7, "type": 1}, {"service": 8, "type": 2}],
         "channel_numbers": [{"service": 7, "number": 12, "visible": true},
                             {"service": 8, "number": 13, "visible": false}]},
        {"group": "network", "id": 12290, "original_network": 8193, "transport_stream": 3}])"));
}

TEST(Announced, ServicesSayWhetherTheyRunAndAreScrambled) {
    EXPECT_EQ(scan({}, dvb())["services"], json::parse(R"([
        {"original_network": 8193, "transport_stream": 2, "service": 7, "type": 25, "name": "Open", "provider": "P",
         "running_status": "running", "scrambled": false, "channel_number": 12},
        {"original_network": 8193, "transport_stream": 2, "service": 8, "type": 25, "name": "Closed", "provider": "P",
         "running_status": "not running", "scrambled": true, "channel_number": 13}])"));
}

TEST(Announced, EventsSayAllInEachLanguage) {
    const json events = scan({}, dvb())["events"];
    ASSERT_EQ(events.size(), 5U);
    const json common = json::parse(R"({"original_network": 8193, "transport_stream": 2, "service": 7, "event": 9,
        "position": "present", "start": "2026-03-01T18:30:00Z", "duration": "01:30:00", "running_status": "running",
        "scrambled": true,
        "genres": [{"code": 20, "name": "movie/drama: comedy", "user": 0},
                   {"code": 247, "name": "user defined", "user": 34}],
        "ratings": [{"country": "FRA", "value": 9, "age": 12}, {"country": "DEU", "value": 32}],
        "components": [{"content": 5, "extension": 15, "type": 11, "tag": 1, "kind": "H.264 video", "language": "fra",
                        "text": "Image"},
                       {"content": 2, "extension": 15, "type": 3, "tag": 2, "kind": "MPEG-1 layer 2 audio",
                        "language": "fra", "text": ""}]})");
    json german = common;
    german.update(json::parse(R"({"language": "deu", "name": "Name", "text": "", "extended": ""})"));
    EXPECT_EQ(events[0], german);
    json french = common;
    french.update(json::parse(R"({"language": "fra", "name": "Nom", "text": "Texte", "extended": "Un café noir",
                                  "items": [{"description": "Avec", "item": "Nobody"}]})"));
    EXPECT_EQ(events[1], french);
    EXPECT_EQ(events[2]["position"], "following");
    EXPECT_EQ(events[3]["position"], "schedule");
    EXPECT_EQ(events[3]["genres"][0]["name"], "sports");
    EXPECT_TRUE(events[4]["start"].is_null());
}

TEST(Announced, TimeAndItsOffsets) {
    EXPECT_EQ(scan({}, dvb())["times"], json::parse(R"([
        {"table": "TDT", "utc": "2026-03-01T18:45:12Z"},
        {"table": "TOT", "utc": "2026-03-01T18:45:13Z", "offsets": [
            {"country": "GBR", "region": 0, "offset": "+00:00", "change": "2026-03-29T01:00:00Z",
             "next_offset": "+01:00"},
            {"country": "CAN", "region": 1, "offset": "-03:30", "change": "2026-03-29T01:00:00Z",
             "next_offset": "-02:30"}]}])"));
    std::string damaged = timeOffset();
    damaged[5] = static_cast<char>(damaged[5] ^ 1);
    const Result result = run({"scan", "--json"}, streamOf({{0x14, time()}, {0x14, damaged}}));
    EXPECT_NE(result.error.find("1 section with a wrong checksum"), std::string::npos) << result;
}

// A time has no checksum: what damage makes of other bytes has not its length.
TEST(Announced, TimeHasItsLength) {
    const std::string longer = "\x70\x70\x06" + std::string(6, '\xFF');
    EXPECT_EQ(scan({}, time() + longer)["times"], json::parse(R"([{"table": "TDT", "utc": "2026-03-01T18:45:12Z"}])"));
}

// An event that is no longer present stays as long as the schedule lists it, and no longer.
TEST(Announced, WhatIsNoLongerAnnouncedIsForgotten) {
    const auto eit = [](const SectionHead &head, const std::string &events) {
        return std::pair(0x12U, section(head, bytes("00 02 20 01 00 50") + events));
    };
    const std::string a = eventEntry(1, evening, 0, shortEvent("eng", "A", ""));
    const std::string b = eventEntry(2, evening, 0, shortEvent("eng", "B", ""));
    Sections input = {eit({0x50, 7, 1}, a), eit({0x4E, 7, 1}, a), eit({0x4E, 7, 2}, b)};
    const json kept = scan({}, streamOf(input))["events"];
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(kept[0]["name"], "A");
    EXPECT_EQ(kept[0]["position"], "schedule");
    input.push_back(eit({0x50, 7, 2}, b));
    const json left = scan({}, streamOf(input))["events"];
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0]["name"], "B");
    EXPECT_EQ(left[0]["position"], "present");
}

TEST(Announced, EvidenceSaysWhatEachTextWas) {
    const json events = scan({"--evidence", "--language", "fra", "--now"}, dvb())["events"];
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["texts"], json::parse(R"([
        {"member": "name", "language": "fra", "bytes": "4E 6F 6D", "table": "DVB default table",
         "reason": "default", "findings": []},
        {"member": "text", "language": "fra", "bytes": "54 65 78 74 65", "table": "DVB default table",
         "reason": "default", "findings": []},
        {"member": "extended", "language": "fra", "bytes": "05 55 6E 20 63 61 66 E9 20 6E 6F 69 72", "table": "ISO 8859-9",
         "reason": "selector", "findings": []},
        {"member": "items", "language": "fra", "bytes": "41 76 65 63", "table": "DVB default table",
         "reason": "default", "findings": []},
        {"member": "items", "language": "fra", "bytes": "4E 6F 62 6F 64 79", "table": "DVB default table",
         "reason": "default", "findings": []},
        {"member": "components", "language": "fra", "bytes": "49 6D 61 67 65", "table": "DVB default table",
         "reason": "default", "findings": []}])"));
    const std::string greek = "\x03"
                              "a\xD2"; // ISO 8859-7 has nothing there
    const std::string network = section({0x40, 1}, loop(descriptor(0x40, greek)));
    const json broken = json::parse(run({"scan", "--json", "--evidence"}, network).out);
    EXPECT_EQ(broken["networks"][0]["texts"][0]["findings"], json::parse(R"([
        {"kind": "byte-unassigned", "severity": "error", "offset": 2, "length": 1}])"));
}

// An event that two tables list is there as long as one of them is sent, whichever said it last.
TEST(Announced, EventsStayWhereASectionIsSentAgain) {
    const auto schedule = [](unsigned int table, unsigned int version, const std::string &name) {
        const std::string text = descriptor(0x4D, "eng" + counted(name) + counted(""));
        return std::pair(0x12U,
                         section({table, 7, version}, bytes("00 02 20 01 00") + bigEndian(table, 1) + bytes("00 09") +
                                                          evening + bytes("01 00 00") + loop(text, 0x1000U)));
    };
    const auto nothing = std::pair(0x12U, section({0x51, 7, 2}, bytes("00 02 20 01 00 51")));
    const json events = scan({}, streamOf({schedule(0x50, 1, "First"), schedule(0x51, 1, "Second"), nothing,
                                           schedule(0x50, 1, "First"), schedule(0x50, 1, "First")}))["events"];
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["name"], "First");
}

// ---- ATSC ----

std::string strings(const std::string &segments) {
    return bytes("01") + "eng" + segments;
}

std::string segment(unsigned int compression, unsigned int mode, const std::string &text) {
    return bigEndian(compression, 1) + bigEndian(mode, 1) + counted(text);
}

std::string plain(const std::string &text) {
    return strings(bytes("01") + segment(0, 0, text));
}

// Eleven in the morning of 2026-03-01 UTC, in seconds since 1980-01-06 with 18 leap seconds.
constexpr std::uint32_t gpsMorning = 1'772'362'800U - 315'964'800U + 18U;

std::string guide() {
    const auto table = [](unsigned int type, unsigned int pid) {
        return bigEndian(type, 2) + bigEndian(0xE000U | pid, 2) + bytes("E1 00 00 00 00 F0 00");
    };
    return section({0xC7, 0}, bytes("00 00 02") + table(0x100, 0x1D00) + table(0x200, 0x1E00) + bytes("F0 00"));
}

std::string channels() {
    const std::string name = bytes("00 41 00 42 00 43 20 AC 00 00 00 00 00 00");
    const std::string number = bytes("F0 0C 02"); // 3.2
    const std::string longName = descriptor(0xA0, plain("A long name"));
    return section({0xC8, 99}, bytes("00 01") + name + number + bytes("04 00 00 00 00") + bigEndian(99, 2) +
                                   bigEndian(5, 2) + bytes("20 02") + bigEndian(17, 2) + loop(longName, 0xFC00U) +
                                   bytes("FC 00"));
}

std::string atscEvents() {
    const ContextCodes titles = contextCodes(_title_dec_table);
    const std::string title = strings(bytes("02") + segment(1, 0, encodeGuideText(titles, "The News")) +
                                      segment(0, 0x3F, bytes("00 20 20 AC")));
    const std::string advisory = descriptor(0x87, bytes("C1 01 01 00 F3") + counted(plain("TV-PG")));
    const std::string genres = descriptor(0xAB, bytes("E2 23 FE"));
    const auto event = [](unsigned int id, std::uint32_t start, const std::string &name,
                          const std::string &descriptors) {
        return bigEndian(0xC000U | id, 2) + bigEndian(start, 4) + bytes("D0 07 08") + counted(name) + loop(descriptors);
    };
    return section({0xCB, 17}, bytes("00 02") + event(4, gpsMorning, title, advisory + genres) +
                                   event(5, gpsMorning + 1800, plain("Later"), {}));
}

std::string message() {
    const ContextCodes descriptions = contextCodes(_desc_dec_table);
    return section({0xCC, 0}, bytes("00") + bigEndian(17, 2) + bigEndian(4U << 2U | 2U, 2) +
                                  strings(bytes("01") + segment(2, 0, encodeGuideText(descriptions, "All of it."))));
}

std::string systemTime() {
    return section({0xCD, 0}, bytes("00") + bigEndian(gpsMorning + 60, 4) + bytes("12 60 00"));
}

std::string atsc() {
    return streamOf(
        {{0x1FFB, guide()}, {0x1FFB, channels()}, {0x1E00, message()}, {0x1D00, atscEvents()}, {0x1FFB, systemTime()}});
}

TEST(Announced, ChannelsOfAtsc) {
    EXPECT_EQ(scan({}, atsc())["channels"], json::parse(R"([
        {"channel": "3.2", "transport_stream": 99, "program": 5, "source": 17, "type": 2, "name": "ABC€",
         "long_name": "A long name", "scrambled": true, "hidden": false}])"));
}

TEST(Announced, EventsOfAtscWithTheirMessages) {
    EXPECT_EQ(scan({}, atsc())["events"], json::parse(R"([
        {"source": 17, "event": 4, "language": "eng", "position": "present", "start": "2026-03-01T11:00:00Z",
         "duration": "00:30:00", "name": "The News €", "text": "", "extended": "All of it.",
         "genres": [{"code": 35, "name": "News"}, {"code": 254, "name": "0xfe"}],
         "ratings": [{"region": 1, "meaning": ["TV-PG"]}]},
        {"source": 17, "event": 5, "language": "eng", "position": "following", "start": "2026-03-01T11:30:00Z",
         "duration": "00:30:00", "name": "Later", "text": "", "extended": ""}])"));
    EXPECT_EQ(scan({}, atsc())["times"],
              json::parse(R"([{"table": "STT", "utc": "2026-03-01T11:01:00Z", "leap_seconds": 18}])"));
}

// Null packets, and packets of tables that nobody collects, are no damaged sections, whatever a guide names.
TEST(Announced, GuideOfAtscNamesPacketsWithoutSections) {
    const auto table = [](unsigned int type, unsigned int pid) {
        return bigEndian(type, 2) + bigEndian(0xE000U | pid, 2) + bytes("E1 00 00 00 00 F0 00");
    };
    const std::string names = table(0x100, 0x1FFF) + table(0x300, 0x30) + table(0x200, 0x1E00);
    const std::string noSection = std::string(4, '\xFF');
    const Result result =
        run({"scan", "--json"}, streamOf({{0x1FFB, section({0xC7, 0}, bytes("00 00 03") + names + bytes("F0 00"))},
                                          {0x1FFF, noSection},
                                          {0x30, noSection},
                                          {0x1E00, noSection},
                                          {0x1FFB, channels()}}));
    EXPECT_EQ(result.error, "zelk scan: standard input: 1 section with a wrong checksum or length\n");
    EXPECT_EQ(json::parse(result.out)["channels"].size(), 1U);
}

// The name of an event whose one segment has the given bytes in mode 0x3E.
json scsuEvent(const std::string &text) {
    const std::string name = strings(bytes("01") + segment(0, 0x3E, text));
    const std::string event = bytes("C0 04") + bigEndian(gpsMorning, 4) + bytes("D0 07 08") + counted(name) + loop({});
    const Result result = run({"scan", "--json", "--evidence"}, section({0xCB, 17}, bytes("00 01") + event));
    const json record = json::parse(result.out)["events"][0];
    EXPECT_EQ(result.error.empty(), record["name"].get<std::string>().find("\uFFFD") == std::string::npos) << result;
    return record;
}

// The examples of Unicode Technical Standard #6, what it reserves, and what an end cuts off.
TEST(Announced, CompressedUnicodeOfAtsc) {
    const std::pair<const char *, const char *> examples[] = {
        {"D6 6C 20 66 6C 69 65 DF 74", "Öl fließt"},
        {"12 9C BE C1 BA B2 B0", "Москва"},
        {"08 00 1B 4C EA 16 CA D3 94 0F 53 EF 61 1B E5 84 C4", "\u3000♪リンゴ可愛いや"},
        {"41 0C 42", "A\uFFFDB"},
        {"18 A8 41", "\uFFFDA"},
        {"0F F2 00 41", "\uFFFDA"},
        {"0B 01 D8 80 41", "\uFFFDA"}, // a character above U+FFFF
        {"41 0E 04", "A\uFFFD"},
        {"41 02", "A\uFFFD"},
        {"0F 04", "\uFFFD"},
        {"41 1A", "A\uFFFD"},
        {"41 0B 01", "A\uFFFD"},
    };
    for (const auto &[text, expected] : examples) {
        EXPECT_EQ(scsuEvent(bytes(text))["name"], expected) << text;
    }
    EXPECT_EQ(scsuEvent("A")["texts"][0]["table"], "SCSU");
}

// What ICU compresses reads as it was.
TEST(Announced, CompressedUnicodeOfAnotherEncoder) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> scsu(ucnv_open("SCSU", &status), ucnv_close);
    ASSERT_TRUE(U_SUCCESS(status));
    const std::pair<unsigned int, unsigned int> scripts[] = {
        {0x20, 0x7E},     {0xA1, 0xFF},     {0x391, 0x3C9},   {0x410, 0x44F},   {0x5D0, 0x5EA},
        {0x905, 0x939},   {0x1E00, 0x1EFF}, {0x2010, 0x2027}, {0x3041, 0x3096}, {0x30A1, 0x30FA},
        {0x4E00, 0x9FA5}, {0xAC00, 0xD7A3}, {0xE000, 0xF8FF}, {0xFF61, 0xFF9F}};
    Random random(11);
    for (int round = 0; round < 60; ++round) {
        std::u16string text;
        for (int run = 0; run < 8; ++run) {
            const auto &[first, last] = scripts[random.below(std::size(scripts))];
            for (std::uint32_t length = 1 + random.below(4); length > 0; --length) {
                text += static_cast<char16_t>(first + random.below(last - first + 1));
            }
        }
        std::string compressed(255, '\0');
        compressed.resize(static_cast<std::size_t>(ucnv_fromUChars(scsu.get(), compressed.data(), 255, text.data(),
                                                                   static_cast<int32_t>(text.size()), &status)));
        ASSERT_TRUE(U_SUCCESS(status));
        std::string expected;
        icu::UnicodeString(text.data(), static_cast<int32_t>(text.size())).toUTF8String(expected);
        EXPECT_EQ(scsuEvent(compressed)["name"], expected) << round;
    }
}

// Some broadcasts have capitals in their codes of languages.
TEST(Announced, LanguagesOfAtscAreInSmallLetters) {
    const std::string title = bytes("01") + "FRA" + bytes("01") + segment(0, 0, "Nom");
    const std::string table = section({0xCB, 17}, bytes("00 01") + bigEndian(0xC004U, 2) + bigEndian(gpsMorning, 4) +
                                                      bytes("D0 07 08") + counted(title) + loop({}));
    const std::string input = streamOf({{0x1FFB, guide()}, {0x1D00, table}});
    for (const char *const code : {"fra", "fre"}) {
        const json found = scan({"--language", code}, input)["events"];
        ASSERT_EQ(found.size(), 1U) << code;
        EXPECT_EQ(found[0]["language"], "fra");
    }
}

TEST(Announced, FollowTellsAMessageThatChanges) {
    const auto later = [](const std::string &text) {
        return std::pair(0x1E00U,
                         section({0xCC, 0, 1}, bytes("00") + bigEndian(17, 2) + bigEndian(18, 2) + plain(text)));
    };
    const std::string input =
        streamOf({{0x1FFB, guide()}, {0x1D00, atscEvents()}, {0x1E00, message()}, later("New."), later("New.")});
    const Result result = run({"scan", "--follow", "--ndjson"}, input);
    EXPECT_EQ(result.error, "");
    const json change = json::parse(result.out); // a single line
    EXPECT_EQ(change["change"], "changed");
    EXPECT_EQ(change["extended"], "New.");
    EXPECT_EQ(change["table_id"], 0xCC);
}

// ---- Filters ----

std::vector<std::string> namesOf(const json &found, const char *kind) {
    std::vector<std::string> names;
    for (const json &record : found.at(kind)) {
        names.push_back(record.at("name"));
    }
    return names;
}

using Names = std::vector<std::string>;

Names events(const std::vector<std::string> &options, const std::string &input = dvb()) {
    return namesOf(scan(options, input), "events");
}

TEST(Announced, FiltersChooseEvents) {
    EXPECT_EQ(events({}), (Names{"Name", "Nom", "Apres", "Tard", "Un jour"}));
    EXPECT_EQ(events({"--now"}), (Names{"Name", "Nom"}));
    EXPECT_EQ(events({"--next"}), (Names{"Apres"}));
    EXPECT_EQ(events({"--now", "--next", "--language", "FRA"}), (Names{"Nom", "Apres"}));
    EXPECT_EQ(events({"--language", "deu", "--language", "eng"}), (Names{"Name"}));
    EXPECT_EQ(events({"--language", "GER"}), (Names{"Name"})); // the other code of the language
    EXPECT_EQ(events({"--genre", "comedy"}), (Names{"Name", "Nom"}));
    EXPECT_EQ(events({"--genre", "0x10"}), (Names{"Name", "Nom"}));
    EXPECT_EQ(events({"--genre", "0x11"}), Names{});
    EXPECT_EQ(events({"--genre", "Sport"}), (Names{"Tard"}));
    EXPECT_EQ(events({"--from", "2026-03-01T20:00"}), (Names{"Apres", "Tard"}));
    EXPECT_EQ(events({"--from", "2026-03-01T19:59:59Z", "--until", "2026-03-01T22:00"}),
              (Names{"Name", "Nom", "Apres"}));
    EXPECT_EQ(events({"--until", "2026-03-01"}), Names{});
    EXPECT_EQ(events({"--now"}, atsc()), (Names{"The News €"}));
    EXPECT_EQ(events({"--next"}, atsc()), (Names{"Later"}));
    EXPECT_EQ(events({"--genre", "news"}, atsc()), (Names{"The News €"}));
    // Where events are chosen, nothing else is written.
    const json found = scan({"--now"}, dvb());
    for (const char *kind : {"networks", "streams", "services", "times"}) {
        EXPECT_TRUE(found.at(kind).empty()) << kind;
    }
}

TEST(Announced, FiltersChooseServices) {
    for (const char *service : {"7", "0x7", "2001.0002.0007", "open", "O*"}) {
        const json found = scan({"--service", service}, dvb());
        EXPECT_EQ(namesOf(found, "services"), (Names{"Open"})) << service;
        EXPECT_EQ(found["events"].size(), 5U) << service;
        EXPECT_TRUE(found["networks"].empty()) << service;
    }
    EXPECT_EQ(scan({"--service", "8"}, dvb())["events"].size(), 0U);
    EXPECT_EQ(namesOf(scan({"--service", "7", "--service", "closed"}, dvb()), "services"), (Names{"Open", "Closed"}));
    for (const char *channel : {"3.2", "abc€", "a long*", "5"}) {
        EXPECT_EQ(scan({"--service", channel}, atsc())["events"].size(), 2U) << channel;
    }
    EXPECT_EQ(scan({"--service", "3.3"}, atsc())["channels"].size(), 0U);
}

TEST(Announced, FiltersChoosePackets) {
    const json found = scan({"--pid", "17", "--pid", "0x10"}, dvb());
    EXPECT_EQ(found["services"].size(), 2U);
    EXPECT_EQ(found["networks"].size(), 1U);
    EXPECT_EQ(found["events"].size(), 0U);
    EXPECT_EQ(namesOf(scan({"--pid", "0x321"}, streamOf({{0x321, services()}})), "services"),
              (Names{"Open", "Closed"}));
}

TEST(Announced, FiltersRefuseWhatTheyCannotRead) {
    for (const char *time : {"yesterday", "2026-02-30", "2026-03-01T24:00", "2026-03-01T1:00", ""}) {
        EXPECT_EQ(
            run({"scan", "--from", time}),
            failure(2, std::string("zelk scan: --from: expected a time in UTC such as 2026-03-01T18:00, found '") +
                           time + "'; see 'zelk scan --help'"));
    }
    EXPECT_EQ(run({"scan", "--pid", "8191"}).status, 2);
}

// ---- Inputs without packets ----

TEST(Announced, SectionsAreReadLikeStreams) {
    std::string sections;
    for (const auto &[pid, section] : dvbSections()) {
        sections += section;
    }
    EXPECT_EQ(scan({}, sections), scan({}, dvb()));
    const File file(sections);
    const Result lines = run({"scan", "--ndjson", file.path()});
    EXPECT_EQ(lines.status, 0);
    EXPECT_EQ(lines.error, "");
    // Stuffing between them, damage, and an end that is cut off.
    std::string damaged = services();
    damaged[12] = static_cast<char>(damaged[12] ^ 1);
    const Result result =
        run({"scan", "--json"}, network() + std::string(3, '\xFF') + damaged + time() + services().substr(0, 20));
    EXPECT_EQ(result.error, "zelk scan: standard input: 1 section with a wrong checksum or length\n"
                            "zelk scan: standard input: 20 bytes of an unfinished packet at the end\n");
    EXPECT_EQ(json::parse(result.out)["times"].size(), 1U);
}

TEST(Announced, OneEventAloneIsRead) {
    const json found = scan({}, richEvent());
    ASSERT_EQ(found["events"].size(), 2U);
    EXPECT_EQ(found["events"][1]["extended"], "Un café noir");
    EXPECT_EQ(run({"scan"}, richEvent() + "x").status, 2);
    EXPECT_EQ(run({"scan"}, richEvent().substr(0, 40)).status, 2);
}

} // namespace
