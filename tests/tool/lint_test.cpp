// zelk lint: rules over strings, every form of its output, known faults, exit statuses.
#include "tool/languages.h"
#include "tool/run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace {

using namespace zelk_test;
using Json = nlohmann::json;

Json ruleList() {
    Json rules = Json::array();
    std::istringstream lines(run({"lint", "--rules", "--json"}).out);
    for (std::string line; std::getline(lines, line);) {
        rules.push_back(Json::parse(line));
    }
    return rules;
}

std::set<std::string> rulesBroken(std::vector<std::string> arguments, const std::string &input = {}) {
    arguments.insert(arguments.begin(), {"lint", "--json"});
    std::set<std::string> rules;
    std::istringstream lines(run(arguments, input).out);
    for (std::string line; std::getline(lines, line);) {
        const Json object = Json::parse(line);
        for (const Json &fault : object["faults"]) {
            rules.insert(fault["rule"]);
        }
    }
    return rules;
}

// ISO 8859-9 with its selector ten times, then one text in ISO 8859-1.
std::string unlike(const char *last) {
    std::string lines;
    for (int i = 0; i < 10; ++i) {
        lines += "05 43 61 66 E9\n";
    }
    return lines + last;
}

// The words of a shell's line: what stands between quotes is one.
std::vector<std::string> wordsOf(const std::string &line) {
    std::vector<std::string> words;
    std::istringstream parts(line);
    bool quoted = false;
    for (std::string part; std::getline(parts, part, '\''); quoted = !quoted) {
        if (quoted) {
            words.push_back(part);
            continue;
        }
        std::istringstream plain(part);
        for (std::string word; plain >> word;) {
            words.push_back(word);
        }
    }
    return words;
}

// The rows of docs/lint.md: every rule, in the tool's words, and a string that breaks it.
TEST(Lint, RulesAreDocumented) {
    std::ifstream file(ZELK_TOOL_SOURCES "/../docs/lint.md");
    const Json rules = ruleList();
    std::size_t row = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.substr(0, 3) != "| `") {
            continue;
        }
        std::vector<std::string> cells;
        std::istringstream parts(line.substr(2));
        for (std::string cell; std::getline(parts, cell, '|');) {
            cells.push_back(
                cell.substr(cell.find_first_not_of(' '), cell.find_last_not_of(' ') + 1 - cell.find_first_not_of(' ')));
        }
        ASSERT_EQ(cells.size(), 5U) << line;
        ASSERT_LT(row, rules.size());
        const Json &rule = rules[row++];
        EXPECT_EQ(cells[0], "`" + rule["rule"].get<std::string>() + "`");
        EXPECT_EQ(cells[1], rule["severity"]);
        EXPECT_EQ(cells[2] == "-" ? "" : cells[2], rule["clause"]);
        EXPECT_EQ(cells[3], rule["meaning"]);
        EXPECT_EQ(rulesBroken(wordsOf(cells[4].substr(1, cells[4].size() - 2))).count(rule["rule"]), 1U) << line;
    }
    EXPECT_EQ(row, rules.size());
}

TEST(Lint, TellsOfFaults) {
    EXPECT_EQ(run({"lint", "4E 65 77 73"}), success(""));
    EXPECT_EQ(run({"lint", "4E 65 77 73 8A", "41"}),
              (Result{1,
                      "argument 1: offset 4: warning: control-trailing: Control codes are the last thing in the "
                      "string.\n",
                      "zelk lint: errors: 0, warnings: 1, notes: 0, in 1 of 2 strings\n"}));
    const Result utf8 = run({"lint"}, "41\n43 61 66 C3 A9\n");
    EXPECT_EQ(utf8.status, 1);
    EXPECT_NE(utf8.out.find("standard input:2: offset 3: error: utf8-unannounced: The text is UTF-8 without the "
                            "selector of UTF-8. (UTF-8: Caf\xC3\xA9)\n"),
              std::string::npos)
        << utf8;
    EXPECT_EQ(rulesBroken({"--language", "eng", "01 BD DE D2 DE E1 E2 D8"}),
              (std::set<std::string>{"language-script"}));
    EXPECT_EQ(rulesBroken({"--default-code", "iso8859-5", "BD DE D2 DE E1 E2 D8"}), std::set<std::string>());
    EXPECT_EQ(run({"lint", "xyz"}).status, 2);
    EXPECT_EQ(run({"lint", "--ignore", "nothing", "41"}).status, 2);
}

