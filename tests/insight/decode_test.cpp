// Decoding with evidence: every kind of finding by an example, then random strings against a model that shares nothing
// with the library.
#include "zelk_insight.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/dvb_model.h"
#include "reference/huffman_encoder.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace zelk_test;

constexpr zelkInsightSettings standard = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};

struct Decoded {
    std::string text;
    zelkInsightEvidence evidence{};
    std::vector<zelkInsightFinding> findings;
    std::vector<zelkInsightStep> steps;
};

// `after` is the byte after a counted string; without a count enough zeros follow.
Decoded decode(const std::string &string, const zelkInsightSettings &settings = standard, int size = 4096,
               bool counted = true, char after = '\0') {
    Decoded result;
    std::vector<zelkInsightFinding> findings(256);
    std::vector<zelkInsightStep> steps(1024);
    Guarded<char> out(static_cast<std::size_t>(std::max(size, 1)));
    const std::string in = string + (counted ? std::string(1, after) : std::string(3, '\0'));
    result.evidence.findings = findings.data();
    result.evidence.findingRoom = 256;
    result.evidence.steps = steps.data();
    result.evidence.stepRoom = 1024;
    const int count = counted ? static_cast<int>(string.size()) : -1;
    const unsigned int length = zelkInsightDecode(&settings, out.data(), size, in.data(), count, &result.evidence);
    result.text.assign(out.data(), length);
    EXPECT_EQ(out[length], 0);
    EXPECT_LE(result.evidence.findingCount, 256U);
    EXPECT_LE(result.evidence.stepCount, 1024U);
    result.findings.assign(findings.data(), findings.data() + result.evidence.findingCount);
    result.steps.assign(steps.data(), steps.data() + result.evidence.stepCount);

    // Without steps there is a faster way to the same answer.
    std::vector<zelkInsightFinding> quickFindings(256);
    Guarded<char> quickOut(static_cast<std::size_t>(std::max(size, 1)));
    zelkInsightEvidence quick{};
    quick.findings = quickFindings.data();
    quick.findingRoom = 256;
    const unsigned int quickLength = zelkInsightDecode(&settings, quickOut.data(), size, in.data(), count, &quick);
    EXPECT_EQ(std::string(quickOut.data(), quickLength), result.text);
    EXPECT_EQ(quick.findingCount, result.evidence.findingCount);
    const auto reading = [](const zelkInsightEvidence &of) {
        return std::tie(of.severity, of.charSet, of.code, of.extra, of.table, of.reason, of.selectorLength);
    };
    EXPECT_EQ(reading(quick), reading(result.evidence));
    return result;
}

// "kind@offset+length>textOffset+textLength:value" of each finding.
std::string told(const Decoded &decoded) {
    std::string result;
    for (const zelkInsightFinding &finding : decoded.findings) {
        result += result.empty() ? "" : " ";
        result += std::string(zelkInsightKindName(finding.kind)) + "@" + std::to_string(finding.offset) + "+" +
                  std::to_string(finding.length) + ">" + std::to_string(finding.textOffset) + "+" +
                  std::to_string(finding.textLength) + ":" + std::to_string(finding.value);
    }
    return result;
}

std::string findingsOf(const char *hex, const zelkInsightSettings &settings = standard) {
    return told(decode(bytes(hex), settings));
}

TEST(InsightDecode, TellsOfSelectors) {
    EXPECT_EQ(findingsOf("41"), "");
    EXPECT_EQ(findingsOf("05 41"), "");
    EXPECT_EQ(findingsOf("10 00 02 41"), "");
    EXPECT_EQ(findingsOf("08 41"), "selector-reserved@0+1>0+0:8");
    EXPECT_EQ(findingsOf("0C 41"), "selector-reserved@0+1>0+0:12");
    EXPECT_EQ(findingsOf("16 41"), "selector-reserved@0+1>0+0:22");
    EXPECT_EQ(findingsOf("10 00 0C 41"), "selector-reserved@0+3>0+0:16");
    EXPECT_EQ(findingsOf("10 00 00 41"), "selector-reserved@0+3>0+0:16");
    EXPECT_EQ(findingsOf("10 00 10 41"), "selector-reserved@0+3>0+0:16");
    EXPECT_EQ(findingsOf("10 01 41").substr(0, 27), "selector-reserved@0+1>0+0:1");
    EXPECT_EQ(findingsOf("12 41"), "selector-unsupported@0+1>0+0:18");
    EXPECT_EQ(findingsOf("13 41"), "selector-unsupported@0+1>0+0:19");
    EXPECT_EQ(findingsOf("1F 03 41"), "selector-unsupported@0+2>0+0:31");
    EXPECT_EQ(findingsOf("10 00"), "selector-cut@0+2>0+0:16");
    EXPECT_EQ(findingsOf("1F"), "selector-cut@0+1>0+0:31");
    EXPECT_EQ(told(decode(bytes("1F"), standard, 4096, false)), "selector-cut@0+1>0+0:31");
    EXPECT_EQ(findingsOf("1F 00"), "selector-unsupported@0+2>0+0:31");
}

TEST(InsightDecode, TellsTheTableAndWhy) {
    const auto expect = [](const char *hex, const zelkInsightSettings &settings, int table, zelkInsightReason reason) {
        const Decoded decoded = decode(bytes(hex), settings);
        EXPECT_EQ(decoded.evidence.table, table) << hex;
        EXPECT_EQ(decoded.evidence.reason, reason) << hex;
    };
    const auto in = [](dvbCharSet_t region, DvbCode_t code = DvbCodeNone, unsigned int options = 0) {
        return zelkInsightSettings{region, code, 0, 0, options};
    };
    expect("41", standard, ZelkInsightTableDefault, ZelkInsightByDefault);
    expect("41", in(DvbCharSetIso8859_2), ZelkInsightTableDefault, ZelkInsightByDefault);
    expect("41", in(DvbCharSetStandard, DvbCodeIso8859_7), 8, ZelkInsightByDefaultCode);
    expect("41", in(DvbCharSetStandard, DvbCodeIso8859_7, ZelkInsightOverridden), 8, ZelkInsightByOverride);
    expect("05 41", standard, 10, ZelkInsightBySelector);
    expect("01 41", in(DvbCharSetIso8859_2), ZelkInsightTableDefault, ZelkInsightByRegion);
    expect("12 41", in(DvbCharSetIso8859_15), ZelkInsightTableLatin9Marks, ZelkInsightByRegion);
    expect("12 41", standard, ZelkInsightTableDefault, ZelkInsightByRegion);
    expect("11 00 41", standard, ZelkInsightTableTwoByte, ZelkInsightBySelector);
    expect("15 41", standard, ZelkInsightTableUtf8, ZelkInsightBySelector);
    expect("1D 41", standard, ZelkInsightTableUtf8Prepared, ZelkInsightBySelector);
    expect("1F 01 00", standard, ZelkInsightTableCompressed, ZelkInsightBySelector);
    expect("05 41", in(DvbCharSetStandard, DvbCodeNone, ZelkInsightIgnoreSelector), ZelkInsightTableDefault,
           ZelkInsightByDefault);
    const Decoded ignored = decode(bytes("05 C2 65"), in(DvbCharSetStandard, DvbCodeNone, ZelkInsightIgnoreSelector));
    EXPECT_EQ(ignored.text, "\xC3\xA9");
    EXPECT_EQ(ignored.evidence.selectorLength, 1U);
}

