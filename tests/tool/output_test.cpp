// The outputs of zelk scan against what describes them from outside: the JSON Schemas of docs/schemas by a validator of
// its own, XMLTV by its document type definition and libxml2, the table by the width of a terminal.
#include "helpers/text.h"
#include "tool/run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace {

using namespace zelk_test;
using nlohmann::json;

const std::string root = ZELK_TOOL_SOURCES "/../";

const std::vector<std::string> &samples() {
    static const std::vector<std::string> names = {root + "samples/multiplex.ts", root + "samples/guide.ts"};
    return names;
}

// Validates documents, one on each line, and writes what is wrong with each.
Result validate(const std::string &schema, const std::string &lines) {
    return runProgram("/usr/bin/python3",
                      {"-c",
                       "import json, sys\n"
                       "try:\n"
                       "    from jsonschema import Draft202012Validator as Validator\n"
                       "except ImportError:\n"
                       "    sys.exit(127)\n"
                       "schema = json.load(open(sys.argv[1]))\n"
                       "Validator.check_schema(schema)\n"
                       "for line in sys.stdin:\n"
                       "    for error in Validator(schema).iter_errors(json.loads(line)):\n"
                       "        print(list(error.path), error.message)\n",
                       root + "docs/schemas/" + schema},
                      lines);
}

TEST(Output, JsonIsAsItsSchemaSays) {
    for (const std::string &sample : samples()) {
        const File overrides("version = 1\n[[override]]\ncountry = \"DE\"\ndefault-code = \"iso8859-1\"\n"
                             "source = \"a capture\"\ndate = 2026-11-01\n");
        const Result result =
            run({"scan", "--json", "--evidence", "--overrides", overrides.path(), "--country", "DE", sample});
        ASSERT_EQ(result.status, 0) << result.error;
        // The guide names a table in every string.
        EXPECT_EQ(result.out.find("\"override\":") != std::string::npos, sample == samples()[0]);
        json document = json::parse(result.out);
        const Result valid = validate("scan.schema.json", document.dump() + '\n');
        if (valid.status == 127) {
            GTEST_SKIP() << "python3-jsonschema is not installed";
        }
        EXPECT_EQ(valid, success(""));
        document["events"][0].erase("start");
        document["events"][1]["more"] = 1;
        const Result invalid = validate("scan.schema.json", document.dump() + '\n');
        EXPECT_NE(invalid.out.find("'start' is a required property"), std::string::npos) << invalid;
        EXPECT_NE(invalid.out.find("'more' was unexpected"), std::string::npos) << invalid;
    }
}

TEST(Output, NdjsonIsAsItsSchemaSays) {
    for (const std::string &sample : samples()) {
        for (const std::vector<std::string> &options : {std::vector<std::string>{}, {"--evidence"}, {"--follow"}}) {
            std::vector<std::string> arguments = {"scan", "--ndjson", sample};
            arguments.insert(arguments.end(), options.begin(), options.end());
            const Result result = run(arguments);
            ASSERT_EQ(result.status, 0) << result.error;
            const Result valid = validate("scan-record.schema.json", result.out);
            if (valid.status == 127) {
                GTEST_SKIP() << "python3-jsonschema is not installed";
            }
            EXPECT_EQ(valid, success("")) << result.out.substr(0, 1000);
        }
    }
    EXPECT_NE(validate("scan-record.schema.json", "{\"type\": \"event\"}\n").out, "");
}

// Every fact of the JSON document stands in a field of the same record's row.
TEST(Output, CsvSaysWhatJsonSays) {
    for (const std::string &sample : samples()) {
        const json document = json::parse(run({"scan", "--json", "--evidence", sample}).out);
        const std::string table = run({"scan", "--csv", "--evidence", sample}).out;
        std::vector<std::vector<std::string>> rows{{""}};
        bool quoted = false;
        for (std::size_t i = 0; i < table.size(); ++i) {
            if (quoted && table.compare(i, 2, "\"\"") == 0) {
                rows.back().back() += table[i++];
            } else if (table[i] == '"') {
                quoted = !quoted;
            } else if (!quoted && table[i] == ',') {
                rows.back().emplace_back();
            } else if (!quoted && table.compare(i, 2, "\r\n") == 0) {
                rows.push_back({""});
                ++i;
            } else {
                rows.back().back() += table[i];
            }
        }
        std::size_t row = 1;
        for (const auto &[kind, records] :
             std::initializer_list<std::pair<std::string, json>>{{"network", document["networks"]},
                                                                 {"bouquet", document["bouquets"]},
                                                                 {"stream", document["streams"]},
                                                                 {"service", document["services"]},
                                                                 {"channel", document["channels"]},
                                                                 {"event", document["events"]},
                                                                 {"time", document["times"]}}) {
            for (const json &record : records) {
                ASSERT_LT(row, rows.size());
                EXPECT_EQ(rows[row][0], kind);
                for (const auto &[name, value] : record.items()) {
                    const std::string column = name == "id" ? (kind == "stream" ? "group_id" : "network")
                                               : name == "original_network" ? "network"
                                                                            : name;
                    const auto place = std::find(rows[0].begin(), rows[0].end(), column);
                    ASSERT_NE(place, rows[0].end()) << column;
                    const std::string &field = rows[row].at(static_cast<std::size_t>(place - rows[0].begin()));
                    if (value.is_string() || value.is_null()) {
                        EXPECT_EQ(field, value.is_null() ? "" : value.get<std::string>()) << column;
                    } else {
                        EXPECT_EQ(json::parse(field), value) << column;
                    }
                }
                ++row;
            }
        }
        EXPECT_EQ(row + 1, rows.size());
    }
}

