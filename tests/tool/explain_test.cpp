// zelk explain: what it shows, and that it tells of the same text that is decoded.
#include "helpers/text.h"
#include "reference/huffman_encoder.h"
#include "tool/run.h"

#include "zelk.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <map>
#include <sstream>

namespace {

using namespace zelk_test;
using nlohmann::json;

std::string hexOf(const std::string &bytes) {
    std::string result;
    for (const char byte : bytes) {
        char pair[4];
        (void)std::snprintf(pair, sizeof pair, "%02X ", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        result += pair;
    }
    return result.substr(0, result.empty() ? 0 : result.size() - 1);
}

// One explanation for each line of input.
std::vector<json> explainAll(const std::string &lines, const std::vector<std::string> &options = {}) {
    std::vector<std::string> arguments = {"explain", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Result result = run(arguments, lines);
    EXPECT_EQ(result.status, 0) << result;
    std::vector<json> explanations;
    std::istringstream stream(result.out);
    for (std::string line; std::getline(stream, line);) {
        explanations.push_back(json::parse(line));
    }
    return explanations;
}

json explain(const std::string &hex, const std::vector<std::string> &options = {}) {
    return explainAll(hex + '\n', options).at(0);
}

// "kind" or "kind=text" of each step, in one line.
std::string kinds(const json &explanation) {
    std::string result;
    for (const json &step : explanation["steps"]) {
        const std::string text = step["text"];
        result += (result.empty() ? "" : " ") + step["kind"].get<std::string>() + (text.empty() ? "" : "=" + text);
    }
    return result;
}

// "kind@offset" of each finding, in one line.
std::string found(const json &explanation) {
    std::string result;
    for (const json &finding : explanation["findings"]) {
        result += (result.empty() ? "" : " ") + finding["kind"].get<std::string>() + "@" +
                  std::to_string(finding["offset"].get<unsigned int>());
    }
    return result;
}

TEST(Explain, WritesATable) {
    EXPECT_EQ(run({"explain", "41 C2 65 C2 8A 86 A6 FF"}),
              success("String   41 C2 65 C2 8A 86 A6 FF\n"
                      "Region   standard\n"
                      "Code     0 (default table)\n"
                      "Table    DVB default table (no selector: the default table)\n"
                      "Text     A\xC3\xA9\xC2\xB4\\n\\u00AD\n"
                      "\n"
                      "Offset  Bytes  Code point  Text    Kind        Note\n"
                      "0       41     U+0041      A       text        letter\n"
                      "1       C2                         mark        non-spacing mark of the next letter\n"
                      "2       65     U+00E9      \xC3\xA9       text        letter, with the mark C2\n"
                      "3       C2     U+00B4      \xC2\xB4       text        modifier, mark without a letter\n"
                      "4       8A     U+000A      \\n      control     line break\n"
                      "5       86                         dropped     emphasis on\n"
                      "6       A6                         unassigned  no character in this table\n"
                      "7       FF     U+00AD      \\u00AD  text        break\n"
                      "warning mark-without-letter at 3: a mark without a letter\n"
                      "warning emphasis-unbalanced at 5: emphasis begins without an end, or ends without a "
                      "beginning\n"
                      "error byte-unassigned at 6: no character in this table\n"));
}

TEST(Explain, PadsWideCharactersByTheirColumns) {
    EXPECT_EQ(run({"explain", "--region", "gb2312", "C4E3 41"}),
              success("String   C4 E3 41\n"
                      "Region   gb2312\n"
                      "Code     0 (default table)\n"
                      "Table    GB 2312, read by the system's converter (no selector: the default table)\n"
                      "Text     \xE4\xBD\xA0"
                      "A\n"
                      "\n"
                      "Offset  Bytes  Code point  Text  Kind  Note\n"
                      "0       C4 E3  U+4F60      \xE4\xBD\xA0    text\n"
                      "2       41     U+0041      A     text  letter\n"));
}

TEST(Explain, ShowsTheBitsOfCompressedText) {
    static const ContextCodes codes = contextCodes(HuffmanDecodeTable_1);
    const std::string string = bytes("1F 01") + encodeStreamText(codes, "The");
    const json explanation = explain(hexOf(string) + " 41");
    EXPECT_EQ(kinds(explanation), "selector text=T text=h text=e end dropped");
    EXPECT_EQ(explanation["steps"][1]["bits"], "00"); // T begins a text with two bits
    EXPECT_EQ(explanation["steps"][1]["note"], "byte 54, letter");
    EXPECT_EQ(explanation["steps"][5]["note"], "after the end of the text");
    EXPECT_EQ(found(explanation), "compressed-rest@" + std::to_string(string.size()));
    EXPECT_EQ(explain(hexOf(string))["findings"], json::array());
    EXPECT_EQ(found(explain("1F 01 00")), "compressed-cut@2");
}

// The bits of the steps, one after another, are the bits of the string.
TEST(Explain, BitsOfCompressedTextAreAllAccountedFor) {
    static const ContextCodes codes[2] = {contextCodes(HuffmanDecodeTable_1), contextCodes(HuffmanDecodeTable_2)};
    Random random(11);
    std::vector<std::string> expected;
    std::string lines;
    for (unsigned int round = 0; round < 60; ++round) {
        std::string text;
        for (std::uint32_t length = random.below(20); length > 0; --length) {
            const std::uint32_t kind = random.below(10);
            text += kind == 0   ? "\xC3\xA9"
                    : kind == 1 ? "\xC2\x86"
                                : std::string(1, static_cast<char>(0x20 + random.below(0x5F)));
        }
        const unsigned int type = 1 + round % 2;
        expected.push_back(contextBits(codes[type - 1], text + '\0'));
        lines += hexOf(std::string{0x1F, static_cast<char>(type)} + packed(expected.back())) + '\n';
    }
    const std::vector<json> explanations = explainAll(lines);
    ASSERT_EQ(explanations.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        std::string bits;
        std::string shown;
        for (const json &step : explanations[i]["steps"]) {
            bits += step.value("bits", "");
            shown += step["text"].get<std::string>();
        }
        EXPECT_EQ(bits, expected[i]);
        EXPECT_EQ(shown, explanations[i]["text"]);
    }
}

TEST(Explain, ShowsPiecesByTheirBits) {
    const MalaysiaRows rows(ZELK_TABLE_DATA "/malaysia_en.tsv");
    const std::string compressed = MalaysiaEncoder(rows).encode("This show, caf\xE9");
    const json explanation = explain("1F 05 " + hexOf(compressed));
    EXPECT_EQ(explanation["text"], "This show, caf\xC3\xA9");
    std::string shown;
    for (const json &step : explanation["steps"]) {
        shown += step["text"].get<std::string>();
    }
    EXPECT_EQ(shown, explanation["text"]);
    EXPECT_EQ(explanation["steps"][1]["text"], "This");
    EXPECT_EQ(explanation["steps"][1]["bits"], rows.codeOf.at("This"));
    EXPECT_EQ(explanation["findings"], json::array());
}

TEST(Explain, NamesTheTableAndTheReason) {
    struct Case {
        const char *string;
        const char *region;
        int number; // -1: none
        const char *table;
        const char *reason;
    };
    const Case cases[] = {
        {"41", "standard", 0, "DVB default table", "no selector: the default table"},
        {"41", "iso8859-2", 0, "DVB default table", "no selector: the default table"},
        {"01 41", "standard", 6, "ISO 8859-5", "selector 01: ISO 8859-5"},
        {"01 41", "iso8859-2", 0, "DVB default table",
         "selector 01: ISO 8859-5, which region iso8859-2 reads otherwise"},
        {"02 41", "standard", 7, "ISO 8859-6", "selector 02: ISO 8859-6"},
        {"05 41", "gb2312", 0, "DVB default table", "selector 05: ISO 8859-9, which region gb2312 reads otherwise"},
        {"08 41", "standard", 1, "ASCII only", "selector 08: reserved"},
        {"0C 41", "standard", 16, "ISO 8859-16", "selector 0C: reserved"},
        {"12 41", "iso8859-15", 18, "ISO 8859-15 with non-spacing marks", "selector 12: KS X 1001"},
        {"12 41", "iso8859-9", 10, "ISO 8859-9", "selector 12: KS X 1001"},
        {"12 41", "iso8859-7", 8, "ISO 8859-7", "selector 12: KS X 1001"},
        {"13 41", "iso8859-2", 3, "ISO 8859-2", "selector 13: GB 2312"},
        {"10 00 0F 41", "standard", 15, "ISO 8859-15", "selector 10 00 0F: ISO 8859-15"},
        {"10 00 0C 41", "standard", 1, "ASCII only", "selector 10 00 0C: reserved"},
        {"10 00 11 41", "standard", 0, "DVB default table", "selector 10 00 11: reserved"},
        {"11 00 41", "standard", -1, "two-byte characters", "selector 11: ISO 10646, two bytes for each character"},
        {"14 00 41", "standard", -1, "two-byte characters", "selector 14: the Big5 part of ISO 10646"},
        {"15 41", "standard", -1, "UTF-8", "selector 15: UTF-8"},
        {"0F 41", "standard", -1, "UTF-8, no control codes filtered", "selector 0F: reserved"},
        {"1F 05 41", "standard", -1, "Huffman code of encoding type 5", "selector 1F 05: encoding type 5"},
        {"1F 03 41", "standard", 0, "DVB default table", "selector 1F 03: encoding type 3"},
    };
    std::map<std::string, std::vector<json>> explanations; // by region, backwards
    for (const Case &c : cases) {
        if (!explanations.contains(c.region)) {
            std::string lines;
            for (const Case &other : cases) {
                lines += std::string(other.region) == c.region ? std::string(other.string) + '\n' : "";
            }
            std::vector<json> all = explainAll(lines, {"--region", c.region});
            explanations[c.region].assign(all.rbegin(), all.rend());
        }
        ASSERT_FALSE(explanations[c.region].empty());
        const json explanation = explanations[c.region].back();
        explanations[c.region].pop_back();
        EXPECT_EQ(explanation["table"], c.table) << c.string << ' ' << c.region;
        EXPECT_EQ(explanation["tableNumber"], c.number < 0 ? json() : json(c.number)) << c.string << ' ' << c.region;
        EXPECT_EQ(explanation["reason"], c.reason) << c.string << ' ' << c.region;
    }
    EXPECT_EQ(explain("41", {"--default-code", "7"})["reason"], "no selector: the default code 7");
    EXPECT_EQ(explain("41", {"--default-code", "7"})["table"], "ISO 8859-7");
}

// Emphasis codes change what the control bytes of a table give, not which table it is.
TEST(Explain, KnowsTheTableWhateverTheFlags) {
    std::string lines;
    for (int part = 1; part <= 16; ++part) {
        lines += hexOf(std::string{0x10, 0, static_cast<char>(part), '\x86'}) + '\n';
    }
    const std::vector<json> explanations = explainAll(lines, {"--keep-emphasis"});
    for (std::size_t part = 1; part <= 16; ++part) {
        const json &explanation = explanations.at(part - 1);
        EXPECT_EQ(explanation["table"], part == 12 ? "ASCII only" : "ISO 8859-" + std::to_string(part));
        EXPECT_EQ(explanation["steps"][1]["note"], "emphasis on");
    }
}

TEST(Explain, TellsOfSelectors) {
    const std::vector<json> explanations = explainAll("0C 41\n0F 41\n16 41\n0D 41\n13 41\n05 41\n");
    const char *const expected[] = {"selector-reserved@0", "selector-reserved@0",    "selector-reserved@0",
                                    "selector-reserved@0", "selector-unsupported@0", ""};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(found(explanations.at(i)), expected[i]);
    }
    const json finding = explanations.at(4)["findings"][0];
    EXPECT_EQ(finding["severity"], "error");
    EXPECT_EQ(finding["clause"], "ETSI EN 300 468 A.2");
    EXPECT_EQ(finding["message"], "this selector is not supported: the default table of the region is used");
}

TEST(Explain, TellsWhatBecameOfUtf8) {
    const json utf8 = explain("15 C3A9 C3 C341 F0 C285 E282");
    EXPECT_EQ(kinds(utf8), "selector text=\xC3\xA9 unassigned=\xEF\xBF\xBD dropped text=A unassigned=\xEF\xBF\xBD "
                           "dropped dropped");
    EXPECT_EQ(found(utf8), "utf8-malformed@3 utf8-malformed@4 utf8-malformed@6 control-dropped@7 utf8-malformed@9");
    const json prepared = explain("1D C3A9 C2 85 FF E2");
    EXPECT_EQ(kinds(prepared),
              "selector text=\xC3\xA9 control=\xC2\x85 unassigned=\xEF\xBF\xBD unassigned=\xEF\xBF\xBD");
    EXPECT_EQ(kinds(explain("1D 41 00 42")), "selector text=A end");
}

TEST(Explain, TellsWhatBecameOfTwoByteText) {
    const json explanation = explain("11 0041 E08A 0085 0000 D800 00");
    EXPECT_EQ(kinds(explanation), "selector text=A control=\n dropped dropped unassigned=\xEF\xBF\xBD dropped");
    EXPECT_EQ(explanation["steps"][5]["codePoints"], json::array({"U+D800"}));
    EXPECT_EQ(explanation["steps"][5]["note"], "surrogate, no character by itself");
    EXPECT_EQ(found(explanation), "control-dropped@5 control-dropped@7 surrogate-lone@9 two-byte-odd@11");
    const json pair = explain("11 D83D DE00");
    EXPECT_EQ(kinds(pair), "selector text=\xF0\x9F\x98\x80");
    EXPECT_EQ(pair["steps"][1]["codePoints"], json::array({"U+1F600"}));
}

TEST(Explain, TellsWhatBecameOfGb2312) {
    EXPECT_EQ(kinds(explain("C4E3 0A 41", {"--region", "gb2312"})), "text=\xE4\xBD\xA0 control=\n text=A");
    const json broken = explain("C4E3 FF41", {"--region", "gb2312"});
    EXPECT_EQ(found(broken), "byte-unassigned@2");
    EXPECT_EQ(kinds(explain("41 00 42", {"--region", "gb2312"})), "text=A end");
}

TEST(Explain, UnknownEncodingTypeHasNoCode) {
    const json explanation = explain("41 42", {"--default-code", "22", "--extra", "7"});
    EXPECT_EQ(kinds(explanation), "dropped");
    EXPECT_EQ(explanation["findings"][0]["message"], "there is no code of encoding type 7");
}

// Over all tables and forms: the steps cover the string without gap or overlap, and what they show is the text.
TEST(Explain, StepsAddUpToTheText) {
    Random random(7);
    const char *const regions[] = {"standard", "iso8859-9", "iso8859-2", "iso8859-7", "iso8859-9-alt", "iso8859-15"};
    for (const char *region : regions) {
        std::string lines;
        for (int i = 0; i < 150; ++i) {
            std::string string;
            if (random.chance(80)) {
                string.push_back(static_cast<char>(1 + random.below(0x1F)));
                if (string[0] == 0x10) {
                    string += {'\0', static_cast<char>(random.below(18))};
                } else if (string[0] == 0x0F || string[0] == 0x1D || string[0] == 0x1F) {
                    string[0] = 0x02; // text that is handed on unchanged, and text of bits: tested above
                }
            }
            for (std::uint32_t length = random.below(24); length > 0; --length) {
                string.push_back(
                    static_cast<char>(random.chance(30) ? 0xC0 + random.below(16) : 0x20 + random.below(0xE0)));
            }
            lines += hexOf(string) + '\n';
        }
        for (const json &explanation : explainAll(lines, {"--region", region})) {
            std::string covered;
            std::string shown;
            for (const json &step : explanation["steps"]) {
                covered += (covered.empty() ? "" : " ") + step["bytes"].get<std::string>();
                shown += step["text"].get<std::string>();
            }
            EXPECT_EQ(covered, explanation["input"]);
            EXPECT_EQ(shown, explanation["text"]) << explanation["input"];
        }
    }
}

TEST(Explain, ColoursOnRequestOnly) {
    const Result plain = run({"explain", "05 41 80 12"});
    EXPECT_EQ(plain.out.find('\x1B'), std::string::npos);
    const Result coloured = run({"explain", "--color", "always", "05 41 80 12"});
    EXPECT_NE(coloured.out.find("\x1B[36m0       05"), std::string::npos) << coloured;
    EXPECT_NE(coloured.out.find("\x1B[33m2       80"), std::string::npos) << coloured;
    EXPECT_EQ(run({"explain", "--color", "never", "05 41 80 12"}), plain);
    EXPECT_EQ(run({"explain", "--color", "blue", "41"}),
              failure(2, "zelk explain: --color: expected one of auto, always, never, found 'blue'; see 'zelk explain "
                         "--help'"));
    // What is coloured is the same text.
    std::string stripped;
    bool inside = false;
    for (const char c : coloured.out) {
        inside = inside || c == '\x1B';
        if (!inside) {
            stripped.push_back(c);
        }
        inside = inside && c != 'm';
    }
    EXPECT_EQ(stripped, plain.out);
}

// A terminal is coloured unless NO_COLOR asks for none.
TEST(Explain, ColoursATerminal) {
    const std::string command = std::string(ZELK_TOOL) + " explain 0541";
    const auto onTerminal = [&command](const std::vector<std::string> &variables) {
        Environment environment;
        environment.variables = variables;
        return runProgram("script", {"-qec", command, "/dev/null"}, {}, environment);
    };
    const Result coloured = onTerminal({});
    if (coloured.status == 127) {
        GTEST_SKIP() << "no program named script";
    }
    EXPECT_NE(coloured.out.find("\x1B["), std::string::npos);
    EXPECT_NE(onTerminal({"NO_COLOR="}).out.find("\x1B["), std::string::npos);
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}).out.find("\x1B["), std::string::npos);
}

// A broadcaster's escape sequences never reach the terminal.
TEST(Explain, ShowsControlsAsEscapes) {
    const Result result = run({"explain", "1D 41 1B 5B 33 31 6D 5C E2 80 AE"});
    EXPECT_EQ(result.out.find('\x1B'), std::string::npos);
    EXPECT_NE(result.out.find("Text     A\\u001B[31m\\\\\\u202E\n"), std::string::npos) << result;
}

TEST(Explain, SeparatesSeveralStrings) {
    const Result result = run({"explain", "41", "42"});
    EXPECT_NE(result.out.find("letter\n\nString   42\n"), std::string::npos) << result;
}

TEST(Explain, RefusesWhatIsNoString) {
    EXPECT_EQ(run({"explain", "--json", "--raw", std::string(5000, 'A')}).status, 0); // of any length
    EXPECT_EQ(run({"explain", "4"}),
              failure(2, "zelk explain: argument 1: expected two hexadecimal digits for each byte, found '4'"));
}

} // namespace