TEST(InsightDecode, TellsOfTables) {
    EXPECT_EQ(findingsOf("41 A6 42"), "byte-unassigned@1+1>1+0:166");
    EXPECT_EQ(findingsOf("07 A1 DB"), "byte-unassigned@2+1>3+3:219");
    EXPECT_EQ(findingsOf("C2 42"), "mark-dropped@0+2>0+1:194");
    EXPECT_EQ(findingsOf("C2 20"), "");
    EXPECT_EQ(findingsOf("02 A8 C9"), "");
    EXPECT_EQ(findingsOf("02 A8 C1"), "mark-dropped@1+2>0+2:168"); // no Alpha has a diaeresis
    EXPECT_EQ(findingsOf("02 B4 20"), "");
    EXPECT_EQ(findingsOf("C2 31"), "mark-without-letter@0+1>0+2:194");
    EXPECT_EQ(findingsOf("41 C2"), "mark-without-letter@1+1>1+2:194 byte-after-count@1+1>3+0:0");
    EXPECT_EQ(findingsOf("41 09 0A"), "control-dropped@1+1>1+0:9 control-dropped@2+1>1+0:10");
    EXPECT_EQ(findingsOf("05 41 09 0A"), "");
    EXPECT_EQ(findingsOf("05 41 8A 85"), "control-dropped@3+1>2+0:133");
    // The byte after the count takes the mark with it, where the two would compose.
    const Decoded lost = decode(bytes("41 C2"), standard, 4096, true, 'e');
    EXPECT_EQ(lost.text, "A");
    EXPECT_EQ(told(lost), "mark-without-letter@1+1>1+0:194 byte-after-count@1+1>1+0:0");
    EXPECT_EQ(told(decode(bytes("41 C2"), standard, 4096, false)), "mark-without-letter@1+1>1+2:194");
}

TEST(InsightDecode, TellsOfEmphasis) {
    EXPECT_EQ(findingsOf("41 86 42 43 87 44"), "emphasis@1+4>1+2:0");
    const zelkInsightSettings keeps = {DvbCharSetStandard, DvbCodeNone, 0, 1, 0};
    EXPECT_EQ(findingsOf("41 86 42 43 87 44", keeps), "emphasis@1+4>3+2:0");
    EXPECT_EQ(findingsOf("41 86 42"), "emphasis-unbalanced@1+1>1+0:0");
    EXPECT_EQ(findingsOf("41 87 42"), "emphasis-unbalanced@1+1>1+0:0");
    EXPECT_EQ(findingsOf("86 41 86 42 87"), "emphasis-unbalanced@0+1>0+0:0 emphasis@2+3>1+1:0");
    EXPECT_EQ(findingsOf("11 E086 0041 E087"), "emphasis@1+6>0+1:0");
    EXPECT_EQ(findingsOf("15 C2 86 41 EE 82 87"), "emphasis@1+6>0+1:0");
    EXPECT_EQ(decode(bytes("86 41 87")).evidence.severity, ZelkInsightNote);
    EXPECT_EQ(decode(bytes("86 41")).evidence.severity, ZelkInsightWarning);
}

TEST(InsightDecode, StepsNameTheirFindings) {
    const auto stepsOf = [](const char *hex, const zelkInsightSettings &settings = standard) {
        std::string result;
        for (const zelkInsightStep &step : decode(bytes(hex), settings).steps) {
            result += result.empty() ? "" : " ";
            result += step.finding < 0 ? "-" : zelkInsightKindName(static_cast<zelkInsightKind>(step.finding));
        }
        return result;
    };
    EXPECT_EQ(stepsOf("86 42 87"), "emphasis - emphasis");
    EXPECT_EQ(stepsOf("86 42"), "emphasis-unbalanced -");
    EXPECT_EQ(stepsOf("42 87"), "- emphasis-unbalanced");
    EXPECT_EQ(stepsOf("86 86 42 87 87"), "emphasis-unbalanced emphasis - emphasis emphasis-unbalanced");
    EXPECT_EQ(stepsOf("11 E086 0041 E087"), "- emphasis - emphasis");
    EXPECT_EQ(stepsOf("43 C5", {DvbCharSetStandard, DvbCodeIso8859_16, 0, 0, 0}), "- byte-after-count");
}