TEST(Output, XmltvIsValid) {
    const std::string definition = ZELK_TOOL_SOURCES "/../tests/tool/xmltv.dtd";
    const auto lint = [&definition](const std::string &document) {
        return runProgram("xmllint", {"--noout", "--nonet", "--dtdvalid", definition, "-"}, document);
    };
    for (const std::string &sample : samples()) {
        const Result guide = run({"scan", "--xmltv", sample});
        ASSERT_EQ(guide.status, 0);
        const Result valid = lint(guide.out);
        if (valid.status == 127) {
            GTEST_SKIP() << "xmllint is not installed";
        }
        EXPECT_EQ(valid.status, 0) << valid.error;
        std::string wrong = guide.out;
        wrong.replace(wrong.find("<title"), 6, "<tilte");
        EXPECT_NE(lint(wrong).status, 0);
    }
    const std::string guide = run({"scan", "--xmltv", samples()[0]}).out;
    EXPECT_NE(guide.find("  <channel id=\"3201.0001.0065.dvb\">\n    <display-name>Harbour One</display-name>\n"),
              std::string::npos);
    EXPECT_NE(guide.find("  <programme start=\"20260301180000 +0000\" stop=\"20260301183000 +0000\" "
                         "channel=\"3201.0001.0065.dvb\">\n    <title lang=\"eng\">Harbour News at Six</title>\n"),
              std::string::npos);
}

TEST(Output, TextHasALineForEachFact) {
    const Result result = run({"scan", "--text", "--now", "--service", "101", samples()[0]});
    EXPECT_EQ(result.out.find("event\n  original_network: 12801\n  transport_stream: 1\n  service: 101\n  event: 1\n"
                              "  language: eng\n  position: present\n  start: 2026-03-01T18:00:00Z\n"
                              "  duration: 00:30:00\n  running_status: running\n  scrambled: false\n"
                              "  name: Harbour News at Six\n"),
              0U)
        << result;
    EXPECT_NE(result.out.find("\n  items: description Presenter, item Iris Caldbeck\n"), std::string::npos);
}

// A terminal of so many columns, and what the tool writes to it.
std::string onTerminal(unsigned short columns, std::vector<std::string> arguments) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
        return {};
    }
    Environment environment;
    environment.outputFile = ptsname(terminal);
    // While it is open here too, what is written to it stays readable.
    const int other = open(environment.outputFile.c_str(), O_RDWR | O_NOCTTY);
    termios mode = {};
    (void)tcgetattr(other, &mode);
    cfmakeraw(&mode);
    (void)tcsetattr(other, TCSANOW, &mode);
    winsize size = {};
    size.ws_col = columns;
    (void)ioctl(terminal, TIOCSWINSZ, &size);
    EXPECT_EQ(run(arguments, {}, environment).status, 0);
    (void)fcntl(terminal, F_SETFL, O_NONBLOCK);
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    (void)close(other);
    (void)close(terminal);
    return text;
}

// Few records, since nobody reads the terminal while they are written.
TEST(Output, TableFitsTheTerminal) {
    const std::vector<std::string> arguments = {"scan", "--color", "never", "--now", "--service", "101", samples()[0]};
    const std::string table = onTerminal(80, arguments);
    ASSERT_FALSE(table.empty());
    // Plain ASCII, apart from the ellipsis: each byte that continues no sequence is a column.
    std::size_t longest = 0;
    for (std::size_t at = 0; at < table.size();) {
        const std::size_t end = table.find('\n', at);
        std::size_t columns = 0;
        for (std::size_t i = at; i < end; ++i) {
            columns += (static_cast<unsigned char>(table[i]) & 0xC0U) != 0x80 ? 1 : 0;
        }
        longest = std::max(longest, columns);
        at = end + 1;
    }
    EXPECT_EQ(longest, 80U) << table;
    // What identifies is whole; texts are cut.
    EXPECT_NE(table.find("\n3201.0001.0065  0001   2026-03-01 18:00  00:30   eng   "), std::string::npos) << table;
    EXPECT_NE(table.find("  The ev…\n"), std::string::npos) << table; // "The evening's headlines."
    std::vector<std::string> wide = arguments;
    wide.emplace_back("--wide");
    EXPECT_EQ(onTerminal(80, wide), run(arguments).out);
}

} // namespace
