// Input that arrives bit by bit or never ends: what is answered before the end, what ends a scan, what it keeps.
#include "helpers/sections.h"
#include "helpers/text.h"
#include "tool/run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

namespace {

using namespace zelk_test;
using nlohmann::json;

const std::string samples = ZELK_TOOL_SOURCES "/../samples/";

std::string content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<json> objects(const std::string &lines) {
    std::vector<json> result;
    for (std::size_t at = 0; at < lines.size();) {
        const std::size_t end = lines.find('\n', at);
        result.push_back(json::parse(lines.substr(at, end - at)));
        at = end + 1;
    }
    return result;
}

// Runs the tool with its standard input open and does what the script says: the tool is the coprocess ZELK.
Result converse(const std::string &arguments, const std::string &script) {
    return runProgram("bash", {"-c", "coproc ZELK { exec " ZELK_TOOL " " + arguments +
                                         "; }\npid=$ZELK_PID\nexec 7>&${ZELK[1]} 8<&${ZELK[0]}\n" + script});
}

TEST(Live, EveryLineIsAnsweredBeforeTheNext) {
    const std::pair<const char *, const char *> lines[] = {
        {"decode", "4142"},
        {"explain --json", "4142"},
        {"huffman --type 1", "41"},
        {"convert --from latin1", "abc"},
        {"convert --from dvb", "abc"},
        {"match '*'", "abc"},
        {"quote strip", "abc"},
        {"case upper", "abc"},
        {"xml escape", "abc"},
        {"xml unescape", "abc"},
        {"validate --lines", "\xFF"},
    };
    for (const auto &[command, line] : lines) {
        const Result result = converse(command, "for round in 1 2; do\n"
                                                "  printf '%s\\n' '" +
                                                    std::string(line) +
                                                    "' >&7\n"
                                                    "  read -r -t 60 -u 8 answer && echo answered\n"
                                                    "done");
        EXPECT_EQ(result.out, "answered\nanswered\n") << command << result;
    }
}

TEST(Live, ScanEndsInOrderOnASignal) {
    for (const char *signal : {"INT", "TERM"}) {
        const Result result = converse("scan --ndjson", "cat '" + samples +
                                                            "multiplex.ts' >&7 &\n"
                                                            "read -r -u 8 first\n"
                                                            "cat <&8 >/dev/null &\n"
                                                            "kill -" +
                                                            signal + " $pid; wait $pid; echo \"status $?\"");
        EXPECT_EQ(result.out, "status 0\n") << signal << result;
    }
}

TEST(Live, ScanEndsAfterItsTime) {
    const Result result = converse("scan --json --duration 1", "cat '" + samples +
                                                                   "multiplex.ts' >&7 &\n"
                                                                   "cat <&8");
    EXPECT_EQ(result.out, content(samples + "multiplex.expected.json"));
}

TEST(Live, NdjsonTellsEveryRecordOnce) {
    const Result result = run({"scan", "--ndjson", samples + "multiplex.ts"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.error, "");
    const json expected = json::parse(content(samples + "multiplex.expected.json"));
    std::map<std::string, std::size_t> kinds;
    std::map<std::string, json> last; // what a service was called last
    for (const json &record : objects(result.out)) {
        ASSERT_TRUE(record.at("table_id").is_number()) << record;
        ASSERT_TRUE(record.at("version").is_number()) << record;
        ++kinds[record.at("type")];
        last[record.at("type")] = record;
    }
    EXPECT_EQ(kinds["network"], expected.at("networks").size());
    EXPECT_EQ(kinds["bouquet"], expected.at("bouquets").size());
    EXPECT_EQ(kinds["service"], expected.at("services").size());
    EXPECT_GE(kinds["event"], expected.at("events").size());
    json service = last["service"];
    EXPECT_EQ(service.at("service_type"), 1);
    EXPECT_EQ(service.at("table_id"), 0x46);
}

TEST(Live, LimitEndsAfterSoManyRecords) {
    EXPECT_EQ(objects(run({"scan", "--ndjson", "--limit", "3", samples + "multiplex.ts"}).out).size(), 3U);
    EXPECT_EQ(objects(run({"scan", "--ndjson", "--limit", "70", samples + "multiplex.ts"}).out).size(), 70U);
    EXPECT_EQ(run({"scan", "--limit", "0", samples + "multiplex.ts"}).status, 2);
    EXPECT_EQ(run({"scan", "--ndjson", "--json", samples + "multiplex.ts"}).status, 2);
    EXPECT_EQ(run({"scan", "--follow", "--csv", samples + "multiplex.ts"}),
              failure(2, "zelk scan: expected --follow alone or with --ndjson"));
}

// Of the records that are chosen; and to end before the stream does is no damage.
TEST(Live, LimitCountsWhatIsChosen) {
    const std::string sample = samples + "multiplex.ts";
    const Result found = run({"scan", "--json", "--limit", "3", "--service", "103", sample});
    EXPECT_EQ(found.error, "");
    const json document = json::parse(found.out);
    ASSERT_EQ(document["services"].size(), 1U);
    EXPECT_EQ(document["services"][0]["name"], "Tele Collina");
    EXPECT_EQ(document["events"].size(), 2U);
    const std::string rows = run({"scan", "--text", "--limit", "1", "--language", "cze", sample}).out;
    EXPECT_EQ(rows.substr(0, 6), "event\n");
    EXPECT_EQ(rows.find("\n\n"), std::string::npos);
    EXPECT_EQ(run({"scan", "--ndjson", "--limit", "1", "--now", sample}).error, "");
}

TEST(Live, WhatTheTimeBreaksOffIsNoDamage) {
    const std::string part = content(samples + "multiplex.ts").substr(0, 5000);
    EXPECT_NE(run({"scan", "--json"}, part).error, "");
    const File file(part);
    const Result result = converse("scan --json --duration 2", "cat '" + file.path() + "' >&7\ncat <&8 >/dev/null");
    EXPECT_EQ(result.error, "");
}

// In the sample some events change their names with the second version of the schedule; nothing else changes.
TEST(Live, FollowTellsWhatChanged) {
    const json programmes = json::parse(content(samples + "programmes.json"));
    std::size_t renamed = 0;
    for (const json &service : programmes.at("services")) {
        for (const json &event : service.at("events")) {
            renamed += event.contains("earlier_name") ? 1 : 0;
        }
    }
    ASSERT_GT(renamed, 0U);
    const Result result = run({"scan", "--follow", "--ndjson", samples + "multiplex.ts"});
    EXPECT_EQ(result.status, 0);
    const std::vector<json> changes = objects(result.out);
    EXPECT_EQ(changes.size(), renamed) << result;
    for (const json &change : changes) {
        EXPECT_EQ(change.at("type"), "event");
        EXPECT_EQ(change.at("change"), "changed");
        EXPECT_NE(change.at("former_name"), change.at("name"));
    }
    const Result lines = run({"scan", "--follow", samples + "multiplex.ts"});
    EXPECT_NE(lines.out.find(" renamed: " + changes[0].at("former_name").get<std::string>() + " -> " +
                             changes[0].at("name").get<std::string>() + '\n'),
              std::string::npos)
        << lines;
}

class StreamMaker {
public:
    // The whole schedule of a service in one section, of `count` events from the given number on.
    std::string schedule(unsigned int service, unsigned int version, unsigned int first, unsigned int count) {
        std::string payload = bigEndian(1, 2) + bigEndian(1, 2) + std::string(1, '\0') + '\x50';
        for (unsigned int i = 0; i < count; ++i) {
            const std::string name = "Event " + std::to_string(first + i) + std::string(180, '.');
            const std::string text = "eng" + bigEndian(static_cast<std::uint32_t>(name.size()), 1) + name + '\0';
            payload += bigEndian((first + i) & 0xFFFFU, 2) + bytes("EE 48 18 00 00 01 00 00");
            payload += bigEndian(static_cast<std::uint32_t>(text.size()) + 2U, 2) + '\x4D' +
                       bigEndian(static_cast<std::uint32_t>(text.size()), 1) + text;
        }
        return packets_.packets(0x12, section({0x50, service, version, 0, 0}, payload));
    }

private:
    PacketMaker packets_;
};

// Ever new events in ever new versions: what is kept follows what is announced, whatever is written. All that was ever
// announced would take several times the room.
class LongScan : public testing::TestWithParam<const char *> {};

TEST_P(LongScan, KeepsWhatIsAnnounced) {
    Environment environment;
#ifdef ZELK_TOOL_SANITIZED // which leaves no room to measure
    constexpr unsigned int rounds = 6;
#else
    constexpr unsigned int rounds = 500;
    environment.addressSpace = 64U << 20U;
#endif
    constexpr unsigned int services = 16;
    constexpr unsigned int events = 15;
    const std::string form = GetParam();
    StreamMaker maker;
    unsigned int round = 0;
    std::size_t lines = 0;
    std::string end;
    std::vector<std::string> arguments = {"scan"};
    std::istringstream words(form);
    arguments.insert(arguments.end(), std::istream_iterator<std::string>(words), {});
    const Result result = stream(
        arguments,
        [&] {
            std::string part;
            for (unsigned int service = 1; round < rounds && service <= services; ++service) {
                part += maker.schedule(service, round, round * events, events);
            }
            ++round;
            return part;
        },
        [&](const std::string &part) {
            lines += static_cast<std::size_t>(std::count(part.begin(), part.end(), '\n'));
            end = (end + part).substr(std::max<std::size_t>(end.size() + part.size(), 65536) - 65536);
        },
        environment);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.error, "");
    const std::string last = "Event " + std::to_string(rounds * events - 1) + '.';
    EXPECT_NE(end.find(last), std::string::npos);
    const bool live = form.find("ndjson") != std::string::npos || form.find("follow") != std::string::npos;
    const std::size_t told = form.find("follow") == std::string::npos ? rounds : rounds - 1;
    if (live) {
        EXPECT_EQ(lines, told * services * events);
    } else {
        EXPECT_LT(lines, services * events * 20); // the last round alone
    }
}

INSTANTIATE_TEST_SUITE_P(Live, LongScan,
                         testing::Values("", "--text", "--json", "--json --evidence", "--ndjson", "--csv", "--xmltv",
                                         "--follow", "--follow --ndjson"));

TEST(Live, FollowTellsNewEventsOfLaterVersions) {
    StreamMaker maker;
    const std::string input = maker.schedule(7, 1, 1, 2) + maker.schedule(7, 1, 1, 2) + maker.schedule(7, 2, 2, 2) +
                              maker.schedule(7, 2, 2, 2);
    const std::vector<json> changes = objects(run({"scan", "--follow", "--ndjson"}, input).out);
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].at("change"), "new");
    EXPECT_EQ(changes[0].at("event"), 3);
    EXPECT_EQ(changes[0].at("version"), 2);
}

} // namespace