TEST(InsightDecode, TellsOfUnicode) {
    EXPECT_EQ(findingsOf("15 C3A9 C3 C341 80 C285"),
              "utf8-malformed@3+1>2+3:195 utf8-malformed@4+1>5+0:195 utf8-malformed@6+1>6+3:128 "
              "control-dropped@7+2>9+0:133");
    EXPECT_EQ(findingsOf("15 F09F9880 41"), "utf8-four-byte@1+4>0+12:128512");
    EXPECT_EQ(findingsOf("15 E6 F09F9880 41"), "utf8-malformed@1+1>0+0:230 utf8-four-byte@2+4>0+12:128512");
    EXPECT_EQ(findingsOf("15 E6B8 F09F9880"), "utf8-malformed@1+2>0+0:230 utf8-four-byte@3+4>0+12:128512");
    EXPECT_EQ(findingsOf("15 E6 F041"), "utf8-malformed@1+2>0+3:230");
    EXPECT_EQ(findingsOf("15 E282"), "utf8-malformed@1+2>0+0:226");
    EXPECT_EQ(findingsOf("15 EFBFBD"), "");
    EXPECT_EQ(findingsOf("15 C080"), "utf8-malformed@1+2>0+3:192");
    EXPECT_EQ(findingsOf("11 0041 00"), "two-byte-odd@3+1>1+0:0");
    EXPECT_EQ(findingsOf("11 D800 0041"), "surrogate-lone@1+2>0+3:55296");
    EXPECT_EQ(findingsOf("11 DC00"), "surrogate-lone@1+2>0+3:56320");
    EXPECT_EQ(findingsOf("11 D800 DBFF"), "surrogate-lone@1+2>0+3:55296 surrogate-lone@3+2>3+3:56319");
    EXPECT_EQ(findingsOf("11 D800 E000"), "surrogate-lone@1+2>0+3:55296");
    EXPECT_EQ(findingsOf("11 DFFF DC00"), "surrogate-lone@1+2>0+3:57343 surrogate-lone@3+2>3+3:56320");
    EXPECT_EQ(decode(bytes("11 D800 DC00")).text, "\xF0\x90\x80\x80");
    EXPECT_EQ(decode(bytes("11 DBFF DFFF")).text, "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(decode(bytes("11 D83D DE00")).text, "\xF0\x9F\x98\x80");
    EXPECT_EQ(findingsOf("11 D83D DE00"), "");
    EXPECT_EQ(decode(bytes("15 EDA0BD EDB880")).text, "\xF0\x9F\x98\x80");
    EXPECT_EQ(findingsOf("1D 41 00 42"), "selector-reserved@0+1>0+0:29 text-after-end@2+2>1+0:0");
    EXPECT_EQ(findingsOf("1D F09F9880 FF"), "selector-reserved@0+1>0+0:29 utf8-malformed@5+1>4+3:255");
}

TEST(InsightDecode, TellsOfCompressedText) {
    static const ContextCodes codes = contextCodes(HuffmanDecodeTable_1);
    const std::string body = encodeStreamText(codes, "The news at ten");
    const std::string string = bytes("1F 01") + body;
    const Decoded whole = decode(string);
    EXPECT_EQ(whole.text, "The news at ten");
    EXPECT_EQ(told(whole), "");
    const Decoded rest = decode(string + "AB");
    EXPECT_EQ(rest.text, whole.text);
    EXPECT_EQ(told(rest), "compressed-rest@" + std::to_string(string.size()) + "+2>15+0:0");
    const Decoded cut = decode(string.substr(0, string.size() - 2));
    ASSERT_EQ(cut.findings.size(), 1U);
    EXPECT_EQ(cut.findings[0].kind, ZelkInsightCompressedCut);
    const zelkInsightSettings unknown = {DvbCharSetStandard, DvbCodeCompressed, 7, 0, 0};
    EXPECT_EQ(findingsOf("41 42", unknown), "compressed-unknown@0+2>0+0:7");
    EXPECT_EQ(told(decode(bytes("1F 05 41"), standard, 4096, false)), "");

    const MalaysiaRows rows(ZELK_TABLE_DATA "/malaysia_en.tsv");
    const Decoded pieces = decode(bytes("1F 05") + MalaysiaEncoder(rows).encode("This show, caf\xE9"));
    EXPECT_EQ(pieces.text, "This show, caf\xC3\xA9");
    EXPECT_EQ(told(pieces), "");
    const Decoded little = decode(bytes("1F 05") + MalaysiaEncoder(rows).encode("This show, caf\xE9"), standard, 3);
    ASSERT_EQ(little.findings.size(), 1U); // a piece fits whole or not at all
    EXPECT_EQ(little.findings[0].kind, ZelkInsightTextCut);
}

TEST(InsightDecode, TellsWhatWasCut) {
    EXPECT_EQ(told(decode("ABCD", standard, 3)), "text-cut@2+2>2+0:0");
    EXPECT_EQ(told(decode("ABCD", standard, 5)), "");
    EXPECT_EQ(told(decode("ABCD", standard, 0)), "text-cut@0+4>0+0:0");
    EXPECT_EQ(decode(bytes("A9 41"), standard, 3).text, "A"); // the long one is skipped
    EXPECT_EQ(told(decode(bytes("A9 41"), standard, 3)), "text-cut@0+2>0+1:0");
    // A mark that stands alone is a character more, and what is cut one less.
    EXPECT_EQ(told(decode(bytes("C2 8A 61"), standard, 4)), "mark-without-letter@0+1>0+2:194 text-cut@2+1>3+0:0");
    const zelkInsightSettings romanian = {DvbCharSetStandard, DvbCodeIso8859_16, 0, 0, 0};
    EXPECT_EQ(told(decode(bytes("C9 6F 63"), romanian, 4)), "text-cut@2+1>3+0:0");
}

TEST(InsightDecode, CountsFindingsWithoutRoom) {
    const std::string string(20, '\xA6');
    char out[8];
    zelkInsightFinding findings[3] = {};
    zelkInsightEvidence evidence{};
    evidence.findings = findings;
    evidence.findingRoom = 2;
    EXPECT_EQ(zelkInsightDecode(nullptr, out, sizeof out, (string + 'A').data(), 20, &evidence), 0U);
    EXPECT_EQ(evidence.findingCount, 20U);
    EXPECT_EQ(evidence.severity, ZelkInsightError);
    EXPECT_EQ(findings[1].offset, 1U);
    EXPECT_EQ(findings[2].length, 0U);
    evidence.findings = nullptr;
    EXPECT_EQ(zelkInsightDecode(nullptr, out, sizeof out, (string + 'A').data(), 20, &evidence), 0U);
    EXPECT_EQ(evidence.findingCount, 20U);
    EXPECT_EQ(zelkInsightDecode(nullptr, out, sizeof out, nullptr, 5, nullptr), 0U);
    EXPECT_EQ(out[0], 0);
}

// Bytes of compressed text that are no UTF-8, or half of a pair; the text is that of plain decoding.
TEST(InsightDecode, TellsOfUnicodeInCompressedText) {
    static const ContextCodes codes = contextCodes(HuffmanDecodeTable_1);
    const auto expect = [](const char *body, const char *text, const std::string &kinds) {
        const Decoded decoded = decode(bytes("1F 01") + encodeStreamText(codes, bytes(body)));
        EXPECT_EQ(decoded.text, text) << body;
        std::string found;
        for (const zelkInsightFinding &finding : decoded.findings) {
            found += std::string(zelkInsightKindName(finding.kind)) + " ";
        }
        EXPECT_EQ(found, kinds) << body;
        // The steps cover the bits without gap or overlap, but for a byte that a step of no bits stands for.
        unsigned int next = 16;
        for (const zelkInsightStep &step : decoded.steps) {
            if (step.bitCount != 0) {
                EXPECT_EQ(step.bitOffset, next) << body;
                next = step.bitOffset + step.bitCount;
            }
        }
    };
    expect("41 C3A9 42",
           "A\xC3\xA9"
           "B",
           "");
    expect("41 80 42",
           "A\xEF\xBF\xBD"
           "B",
           "utf8-malformed ");
    expect("41 EFBFBD 42",
           "A\xEF\xBF\xBD"
           "B",
           "");
    expect("EDA0BD 41",
           "\xEF\xBF\xBD"
           "A",
           "surrogate-lone ");
    expect("EDA0BD", "\xEF\xBF\xBD", "surrogate-lone ");
    // A pair is one character; what only begins like its second half is not.
    expect("41 EDA0BD EDB880 42",
           "A\xF0\x9F\x98\x80"
           "B",
           "");
    expect("EDA0BD EDA0BD EDB880", "\xEF\xBF\xBD\xF0\x9F\x98\x80", "surrogate-lone ");
    expect("EDA0BD E282AC", "\xEF\xBF\xBD\xE2\x82\xAC", "surrogate-lone ");
    expect("EDA0BD C3A9", "\xEF\xBF\xBD\xC3\xA9", "surrogate-lone ");
    expect("EDA0BD EDB8", "\xEF\xBF\xBD", "surrogate-lone ");
    expect("EDB880 41",
           "\xEF\xBF\xBD"
           "A",
           "surrogate-lone ");
    expect("41 C3 42", "AB", "utf8-malformed ");
}

// Whatever the bits are, the text is that of plain decoding, where that is valid.
TEST(InsightDecode, ReadsCompressedBitsAsTheyCome) {
    static const ContextCodes codes = contextCodes(HuffmanDecodeTable_1);
    std::vector<std::string> strings; // with what stands for the end of a text and for "more is needed", too
    for (const char *body : {"41 EFBFBE 42 43 44", "41 EFBFBE", "41 EFBFBF 42", "41 F0 9F 42", "C3", "41 00"}) {
        strings.push_back(bytes("1F 01") + encodeStreamText(codes, bytes(body)));
    }
    Random random(33);
    for (int round = 0; round < 6000; ++round) {
        std::string string = {'\x1F', "\x01\x02\x05\x06"[random.below(4)]};
        for (std::uint32_t length = random.below(24); length > 0; --length) {
            string.push_back(static_cast<char>(random.chance(30) ? 0x100 - random.below(4) : random.below(256)));
        }
        strings.push_back(string);
    }
    for (const std::string &string : strings) {
        const Decoded decoded = decode(string);
        std::string plain(32 * string.size() + 32, '\0');
        plain.resize(zelk_dvb8ToUtf8(DvbCharSetStandard, plain.data(), static_cast<int>(plain.size()),
                                     (string + '\0').data(), static_cast<int>(string.size()), DvbCodeNone, 0, 0));
        const bool surrogates = plain.find('\xED') != std::string::npos; // which plain decoding leaves as they are
        EXPECT_TRUE(surrogates || decoded.text == plain) << decoded.text << " | " << plain;
    }
}

TEST(InsightDecode, TellsOfPreparedPairs) {
    const std::string head = "selector-reserved@0+1>0+0:29";
    const std::pair<const char *, std::pair<const char *, const char *>> strings[] = {
        {"1D EDA0BD EDB880", {"\xF0\x9F\x98\x80", ""}},
        {"1D EDA0BD 41",
         {"\xEF\xBF\xBD"
          "A",
          " surrogate-lone@1+3>0+3:55357"}},
        {"1D EDA0BD C3A9", {"\xEF\xBF\xBD\xC3\xA9", " surrogate-lone@1+3>0+3:55357"}},
        {"1D EDA0BD EDA0BD",
         {"\xEF\xBF\xBD\xEF\xBF\xBD", " surrogate-lone@1+3>0+3:55357 surrogate-lone@4+3>3+3:55357"}},
        {"1D EDB880 41",
         {"\xEF\xBF\xBD"
          "A",
          " surrogate-lone@1+3>0+3:56832"}},
    };
    for (const auto &[string, expected] : strings) {
        const Decoded decoded = decode(bytes(string));
        EXPECT_EQ(decoded.text, expected.first) << string;
        EXPECT_EQ(told(decoded), head + expected.second) << string;
    }
    // No surrogates, though they begin like some.
    for (const char *string : {"1D EDA0", "1D EDA0 41", "1D EDA0 C0", "1D ED41BD", "1D EDC0BD", "1D ED"}) {
        EXPECT_NE(told(decode(bytes(string))).find(" utf8-malformed@1+"), std::string::npos) << string;
    }
}

// Prepared text keeps its controls, which are those of ASCII and of ISO 8859-1.
TEST(InsightDecode, TellsControlsFromText) {
    const Decoded decoded = decode(bytes("1D 1F 20 7E 7F C280 C29F C2A0"));
    const zelkInsightStepKind kinds[] = {ZelkInsightStepSelector, ZelkInsightStepControl, ZelkInsightStepText,
                                         ZelkInsightStepText,     ZelkInsightStepControl, ZelkInsightStepControl,
                                         ZelkInsightStepControl,  ZelkInsightStepText};
    ASSERT_EQ(decoded.steps.size(), std::size(kinds));
    for (std::size_t i = 0; i < std::size(kinds); ++i) {
        EXPECT_EQ(decoded.steps[i].kind, kinds[i]) << i;
    }
}

// Without a count a zero ends the text: two zeros that of two-byte text, and its code that of compressed text.
TEST(InsightDecode, FindsTheEndWithoutACount) {
    EXPECT_EQ(decode(bytes("11 0041 0100"), standard, 4096, false).text, "A\xC4\x80");
    EXPECT_EQ(decode("Caf\xC2"
                     "e",
                     standard, 4096, false)
                  .text,
              "Caf\xC3\xA9");
    EXPECT_EQ(decode("\xC2", standard, 4096, false).evidence.findingCount, 1U);
    static const ContextCodes codes = contextCodes(HuffmanDecodeTable_1);
    const std::string compressed = bytes("1F 01") + encodeStreamText(codes, "News");
    EXPECT_EQ(decode(compressed, standard, 4096, false).text, "News");
    EXPECT_EQ(zelkInsightDecodeSize(nullptr, nullptr, 5), 1);
    EXPECT_EQ(zelkInsightDecodeSize(nullptr, "News", -1), 13);
    EXPECT_EQ(zelkInsightDecodeSize(nullptr, "\x11\0A", 3), 7);
    EXPECT_EQ(zelkInsightDecodeSize(nullptr, compressed.data(), -1), 0);
    EXPECT_EQ(zelkInsightDecodeSize(nullptr, compressed.data(), 12), 241);
    EXPECT_EQ(zelkInsightDecodeSize(nullptr, "News", 0x7FFFFFFF), 0x7FFFFFFF);
}

TEST(InsightDecode, TakesSettingsAndRoomAsTheyAre) {
    zelkInsightSettings settings = standard;
    settings.options = ZelkInsightIgnoreSelector;
    EXPECT_EQ(decode("A", settings).evidence.reason, ZelkInsightByDefault); // there is none to ignore
    EXPECT_EQ(decode(bytes("05 C2 65"), settings).text, "\xC3\xA9");
    settings = {static_cast<dvbCharSet_t>(99), DvbCodeNone, 0, 0, 0};
    EXPECT_EQ(decode("A", settings).text, "A");
    for (const int region : {7, 8, 99}) { // none of the regions
        settings.charSet = static_cast<dvbCharSet_t>(region);
        EXPECT_EQ(decode(bytes("05 F0"), settings).evidence.table, 10) << region; // ISO 8859-9
    }
    EXPECT_EQ(findingsOf("1F"), "selector-cut@0+1>0+0:31");
    EXPECT_EQ(zelkInsightKindSeverity(ZelkInsightKindCount), ZelkInsightNote);

    // Emphasis with nothing, and with too little, to say it in.
    const std::string emphasised = bytes("15 41 C286 42 C287 43 C286 44");
    settings = {DvbCharSetStandard, DvbCodeNone, 0, 1, 0};
    char out[64];
    const int count = static_cast<int>(emphasised.size());
    const unsigned int length = zelkInsightDecode(&settings, out, sizeof out, emphasised.data(), count, nullptr);
    EXPECT_EQ(std::string(out, length), emphasised.substr(1));
    zelkInsightStep steps[2] = {};
    zelkInsightEvidence evidence{};
    evidence.steps = steps;
    evidence.stepRoom = 1;
    EXPECT_EQ(zelkInsightDecode(&settings, out, sizeof out, emphasised.data(), count, &evidence), length);
    EXPECT_EQ(evidence.findingCount, 2U);
    EXPECT_EQ(evidence.severity, ZelkInsightWarning);
    EXPECT_EQ(evidence.stepCount, 8U);
    EXPECT_EQ(steps[1].length, 0U);
    evidence = {};
    EXPECT_EQ(zelkInsightDecode(nullptr, out, sizeof out, "News\xA6", 5, &evidence), 4U);
    EXPECT_EQ(evidence.findingCount, 1U);
    EXPECT_EQ(zelkInsightDecode(nullptr, out, sizeof out, nullptr, 5, &evidence), 0U);
    EXPECT_EQ(evidence.findingCount, 0U);
    evidence.findingRoom = 3; // of no array
    EXPECT_EQ(zelkInsightDecode(nullptr, out, sizeof out, "News", 4, &evidence), 4U);
    EXPECT_EQ(evidence.findingRoom, 0U);
}

TEST(InsightDecode, NamesAreStable) {
    const char *const kinds[] = {"selector-reserved",
                                 "selector-unsupported",
                                 "selector-cut",
                                 "byte-unassigned",
                                 "utf8-malformed",
                                 "utf8-four-byte",
                                 "two-byte-odd",
                                 "surrogate-lone",
                                 "mark-without-letter",
                                 "mark-dropped",
                                 "control-dropped",
                                 "emphasis",
                                 "emphasis-unbalanced",
                                 "compressed-cut",
                                 "compressed-rest",
                                 "compressed-unknown",
                                 "text-cut",
                                 "byte-after-count",
                                 "text-after-end"};
    static_assert(std::size(kinds) == ZelkInsightKindCount);
    for (std::size_t kind = 0; kind < std::size(kinds); ++kind) {
        EXPECT_STREQ(zelkInsightKindName(static_cast<zelkInsightKind>(kind)), kinds[kind]);
    }
    EXPECT_STREQ(zelkInsightKindName(ZelkInsightKindCount), "unknown");
    EXPECT_STREQ(zelkInsightKindName(static_cast<zelkInsightKind>(-1)), "unknown");
    EXPECT_STREQ(zelkInsightKindClause(static_cast<zelkInsightKind>(99)), "");
    // 2 to 16 are the parts of ISO 8859, without the twelfth.
    for (int table = 2; table < 17; ++table) {
        EXPECT_EQ(zelkInsightTableName(static_cast<zelkInsightTable>(table)),
                  "ISO 8859-" + std::to_string(table < 13 ? table - 1 : table));
    }
    const std::pair<int, const char *> tables[] = {
        {0, "DVB default table"},
        {1, "ASCII only"},
        {17, "unknown"},
        {18, "ISO 8859-15 with non-spacing marks"},
        {19, "unknown"},
        {32, "Windows-1250"},
        {33, "Windows-1251"},
        {34, "Windows-1252"},
        {35, "Windows-1253"},
        {36, "Windows-1254"},
        {37, "Windows-1257"},
        {38, "unknown"},
        {64, "UTF-8"},
        {65, "UTF-8, no control codes filtered"},
        {66, "two-byte characters"},
        {67, "compressed text"},
        {68, "unknown"},
    };
    for (const auto &[table, name] : tables) {
        EXPECT_STREQ(zelkInsightTableName(static_cast<zelkInsightTable>(table)), name);
    }
}

// ---- Against the model ----

// The text of units with their surrogates joined.
std::string joined(const std::vector<unsigned int> &units) {
    std::string result;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const bool high = units[i] >= 0xD800 && units[i] < 0xDC00;
        const bool low = units[i] >= 0xDC00 && units[i] < 0xE000;
        if (high && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000) {
            const unsigned int codePoint = 0x10000 + (units[i] - 0xD800) * 0x400 + (units[i + 1] - 0xDC00);
            result += static_cast<char>(0xF0 | codePoint >> 18U);
            result += static_cast<char>(0x80 | (codePoint >> 12U & 63U));
            result += static_cast<char>(0x80 | (codePoint >> 6U & 63U));
            result += static_cast<char>(0x80 | (codePoint & 63U));
            ++i;
        } else {
            result += utf8EncodeModel(high || low ? 0xFFFD : units[i]);
        }
    }
    return result;
}

