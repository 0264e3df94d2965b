// zelk scan over captures and sections that broadcasters sent. They are not part of this project: the environment
// variable ZELK_REAL_DATA names the folder that holds captures/*.ts, sections/*.bin with texts.tsv, and strings.tsv,
// whose rows (bytes in hexadecimal, kind, source) were taken from the same captures with other programs.
#include "helpers/sections.h"
#include "helpers/text.h"
#include "tool/run.h"

#include "zelk.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace {

using namespace zelk_test;
using nlohmann::json;

std::string folder() {
    const char *const name = std::getenv("ZELK_REAL_DATA");
    return name == nullptr ? std::string() : std::string(name) + '/';
}

std::vector<std::string> fields(const std::string &line) {
    std::vector<std::string> result{""};
    for (const char c : line) {
        if (c == '\t') {
            result.emplace_back();
        } else {
            result.back() += c;
        }
    }
    return result;
}

struct Capture {
    const char *name;
    std::size_t services;
    std::size_t events;
    bool damaged; // packets are flagged or missing, or bytes between them are lost
};

// Counted by a parser that shares nothing with the tool. Stretches of single tables hold no services; the American
// station has channels in their place.
constexpr Capture captures[] = {
    {"at-dtt-1", 0, 37, false},  {"cz-dtt-6", 15, 2005, false}, {"fr-dtt-7", 0, 60, false},
    {"fr-sat-3", 5, 976, false}, {"gr-dtt-3", 23, 1300, true},  {"it-dtt-2", 0, 4, false},
    {"pl-dtt-1", 0, 5, false},   {"sk-dtt-1", 0, 67, false},    {"uk-dtt-2", 0, 2, true},
    {"us-atsc-1", 0, 71, false}, {"xx-dtt-1", 1, 0, false},
};

using Strings = std::set<std::string>;

// The decoded texts of a scan by the kinds of strings.tsv.
std::map<std::string, Strings> textsOf(const json &scan) {
    std::map<std::string, Strings> texts;
    for (const json &network : scan.at("networks")) {
        texts["network"].insert(network.at("name").get<std::string>());
    }
    for (const json &bouquet : scan.at("bouquets")) {
        texts["bouquet"].insert(bouquet.at("name").get<std::string>());
    }
    for (const json &service : scan.at("services")) {
        texts["service"].insert(service.at("name").get<std::string>());
        texts["provider"].insert(service.at("provider").get<std::string>());
    }
    for (const json &channel : scan.at("channels")) {
        texts["channel_short"].insert(channel.at("name").get<std::string>());
    }
    for (const json &event : scan.at("events")) {
        if (event.contains("source")) {
            texts["atsc_title-u"].insert(event.at("name").get<std::string>());
            continue;
        }
        texts["event"].insert(event.at("name").get<std::string>());
        texts["text"].insert(event.at("text").get<std::string>());
        texts["extended"].insert(event.at("extended").get<std::string>());
        for (const json &item : event.value("items", json::array())) {
            texts["item_description"].insert(item.at("description").get<std::string>());
            texts["item"].insert(item.at("item").get<std::string>());
        }
        for (const json &component : event.value("components", json::array())) {
            texts["component"].insert(component.at("text").get<std::string>());
        }
    }
    return texts;
}

// ISO 8859-1 after a mode of zero; or units of two bytes, here of ASCII, with zeros at the end.
std::string atscText(const std::string &kind, const std::string &bytes) {
    std::string text;
    for (std::size_t at = 1; at < bytes.size() && bytes[at] != 0; at += kind == "channel_short" ? 2 : 1) {
        const auto byte = static_cast<unsigned char>(bytes[at]);
        text += byte < 0x80
                    ? std::string(1, bytes[at])
                    : std::string{static_cast<char>(0xC0U | byte >> 6U), static_cast<char>(0x80U | (byte & 63U))};
    }
    return text;
}

bool holds(const Strings &texts, const std::string &part) {
    return std::any_of(texts.begin(), texts.end(),
                       [&part](const std::string &text) { return text.find(part) != std::string::npos; });
}

// Whether a piece of a long text stands in one of the joined texts. A piece that was cut between a mark and its letter
// shows another character at the cut than the joined text: the letter there is left out of the search.
bool holdsPiece(const Strings &texts, const zelk::DvbConverter &converter, std::string piece) {
    if (holds(texts, converter.convertDvb8ToUtf8(piece))) {
        return true;
    }
    const auto last = static_cast<unsigned char>(piece.back());
    if (last >= 0xC1 && last <= 0xCF) {
        piece.pop_back();
    }
    return holds(texts, converter.convertDvb8ToUtf8(piece.substr(1)));
}

