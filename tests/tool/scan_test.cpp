// zelk scan: the sample multiplex in every framing, damaged in known places, and as things that are no transport
// stream.
#include "helpers/text.h"
#include "tool/run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>

namespace {

using namespace zelk_test;

constexpr std::size_t packetSize = 188;

std::string content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::string samples = ZELK_TOOL_SOURCES "/../samples/";

const std::string &multiplex() {
    static const std::string bytes = content(samples + "multiplex.ts");
    return bytes;
}

const std::string &listing() {
    static const std::string text = content(samples + "multiplex.expected.json");
    return text;
}

Result scan(const std::string &stream) {
    return run({"scan", "--json", "-"}, stream);
}

// "zelk scan: standard input: ..." for each line.
std::string report(std::initializer_list<const char *> lines) {
    std::string result;
    for (const char *line : lines) {
        result += std::string("zelk scan: standard input: ") + line + '\n';
    }
    return result;
}

unsigned int pidAt(const std::string &stream, std::size_t at) {
    return (static_cast<unsigned char>(stream[at + 1]) & 0x1FU) * 256 + static_cast<unsigned char>(stream[at + 2]);
}

// Offset of the n-th packet, from 0, that continues a section of the events: nothing begins in it.
std::size_t eventPacket(std::size_t n) {
    for (std::size_t at = 0; at < multiplex().size(); at += packetSize) {
        const bool continues = pidAt(multiplex(), at) == 0x12 && (multiplex()[at + 1] & 0x40) == 0;
        if (continues && n-- == 0) {
            return at;
        }
    }
    ADD_FAILURE() << "no such packet";
    return 0;
}

std::string framed(const std::string &before, const std::string &after) {
    std::string result;
    for (std::size_t at = 0; at < multiplex().size(); at += packetSize) {
        result += before + multiplex().substr(at, packetSize) + after;
    }
    return result;
}

TEST(Scan, ReadsFilesAndStandardInput) {
    EXPECT_EQ(run({"scan", "--json", samples + "multiplex.ts"}), success(listing()));
    EXPECT_EQ(run({"scan", "--json"}, multiplex()), success(listing()));
    EXPECT_EQ(scan(multiplex()), success(listing()));
}

TEST(Scan, FindsTheFraming) {
    EXPECT_EQ(scan(framed("TIME", "")), success(listing()));
    EXPECT_EQ(scan(framed("", "PARITY OF 16 BYT")), success(listing()));
    // A sync byte as the constant first byte of a time stamp is a trap.
    EXPECT_EQ(scan(framed("Gabc", "")), success(listing()));
    const std::string one = multiplex().substr(0, packetSize);
    EXPECT_EQ(scan(one).status, 1); // a stream, if without a service
    EXPECT_EQ(scan("TIME" + one).status, 1);
    EXPECT_EQ(scan(one + std::string(16, 'p')).status, 1);
}

TEST(Scan, FindsTheStepAgain) {
    const std::string junk(57, 'j');
    const std::size_t middle = eventPacket(20);
    std::string stream = multiplex();
    EXPECT_EQ(scan(junk + stream), (Result{0, listing(), report({"57 bytes between packets skipped"})}));
    stream.insert(middle, junk);
    EXPECT_EQ(scan(stream), (Result{0, listing(), report({"57 bytes between packets skipped"})}));
    EXPECT_EQ(scan(multiplex() + junk),
              (Result{0, listing(), report({"57 bytes of an unfinished packet at the end"})}));
    EXPECT_EQ(scan(multiplex() + multiplex().substr(0, 1)).error,
              report({"1 byte of an unfinished packet at the end"}));
    // Sixteen bytes behind the last packet are not parity when no other packet has them.
    EXPECT_EQ(scan(multiplex() + multiplex().substr(0, 16)).error,
              report({"16 bytes of an unfinished packet at the end"}));
}

TEST(Scan, CountsDamage) {
    const std::size_t at = eventPacket(20);
    std::string stream = multiplex();
    stream[at] = 'x';
    EXPECT_EQ(scan(stream).error, report({"1 damaged packet", "1 discontinuity", "1 section broken off"}));

    stream = multiplex();
    stream[at + 1] |= static_cast<char>(0x80); // the demodulator could not repair it
    EXPECT_EQ(scan(stream).error, report({"1 damaged packet", "1 discontinuity", "1 section broken off"}));

    stream = multiplex();
    stream[at + 3] = static_cast<char>(stream[at + 3] | 0x20); // an adaptation field ...
    stream[at + 4] = static_cast<char>(0xFF);                  // ... that points out of the packet
    EXPECT_EQ(scan(stream).error, report({"1 damaged packet", "1 discontinuity", "1 section broken off"}));

    stream = multiplex();
    stream.erase(at, packetSize);
    EXPECT_EQ(scan(stream).error, report({"1 discontinuity", "1 section broken off"}));

    stream = multiplex();
    stream[at + 60] = static_cast<char>(stream[at + 60] ^ 1);
    const Result result = scan(stream);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.error, report({"1 section with a wrong checksum or length"}));
    EXPECT_NE(result.out, listing());
    EXPECT_TRUE(nlohmann::json::accept(result.out));