// What there is to say of a string in a table, byte by byte; emphasis apart.
std::string modelFindings(const std::string &string, std::size_t begin, unsigned int table, unsigned int flags,
                          unsigned int after) {
    std::string result;
    const auto add = [&result](const char *kind, std::size_t at) {
        result += std::string(kind) + "@" + std::to_string(at) + " ";
    };
    const auto at = [&](std::size_t i) -> unsigned int {
        return i < string.size() ? static_cast<unsigned char>(string[i]) : after;
    };
    for (std::size_t i = begin; i < string.size(); ++i) {
        const unsigned int byte = at(i);
        if (byte < 0x20 || (byte >= 0x80 && byte < 0xA0)) {
            const bool kept = table != 0 && (byte == 0x09 || byte == 0x0A);
            if (byte != 0x86 && byte != 0x87 && byte != 0x8A && !kept) {
                add("control-dropped", i);
            }
            continue;
        }
        const int set = modelMarkSet(table);
        bool isMark = false;
        for (unsigned int base = 0; base < 256; ++base) {
            isMark = isMark || (byte >= 0xA0 && byte <= 0xCF && set >= 0 && modelCompose(set, base, byte) != 0);
        }
        const unsigned int composed = isMark ? modelCompose(set, at(i + 1), byte) : 0;
        if (composed != 0 && i + 1 < string.size()) {
            if (composed == at(i + 1)) {
                add("mark-dropped", i);
            }
            ++i;
            continue;
        }
        if (composed != 0 || (isMark && table == 0)) {
            add("mark-without-letter", i);
        } else if (dvbModelTables()[table][byte] == 0xFFFD) {
            add("byte-unassigned", i);
        }
        if (isMark && i + 1 == string.size()) {
            add("byte-after-count", i);
        }
    }
    (void)flags;
    return result;
}