// Whatever a language is needed for, either of its codes will do, in letters of any case.
TEST(Lint, KnowsBothCodesOfALanguage) {
    const std::vector<std::string> strings = {
        "01 BD DE D2 DE E1 E2 D8",                                     // Cyrillic
        "03 C5 E9 E4 DE F3 E5 E9 F2",                                  // Greek
        "05 54 68 65 20 6E 65 77 73 20 6F 66 20 74 6F 6E 69 67 68 74", // Latin, as is what follows
        "05 41 6E 64 20 6F 66 20 74 6F 6D 6F 72 72 6F 77 20 6D 6F 72 6E 69 6E 67 20 74 6F 6F",
        "43 61 66 E9",
        "50 F8 ED 62 EC 68"};
    const std::set<std::string> unchecked = {"bur", "mao", "tib"};
    for (const auto &[bibliographic, terminologic] : languagesOfTwoCodes) {
        bool checked = false;
        for (const std::string &string : strings) {
            const std::string faults = run({"lint", "--language", bibliographic, string}).out;
            EXPECT_EQ(run({"lint", "--language", terminologic, string}).out, faults) << terminologic << ' ' << string;
            EXPECT_EQ(run({"lint", "--language", capitals(terminologic), string}).out, faults) << terminologic;
            checked = checked || faults.find("language-script") != std::string::npos;
        }
        EXPECT_NE(checked, unchecked.contains(bibliographic)) << bibliographic;
    }
}

TEST(Lint, ComparesTheStringsOfAnInput) {
    EXPECT_EQ(rulesBroken({}, unlike("43 61 66 C2 65\n43 61 66 C2 65")).count("table-unusual"), 0U); // not so few
    EXPECT_EQ(rulesBroken({}, unlike("43 61 66 C2 65")).count("table-unusual"), 1U);
    EXPECT_EQ(rulesBroken({}, unlike("05 43 61 66 E9")).count("table-unusual"), 0U);
    EXPECT_EQ(rulesBroken({}, unlike("4E 65 77 73")).count("table-unusual"), 0U);
}

TEST(Lint, ExitStatusFollowsTheSeverity) {
    const std::vector<std::pair<const char *, std::array<int, 4>>> cases = {
        {"05 41", {1, 0, 0, 0}}, // a note
        {"41 8A", {1, 1, 0, 0}},
        {"41 A6", {1, 1, 1, 0}},
        {"41", {0, 0, 0, 0}},
    };
    const char *const levels[] = {"note", "warning", "error", "never"};
    for (const auto &[string, statuses] : cases) {
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(run({"lint", "--fail-on", levels[i], string}).status, statuses[i]) << string << levels[i];
        }
    }
    EXPECT_EQ(run({"lint", "05 41"}).status, 0);
    EXPECT_EQ(run({"lint", "--severity", "warning", "05 41"}), success(""));
    EXPECT_EQ(run({"lint", "--ignore", "control-trailing", "41 8A"}), success(""));
}

TEST(Lint, KnownFaultsAreNotTold) {
    const File baseline("");
    EXPECT_EQ(run({"lint", "--write-baseline", baseline.path(), "41 8A", "05 41"}).status, 1);
    std::ifstream file(baseline.path());
    std::string head;
    std::getline(file, head);
    std::string rest((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(head.front(), '#');
    EXPECT_EQ(rest, "control-trailing 41 8A\nselector-needless 05 41\n");
    EXPECT_EQ(run({"lint", "--baseline", baseline.path(), "41 8A", "05 41"}), success(""));
    EXPECT_EQ(run({"lint", "--baseline", baseline.path(), "41 8A", "42 8A"}).status, 1);
    const File byHand("\r\ncontrol-trailing 418a\r\nselector-needless 0x0541\r\n"); // any form of hexadecimal
    EXPECT_EQ(run({"lint", "--baseline", byHand.path(), "41 8A", "05 41"}), success(""));
    const File broken("control-trailing 41 8\n");
    EXPECT_EQ(run({"lint", "--baseline", broken.path(), "41"}).status, 2);
    const File wrong("no-rule 41\n");
    EXPECT_EQ(run({"lint", "--baseline", wrong.path(), "41"}).status, 2);
    EXPECT_EQ(run({"lint", "--baseline", "/no/such/file", "41"}).status, 3);
}

TEST(Lint, WritesJson) {
    const Json object = Json::parse(run({"lint", "--json", "--language", "fra", "43 61 66 C3 A9"}).out);
    EXPECT_EQ(object["place"], "argument 1");
    EXPECT_EQ(object["language"], "fra");
    EXPECT_EQ(object["input"], "43 61 66 C3 A9");
    EXPECT_EQ(object["table"], "DVB default table");
    bool found = false;
    for (const Json &fault : object["faults"]) {
        found = found || (fault["rule"] == "utf8-unannounced" && fault["offset"] == 3 && fault["length"] == 2 &&
                          fault["detail"] == "UTF-8: Caf\xC3\xA9" && fault["severity"] == "error");
    }
    EXPECT_TRUE(found) << object;
}

// A section of EN 300 468 with its checksum (ISO/IEC 13818-1, Annex A).
std::string section(unsigned int table, const std::string &head, const std::string &body) {
    const std::size_t length = head.size() + body.size() + 4;
    std::string result;
    result.push_back(static_cast<char>(table));
    result.push_back(static_cast<char>(0xF0 | length >> 8));
    result.push_back(static_cast<char>(length & 0xFF));
    result += head + body;
    std::uint32_t sum = 0xFFFFFFFF;
    for (const char byte : result) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool one = ((static_cast<unsigned char>(byte) >> bit & 1) ^ (sum >> 31)) != 0;
            sum = sum << 1 ^ (one ? 0x04C11DB7U : 0U);
        }
    }
    for (const int shift : {24, 16, 8, 0}) {
        result.push_back(static_cast<char>(sum >> shift & 0xFF));
    }
    return result;
}