class RealCaptures : public testing::Test {
protected:
    void SetUp() override {
        if (folder().empty()) {
            GTEST_SKIP() << "ZELK_REAL_DATA names no folder";
        }
    }
};

TEST_F(RealCaptures, AreReadWhole) {
    for (const Capture &capture : captures) {
        SCOPED_TRACE(capture.name);
        const Result result = run({"scan", "--json", folder() + "captures/" + capture.name + ".ts"});
        ASSERT_EQ(result.status, capture.services + capture.events == 0 ? 1 : 0) << result.error;
        const json scan = json::parse(result.out);
        EXPECT_EQ(scan.at("services").size(), capture.services);
        EXPECT_EQ(scan.at("events").size(), capture.events);
        // Sections are torn at the ends of every capture; the other reports are of damage.
        EXPECT_EQ(result.error.find("checksum"), std::string::npos) << result.error;
        const bool damage =
            result.error.find("skipped") != std::string::npos || result.error.find("discontinuit") != std::string::npos;
        EXPECT_EQ(damage, capture.damaged) << result.error;
    }
}

TEST_F(RealCaptures, HoldEveryStringThatOthersFoundInThem) {
    const zelk::DvbConverter converter(DvbCharSetStandard, 0);
    std::map<std::string, std::vector<std::vector<std::string>>> rows;
    std::ifstream strings(folder() + "strings.tsv", std::ios::binary);
    for (std::string line; std::getline(strings, line);) {
        const std::vector<std::string> row = fields(line);
        rows[row.at(2).substr(0, row[2].find('/'))].push_back(row);
    }
    std::size_t compared = 0;
    for (const Capture &capture : captures) {
        const Result result = run({"scan", "--json", folder() + "captures/" + capture.name + ".ts"});
        const std::map<std::string, Strings> texts = textsOf(json::parse(result.out));
        for (const std::vector<std::string> &row : rows[capture.name]) {
            const std::string text = bytes(row[0].c_str());
            const auto found = texts.find(row[1]);
            if (row[1] == "extended") {
                EXPECT_TRUE(holdsPiece(texts.at("extended"), converter, text)) << capture.name << ": " << row[0];
            } else if (row[1] == "atsc_title-u" || row[1] == "channel_short") {
                EXPECT_EQ(texts.at(row[1]).count(atscText(row[1], text)), 1U) << capture.name << ": " << row[0];
            } else if (row[1] == "application") {
                continue; // of a table that a scan does not list
            } else {
                ASSERT_NE(found, texts.end()) << capture.name << ": " << row[1];
                EXPECT_EQ(found->second.count(converter.convertDvb8ToUtf8(text)), 1U) << capture.name << ": " << row[0];
            }
            ++compared;
        }
    }
    EXPECT_GT(compared, 2900U);
}

TEST_F(RealCaptures, SectionsSayWhatTheirTextsAre) {
    std::map<std::string, std::vector<std::string>> expected;
    std::ifstream lines(folder() + "sections/texts.tsv", std::ios::binary);
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> row = fields(line);
        expected[row.at(0)].push_back(row.at(1));
    }
    ASSERT_EQ(expected.size(), 2U);
    for (const char *name : {"fr-dtt-bat.bin", "fr-dtt-sdt.bin", "ru-dtt-sdt.bin", "de-cable-eit-1.bin",
                             "de-cable-eit-2.bin", "us-atsc-tvct.bin"}) {
        SCOPED_TRACE(name);
        std::ifstream file(folder() + "sections/" + name, std::ios::binary);
        const std::string section{std::istreambuf_iterator<char>(file), {}};
        ASSERT_FALSE(section.empty());
        const unsigned int pid = std::string(name).find("eit") != std::string::npos ? 0x12 : 0x11;
        // The bouquet's name is Latin-1 without a selector: a receiver of its country has that as its default.
        const Result result = run({"scan", "--json", "--default-code", "1"}, PacketMaker().packets(pid, section));
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(run({"scan", "--json", "--default-code", "1"}, section), result);
        const json scan = json::parse(result.out);
        EXPECT_EQ(scan.at("channels").empty(), std::string(name) != "us-atsc-tvct.bin");
        EXPECT_EQ(scan.at("events").empty(), pid != 0x12);
        EXPECT_EQ(scan.at("services").empty(), std::string(name).find("sdt") == std::string::npos);
        if (expected.count(name) != 0) {
            std::vector<std::string> filled;
            const auto keep = [&filled](const json &text) {
                if (!text.get<std::string>().empty()) {
                    filled.push_back(text);
                }
            };
            for (const json &bouquet : scan.at("bouquets")) {
                keep(bouquet.at("name"));
            }
            for (const json &service : scan.at("services")) {
                keep(service.at("provider"));
                keep(service.at("name"));
            }
            EXPECT_EQ(filled, expected[name]);
        }
    }
}

} // namespace