TEST(InsightDecode, AgreesWithTheModel) {
    Random random(20);
    for (int round = 0; round < 40000; ++round) {
        std::string string;
        if (random.chance(60)) {
            string.push_back(static_cast<char>(1 + random.below(0x1E)));
            if (string[0] == 0x10) {
                string += {'\0', static_cast<char>(random.below(18))};
            } else if (string[0] == 0x0F || string[0] == 0x1D) {
                string[0] = 0x03;
            }
        }
        const bool rich = random.chance(50);
        for (std::uint32_t length = random.below(40); length > 0; --length) {
            const bool mark = random.chance(rich ? 30 : 5);
            string.push_back(static_cast<char>(mark   ? 0xC1 + random.below(15)
                                               : rich ? random.below(256)
                                                      : 0x41 + random.below(58)));
        }
        const auto region = static_cast<dvbCharSet_t>(random.below(6));
        const zelkInsightSettings settings = {region, DvbCodeNone, 0, random.below(2), 0};
        const char after = static_cast<char>(random.below(256));
        const ModelSelection selection = modelSelect(region, &string, string.size(), 18, 0);
        if (selection.code == 22 || selection.code == 19) {
            continue;
        }
        std::vector<unsigned int> units = modelCharacters(selection, string, true, settings.flags);
        const Decoded decoded = decode(string, settings, 4096, true, after);
        const bool table = selection.code < 19;
        const unsigned int number = modelTable(selection.charSet, selection.code);
        const std::size_t begin = std::min<std::size_t>(selection.consumed, string.size());
        if (table && !string.empty() && string.size() > begin) {
            // The model sees a zero after the count.
            const auto last = static_cast<unsigned char>(string.back());
            const auto next = static_cast<unsigned char>(after);
            if (last >= 0xA0 && last <= 0xCF && modelCompose(modelMarkSet(number), next, last) != 0) {
                continue;
            }
            std::string found;
            for (const zelkInsightFinding &finding : decoded.findings) {
                const std::string kind = zelkInsightKindName(finding.kind);
                if (kind.rfind("emphasis", 0) != 0 && kind.rfind("selector", 0) != 0) {
                    found += kind + "@" + std::to_string(finding.offset) + " ";
                }
            }
            if (number != 7) { // the Greek marks of Arabic text leave no letter bare
                EXPECT_EQ(found, modelFindings(string, begin, number, settings.flags, next)) << round;
            }
        }
        EXPECT_EQ(decoded.text, joined(units)) << round;
    }
}