std::string counted(const std::string &text) {
    return static_cast<char>(text.size()) + text;
}

// The description of one service, and an event in Russian.
std::string sections() {
    const std::string names = std::string(1, '\x01') + counted("RTL\x8A") +
                              counted("R\xE9"
                                      "alis\xE9 par");
    const std::string descriptor = "\x48" + counted(names);
    const std::string sdt = std::string("\x00\x01\xC1\x00\x00\x00\x02\xFF", 8) + std::string("\x00\x07\xFC\x80", 4) +
                            static_cast<char>(descriptor.size()) + descriptor;
    const std::string eventTexts = "rus" + counted("\x01\xBD\xDE\xD2\xDE\xE1\xE2\xD8") + counted("");
    const std::string eventDescriptor = "\x4D" + counted(eventTexts);
    const std::string eit = std::string("\x00\x07\xC1\x00\x00\x00\x01\x00\x02\x00\x4E", 11) +
                            std::string("\x00\x09\xE0\x00\x12\x00\x00\x00\x30\x00\x80", 11) +
                            static_cast<char>(eventDescriptor.size()) + eventDescriptor;
    return section(0x42, sdt, "") + section(0x4E, eit, "");
}

TEST(Lint, ReadsSectionsAndStreams) {
    const File file(sections());
    const Result result = run({"lint", "--json", "--stream", file.path()});
    EXPECT_EQ(result.status, 1);
    std::map<std::string, std::set<std::string>> rules;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
        const Json object = Json::parse(line);
        for (const Json &fault : object["faults"]) {
            rules[object["member"]].insert(fault["rule"]);
        }
    }
    EXPECT_EQ(rules["provider"], (std::set<std::string>{"control-trailing"}));
    EXPECT_EQ(rules["name"].count("table-other"), 1U);
    EXPECT_EQ(rules.size(), 2U) << result;
    EXPECT_NE(result.out.find("service 0002.0001.0007"), std::string::npos) << result;

    const Result stream = run({"lint", "--stream", ZELK_TOOL_SOURCES "/../samples/multiplex.ts", "41 8A"});
    EXPECT_NE(stream.out.find("argument 1: offset 1: warning: control-trailing"), std::string::npos);
    EXPECT_EQ(run({"lint", "--stream", "/no/such/file"}).status, 3);
    const File text("no sections\n");
    EXPECT_EQ(run({"lint", "--stream", text.path()}),
              failure(2, "zelk lint: " + text.path() +
                             ": expected a transport stream, sections or an event, found none of them"));
}

// What the schema of SARIF requires; ./dev sarif validates against the schema itself.
TEST(Lint, WritesSarif) {
    const File lines("41\n41 8A\n");
    const Json document = Json::parse(run({"lint", "--sarif", "-f", lines.path()}).out);
    EXPECT_EQ(document["version"], "2.1.0");
    const Json &sarif = document["runs"][0];
    const Json &rules = sarif["tool"]["driver"]["rules"];
    EXPECT_EQ(rules.size(), ruleList().size());
    ASSERT_EQ(sarif["results"].size(), 1U);
    const Json &result = sarif["results"][0];
    EXPECT_EQ(result["ruleId"], "control-trailing");
    EXPECT_EQ(rules[result["ruleIndex"].get<std::size_t>()]["id"], "control-trailing");
    EXPECT_EQ(result["level"], "warning");
    EXPECT_EQ(result["locations"][0]["physicalLocation"]["region"]["startLine"], 2);
    EXPECT_EQ(result["partialFingerprints"]["bytes/v1"], "41 8A");
    EXPECT_EQ(Json::parse(run({"lint", "--sarif", "41"}).out)["runs"][0]["results"], Json::array());
    EXPECT_EQ(run({"lint", "--sarif", "--json", "41"}).status, 2);
}

} // namespace