    stream = multiplex();
    stream.resize(at);
    EXPECT_EQ(scan(stream).error, report({"1 section broken off"}));
}

// Packets may be sent twice, and a section may be scattered with packets of other streams.
TEST(Scan, PassesOverRepeatedAndForeignPackets) {
    std::string stream;
    const std::string null = "\x47\x1F\xFF\x10" + std::string(184, '\xFF');
    for (std::size_t at = 0; at < multiplex().size(); at += packetSize) {
        const std::string packet = multiplex().substr(at, packetSize);
        stream += packet + packet + null;
    }
    EXPECT_EQ(scan(stream), success(listing()));
}

TEST(Scan, SaysWhatThereIsWhereNothingIsFound) {
    const std::string programmes = multiplex().substr(0, packetSize); // the program association table
    std::string video = "\x47\x41" + bytes("00 10 00 00 01 E0 00 00");
    video.resize(packetSize, 'v');
    const Result result = run({"scan"}, programmes + video);
    EXPECT_EQ(result, (Result{1, "",
                              "zelk scan: standard input: found no service information; seen: PID 0x0000: PAT; 1 PID "
                              "without tables; missing: NIT, BAT, SDT, EIT\n"}));
    // Nothing that could be wrong is not the same as nothing wrong.
    EXPECT_EQ(run({"lint", "--stream", "-"}, programmes + video),
              failure(2,
                      "zelk lint: standard input: expected service information, found PID 0x0000: PAT; 1 PID without "
                      "tables"));
}

TEST(Scan, RefusesWhatIsNoTransportStream) {
    const std::string message = "zelk scan: standard input: expected a transport stream, sections or an event, "
                                "found none of them";
    for (const std::string &text :
         {std::string(), std::string("G"), std::string(187, 'G'), std::string(100'000, '\0'), listing(),
          "x" + multiplex().substr(0, packetSize), bytes("47 00 00 10") + std::string(500, 'x')}) {
        EXPECT_EQ(scan(text), failure(2, message)) << text.size();
    }
    const Result missing = run({"scan", "/nonexistent/file.ts"});
    EXPECT_EQ(missing, failure(3, "zelk scan: /nonexistent/file.ts: No such file or directory"));
    EXPECT_EQ(run({"scan", "/"}).status, 3);
    EXPECT_EQ(run({"scan", "--json", "--csv"}, multiplex()).status, 2);
    EXPECT_EQ(run({"scan", "--region", "nowhere"}, multiplex()).status, 2);
}

std::vector<std::vector<std::string>> parseCsv(const std::string &text) {
    std::vector<std::vector<std::string>> rows{{""}};
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted && c == '"' && text.substr(i + 1, 1) == "\"") {
            rows.back().back() += text[++i];
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && c == ',') {
            rows.back().emplace_back();
        } else if (!quoted && text.substr(i, 2) == "\r\n") {
            rows.push_back({""});
            ++i;
        } else {
            rows.back().back() += c;
        }
    }
    rows.pop_back();
    return rows;
}