// Without steps most strings are only looked at, in blocks: with so many bytes before that they reach into the next
// one. decode() compares.
TEST(InsightDecode, EvidenceIsTheSameWithStepsAndWithout) {
    std::vector<std::string> heads = {""};
    for (unsigned int selector = 0x01; selector < 0x20; ++selector) {
        heads.emplace_back(1, static_cast<char>(selector));
    }
    for (unsigned int part = 0; part < 18; ++part) {
        heads.push_back({'\x10', '\0', static_cast<char>(part)});
    }
    const auto compare = [](const std::string &string, dvbCharSet_t region, unsigned int flags) {
        decode(string, {region, DvbCodeNone, 0, flags, 0});
    };
    const auto compareAll = [&](const std::string &head, const std::string &pair) {
        for (const std::size_t before : {0U, 62U, 63U, 64U}) {
            compare(head + std::string(before, 'a') + pair, DvbCharSetStandard, 1);
            compare(head + std::string(before, 'a') + pair + "b", DvbCharSetStandard, 0);
        }
    };
    for (unsigned int mark = 0xC0; mark <= 0xCF; ++mark) {
        for (unsigned int letter = 0; letter < 0x100; ++letter) {
            compareAll("", {static_cast<char>(mark), static_cast<char>(letter)});
        }
    }
    for (const std::string &head : heads) {
        for (unsigned int byte = 0; byte < 0x100; ++byte) {
            compare(head + std::string(64, 'a') + static_cast<char>(byte), DvbCharSetStandard, 0);
            for (const dvbCharSet_t region : {DvbCharSetStandard, DvbCharSetIso8859_15, DvbCharSetGb2312}) {
                compare(head + static_cast<char>(byte) + "a", region, 1);
            }
        }
    }
    for (unsigned int high = 0; high < 0x100; ++high) {
        for (const unsigned int low : {0x00U, 0x1FU, 0x20U, 0x7EU, 0x7FU, 0x9FU, 0xA0U, 0xFFU}) {
            compareAll("\x11", {static_cast<char>(high), static_cast<char>(low)});
        }
    }
}

// The same by a default code, with a count and without, and of every length that a block, two and four of them have
// limits in.
TEST(InsightDecode, EvidenceIsTheSameByADefaultCode) {
    for (unsigned int code = 0; code <= 21; ++code) {
        const zelkInsightSettings settings = {DvbCharSetIso8859_15, static_cast<DvbCode_t>(code), 5, code % 2, 0};
        for (const char *const hex : {"41", "41 42", "C8 61 E9", "01 C8 61", "10 00 02 E9", "11 00 41 00 E9",
                                      "15 C3 A9", "00 41 00 42", "C3 A9 41", "C3 41", "A4 AE FF", "41 0A 86 42 87"}) {
            for (const bool counted : {true, false}) {
                decode(bytes(hex), settings, 4096, counted);
            }
        }
    }
}

TEST(InsightDecode, EvidenceIsTheSameAtEveryLength) {
    const std::pair<std::string, std::string> kinds[] = {
        // a string of these, and what stands in one place
        {"", "a"},
        {"", "\xC3"},
        {"\x03", "\xAE"},
        {"\x01", "\xE9"},
        {"\x11", {'\0', 'a'}},
        {"\x11", {'\x20', '\xAC'}},
        {"\x11", {'\0', '\x1F'}},
        {"\x11", {'\xFF', '\x0C'}},
        {"\x15", "\xC3\xA9"},
        {"\x15", "\xEF\xBC\x8C"},
        {"\x15", "\xED\xA0\x80"},
        {"\x15", "\xC3"},
        {"\x1D", "\xF0\x9F\x98\x80"},
        {"\x1D", "\xC0\x80"},
    };
    for (const auto &[head, odd] : kinds) {
        const std::string unit = head == "\x11" ? std::string{'\0', 'b'} : "b";
        for (std::size_t length = 0; length < 140; ++length) {
            for (const std::size_t at : {std::size_t{0}, length / 2, length}) {
                std::string string = head;
                for (std::size_t i = 0; i <= length; ++i) {
                    string += i == at ? odd : unit;
                }
                decode(string);
                decode(string, {DvbCharSetStandard, DvbCodeNone, 0, 1, 0}, 4096, head == "\x11");
                decode(string, standard, static_cast<int>(length));
            }
        }
    }
    for (const char *const odd : {"", "\xC3\xA9", "\xEF\xBC\x8C", "\xEF\xBF\xBD", "\xED\xA0\x80", "\xC3", "\x01"}) {
        std::string accents;
        for (int i = 0; i < 600; ++i) {
            accents += "\xC3\xA9";
        }
        decode("\x15" + accents + odd + "b");
        decode("\x15" + std::string(1000, 'a') + odd + accents.substr(0, 40));
    }
}

// Prepared text: whatever may be wrong with a sequence, on both sides of the end of a block, after sequences of each
// length, with room and without.
TEST(InsightDecode, EvidenceIsTheSameOfPreparedText) {
    const zelkInsightSettings prepared = {DvbCharSetStandard, DvbCodeUtf8Prepared, 0, 0, 0};
    const char *const odds[] = {"",       "80",       "A0",     "BF",       "C080",     "C1BF",         "C280",
                                "C3",     "DFBF",     "E0",     "E09FBF",   "E0A080",   "E28082",       "E282",
                                "ECBFBF", "ED",       "ED9FBF", "EDA080",   "EDBFBF",   "EDA0BDEDB880", "EE8080",
                                "EFBFBD", "EFBFBFBF", "F09F98", "F09F9880", "F48FBFBF", "F4908080",     "FF",
                                "00",     "0041",     "7F"};
    for (const std::string unit : {"b", "\xC3\xA9", "\xE4\xB8\x80"}) {
        for (std::size_t before = 0; before < 130; before += before == 16 ? 43 : 1) {
            std::string start(before % unit.size(), 'a');
            while (start.size() < before) {
                start += unit;
            }
            for (const char *const odd : odds) {
                for (const std::size_t after : {0U, 1U, 2U, 15U, 64U}) {
                    const std::string string = start + bytes(odd) + std::string(after, 'b');
                    const auto count = static_cast<int>(string.size());
                    for (const int size : {count, count + 1, 3 * count + 1}) {
                        decode(string, prepared, size);
                    }
                }
            }
        }
    }
}