TEST(Scan, WritesCommaSeparatedValues) {
    const Result result = run({"scan", "--csv"}, multiplex());
    EXPECT_EQ(result.status, 0);
    const auto rows = parseCsv(result.out);
    const nlohmann::json expected = nlohmann::json::parse(listing());
    std::size_t row = 1; // behind the heading
    for (const char *kind : {"networks", "bouquets", "streams", "services", "events", "times"}) {
        for (const auto &record : expected.at(kind)) {
            ASSERT_LT(row, rows.size());
            ASSERT_EQ(rows[row].size(), rows[0].size());
            EXPECT_EQ(rows[row][0] + 's', kind);
            EXPECT_EQ(rows[row][8], record.value("name", ""));
            EXPECT_EQ(rows[row][10], record.value("text", ""));
            EXPECT_EQ(rows[row][11], record.value("extended", ""));
            EXPECT_EQ(rows[row][12], record.contains("type") ? record.at("type").dump() : "");
            EXPECT_EQ(rows[row][13].empty(), !record.contains("items"));
            if (record.contains("items")) {
                EXPECT_EQ(nlohmann::json::parse(rows[row][13]), record.at("items"));
            }
            ++row;
        }
    }
    EXPECT_EQ(row, rows.size());
}

TEST(Scan, WritesAlignedTables) {
    const Result result = run({"scan"}, multiplex());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.find("NETWORK  NAME\n3201     Nordküste\n3202     Südküste · 南海岸\n\nBOUQUET  NAME\n"), 0U);
    // Three characters of two columns each take the room of six.
    EXPECT_NE(result.out.find("3201.0001.007b  01    23       海岸一台            海岸廣播\n"), std::string::npos);
    EXPECT_NE(result.out.find("3201.0001.0065  01    1        Harbour One         Harbour\n"), std::string::npos);
    // A text stays in its line.
    EXPECT_NE(result.out.find("  The evening's headlines.\\nWith Iris Caldbeck and Tom Penhale.\\nA storm warning"),
              std::string::npos);
    EXPECT_EQ(result.out.find("to be announced"), std::string::npos);
}

TEST(Scan, TakesTheSettingsOfTheReceiver) {
    const Result turkish = run({"scan", "--json", "--region", "iso8859-9"}, multiplex());
    EXPECT_NE(turkish.out, listing()); // the reserved selectors fall back to the table of the region
    EXPECT_NE(turkish.out.find("Télé Rivière"), std::string::npos);
    const Result latin = run({"scan", "--json", "--default-code", "1"}, multiplex());
    EXPECT_NE(latin.out.find("TÂelÂe RiviÁere"), std::string::npos);
    const Result emphasis = run({"scan", "--json", "--keep-emphasis"}, multiplex());
    EXPECT_NE(emphasis.out.find("\"\u0086Harbour News\u0087 at Six\""), std::string::npos);
}

TEST(Scan, SurvivesWhateverComes) {
    Random random(20260301);
    for (int round = 0; round < 12; ++round) {
        std::string stream = multiplex().substr(0, 120 * packetSize);
        for (std::uint32_t change = 0; change < 1 + random.below(200); ++change) {
            const std::size_t at = random.below(static_cast<std::uint32_t>(stream.size()));
            if (random.chance(10)) {
                stream.erase(at, 1 + random.below(300));
            } else if (random.chance(10)) {
                stream.insert(at, random.below(300), static_cast<char>(random.below(256)));
            } else {
                stream[at] = static_cast<char>(random.below(256));
            }
        }
        const Result result = scan(stream);
        EXPECT_TRUE(result.status >= 0 && result.status <= 2) << "round " << round << ": " << result.error;
        if (result.status != 2) {
            EXPECT_TRUE(nlohmann::json::accept(result.out)) << "round " << round;
        }
    }
}

} // namespace