// What can be seen to be whole without a look at each code, and what only seems to be: cut, with bytes after the end,
// with any bit turned over, with escapes for letters that have codes, and with too little room.
TEST(InsightDecode, EvidenceIsTheSameInCompressedText) {
    std::string graphic;
    for (char character = ' '; character != 0x7F; ++character) {
        graphic += character;
    }
    std::vector<std::string> texts = {"",
                                      "a",
                                      "The news at ten",
                                      "Caf\xC3\xA9, \xC2\xA3"
                                      "5",
                                      "\x7F",
                                      "a\tb\nc",
                                      graphic,
                                      "\xEF\xBF\xBD! \xC2\x86q\xC2\x87",
                                      "\xED\xA0\xBD"
                                      "a"};
    Random random(71);
    for (int round = 0; round < 12; ++round) {
        std::string text;
        for (std::uint32_t length = random.below(40); length > 0; --length) {
            text += random.chance(50) ? "etaoin shrdlu"[random.below(13)] : graphic[random.below(95)];
        }
        texts.push_back(text);
    }
    std::vector<std::string> strings;
    for (const auto &[selector, table] :
         {std::pair("\x1F\x01", HuffmanDecodeTable_1), std::pair("\x1F\x02", HuffmanDecodeTable_2)}) {
        const ContextCodes codes = contextCodes(table);
        ContextCodes fewer = codes;
        for (auto &shortest : fewer.shortest) {
            shortest.erase('e');
            shortest.erase(0);
        }
        for (const std::string &text : texts) {
            strings.push_back(selector + encodeStreamText(codes, text));
            strings.push_back(selector + encodeStreamText(fewer, text));
        }
    }
    for (const auto &[selector, file] :
         {std::pair("\x1F\x05", "/malaysia_en.tsv"), std::pair("\x1F\x06", "/malaysia_ms.tsv")}) {
        const MalaysiaRows rows(std::string(ZELK_TABLE_DATA) + file);
        for (const std::string &text : texts) {
            strings.push_back(selector + MalaysiaEncoder(rows).encode(text));
        }
        strings.push_back(selector + std::string("\xFF\xFF"));
    }
    for (const std::string &string : strings) {
        const std::size_t length = decode(string).text.size();
        decode(string, {DvbCharSetStandard, DvbCodeNone, 0, 1, 0});
        decode(string, standard, 4096, false);
        decode(string + '\0');
        decode(string + "ab");
        for (std::size_t room = length < 3 ? 0 : length - 3; room < length + 6; ++room) {
            decode(string, standard, static_cast<int>(room));
        }
        for (std::size_t cut = 2; cut < string.size(); ++cut) {
            decode(string.substr(0, cut));
        }
        for (std::size_t bit = 16; bit < 8 * string.size(); ++bit) {
            std::string turned = string;
            turned[bit / 8] = static_cast<char>(turned[bit / 8] ^ 0x80 >> bit % 8);
            decode(turned);
        }
    }
}

// The codes of pieces have an end too, a path of value 0x7F and a 1 bit that leads nowhere. It stands here at every bit
// of a byte, as the last of a text and with more after it.
TEST(InsightDecode, EvidenceIsTheSameAfterTheEndOfPieces) {
    for (const auto &[selector, file] :
         {std::pair("\x1F\x05", "/malaysia_en.tsv"), std::pair("\x1F\x06", "/malaysia_ms.tsv")}) {
        const MalaysiaRows rows(std::string(ZELK_TABLE_DATA) + file);
        std::vector<std::string> ends;
        for (const std::string &path : rows.paths) {
            if (path.find_last_of('0') == path.size() - 8 && path.find('1') == path.size() - 7 && !rows.isCode(path) &&
                !rows.isPath(path + '1')) {
                ends.push_back(path + '1');
            }
        }
        ASSERT_FALSE(ends.empty());
        std::set<std::size_t> places;
        for (const std::string &end : ends) {
            for (const char *const pieces : {" ", "r", " r", "rr", "  ", "rrr", "r r", "   ", " rrr"}) {
                std::string bits;
                for (const char *piece = pieces; *piece != '\0'; ++piece) {
                    bits += rows.codeOf.at(std::string(1, *piece));
                }
                places.insert(bits.size() % 8);
                bits += end;
                const Decoded whole = decode(selector + packed(bits));
                EXPECT_EQ(whole.text, pieces);
                EXPECT_TRUE(whole.findings.empty());
                decode(selector + packed(bits + '1'));
                for (const char *const rest : {"\0", "\xFF", "ab"}) {
                    const Decoded more = decode(selector + packed(bits) + std::string(rest, rest[0] == 'a' ? 2 : 1));
                    EXPECT_EQ(more.text, pieces);
                    ASSERT_EQ(more.findings.size(), 1U);
                    EXPECT_EQ(more.findings[0].kind, ZelkInsightCompressedRest);
                }
            }
        }
        EXPECT_EQ(places.size(), 8U);
    }
}

// Text that is looked at whether it can be copied: of the output only the text and its terminator change.
TEST(InsightDecode, KeepsWhatFollowsAShorterText) {
    for (unsigned int before = 0; before < 140; ++before) {
        const std::string ascii(before, 'a');
        for (const std::string &string : {ascii + bytes("C2 65 C8 61"), bytes("15") + ascii + bytes("01 62 C3A9 01")}) {
            Guarded<char> out(1024);
            const unsigned int length =
                zelkInsightDecode(&standard, out.data(), 1024, string.data(), static_cast<int>(string.size()), nullptr);
            for (std::size_t i = length + 1; i < out.size(); ++i) {
                ASSERT_EQ(out[i], Guarded<char>::pattern()) << "byte " << i << " after a text of " << length;
            }
        }
    }
}

// Cost: a text of twice the length has twice the findings and steps, and every size of the output gives valid UTF-8.
TEST(InsightDecode, EverySizeOfTheOutputHoldsItsText) {
    const std::string strings[] = {bytes("41 C2 65 A9 A6 86 42 87 C2"), bytes("15 C3A9 E282AC F09F9880 80 41"),
                                   bytes("11 0041 20AC D83D DE00 D800"), bytes("1D C3A9 E282AC F09F9880 41"),
                                   bytes("10 00 05 B0 B1 41 85")};
    for (const std::string &string : strings) {
        for (int size = -1; size < 40; ++size) {
            const Decoded decoded = decode(string, standard, size);
            Guarded<char> plain(static_cast<std::size_t>(std::max(size, 1)));
            const unsigned int length = zelk_dvb8ToUtf8(DvbCharSetStandard, plain.data(), size, (string + '\0').data(),
                                                        static_cast<int>(string.size()), DvbCodeNone, 0, 0);
            EXPECT_LT(static_cast<int>(decoded.text.size()), std::max(size, 1));
            if (string[0] != 0x11 && string[0] != 0x1D) {
                EXPECT_EQ(decoded.text, std::string(plain.data(), length)) << size;
            }
        }
    }
}

} // namespace
