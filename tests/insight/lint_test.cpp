// Rules: each by a string that breaks it and by a near miss that does not.
#include "zelk_insight.h"

#include "helpers/text.h"
#include "reference/context_codes.h"
#include "reference/huffman_encoder.h"
#include "reference/utf8_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

constexpr zelkInsightSettings standard = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
constexpr zelkInsightSettings prepared = {DvbCharSetStandard, DvbCodeUtf8Prepared, 0, 0, 0};

std::vector<zelkInsightFault> lint(const std::string &string, const zelkInsightSettings &settings = standard,
                                   const char *language = nullptr, char after = '\0') {
    const std::string in = string + after;
    const int length = static_cast<int>(string.size());
    const unsigned int count = zelkInsightLint(&settings, in.data(), length, language, nullptr, 7);
    std::vector<zelkInsightFault> all;
    for (const unsigned int room : {0U, 1U, count / 2, count, count + 3}) {
        std::vector<zelkInsightFault> faults(room + 1);
        faults[room].rule = 0xBEEF;
        EXPECT_EQ(zelkInsightLint(&settings, in.data(), length, language, faults.data(), room), count);
        EXPECT_EQ(faults[room].rule, 0xBEEFU);
        const std::vector<zelkInsightFault> stored(faults.data(), faults.data() + std::min(room, count));
        const std::size_t same = std::min(all.size(), stored.size());
        for (std::size_t i = 0; i < same; ++i) {
            EXPECT_EQ(stored[i].rule, all[i].rule);
            EXPECT_EQ(stored[i].offset, all[i].offset);
        }
        all = stored;
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].severity, zelkInsightRuleSeverity(all[i].rule));
        EXPECT_LE(all[i].offset, string.size());
        EXPECT_LE(all[i].length, string.size() - all[i].offset);
        EXPECT_TRUE(i == 0 || all[i - 1].offset <= all[i].offset) << i;
    }
    return all;
}

bool breaks(unsigned int rule, const std::vector<zelkInsightFault> &faults) {
    return std::any_of(faults.begin(), faults.end(),
                       [rule](const zelkInsightFault &fault) { return fault.rule == rule; });
}

std::string hexOf(const std::string &string) {
    std::string result;
    for (const char byte : string) {
        constexpr const char *digits = "0123456789ABCDEF";
        result.push_back(digits[static_cast<unsigned char>(byte) >> 4U]);
        result.push_back(digits[static_cast<unsigned char>(byte) & 0xFU]);
    }
    return result;
}

struct Pair {
    unsigned int rule;
    std::string broken; // in hexadecimal digits
    std::string nearMiss;
    zelkInsightSettings settings = standard;
    const char *language = nullptr;
    const char *nearLanguage = nullptr;
    zelkInsightSettings nearSettings = standard;
};

const std::vector<Pair> &pairs() {
    static const std::string news = hexOf(encodeStreamText(contextCodes(HuffmanDecodeTable_1), "News at ten"));
    static const std::vector<Pair> all = {
        {ZelkInsightSelectorReserved, "08 E1 E2", "07 E1 E2"},
        {ZelkInsightSelectorReserved, "10 00 0C 41", "10 00 0D E1"},
        {ZelkInsightSelectorUnsupported, "13 B9 E3", "11 56FD"},
        {ZelkInsightSelectorUnsupported, "1F 03 41", "1F 01 00"},
        {ZelkInsightSelectorCut, "10 00", "10 00 02"},
        {ZelkInsightByteUnassigned, "41 A6", "41 A5"},
        {ZelkInsightByteUnassigned, "03 AE", "03 AF"},
        {ZelkInsightUtf8Malformed, "15 41 C3 28", "15 41 C3 A8"},
        {ZelkInsightUtf8FourByte, "15 F0 9F 98 80", "15 EF BF BC"},
        {ZelkInsightTwoByteOdd, "11 65B0 80", "11 65B0 805E"},
        {ZelkInsightSurrogateLone, "11 D83D 0041", "11 D83D DE00"},
        {ZelkInsightMarkWithoutLetter, "43 C2 31", "43 C2 65"},
        {ZelkInsightMarkDropped, "C1 62", "C1 61"},
        {ZelkInsightControlDropped, "41 8B 42", "41 8A 42"},
        {ZelkInsightEmphasis, "41 86 42 87 43", "41 8A 42"},
        {ZelkInsightEmphasisUnbalanced, "41 86 42", "41 86 42 87"},
        {ZelkInsightEmphasisUnbalanced, "41 87 42", "86 41 87 42"},
        {ZelkInsightCompressedCut, "1F 01" + news.substr(0, news.size() - 2), "1F 01" + news},
        {ZelkInsightCompressedRest, "1F 01" + news + "00", "1F 01" + news},
        {ZelkInsightCompressedUnknown, "41 42", "41 42", {DvbCharSetStandard, DvbCodeCompressed, 7, 0, 0}},
        {ZelkInsightByteAfterCount, "43 61 66 C2", "43 61 66 C2 65"},
        {ZelkInsightTextAfterEnd, "41 00 42", "41 42", prepared, nullptr, nullptr, prepared},
        // "Réalisé par", in ISO 8859-1; with the selector of ISO 8859-5; then announced and in the default table.
        {ZelkInsightRuleTableOther, "52 E9 61 6C 69 73 E9 20 70 61 72", "05 52 E9 61 6C 69 73 E9 20 70 61 72"},
        {ZelkInsightRuleTableOther, "01 52 E9 61 6C 69 73 E9 20 70 61 72 20 75 6E 20 E9 6C E8 76 65",
         "52 C2 65 61 6C 69 73 C2 65 20 70 61 72"},
        {ZelkInsightRuleUtf8Unannounced, "43 61 66 C3 A9", "15 43 61 66 C3 A9"},
        {ZelkInsightRuleUtf8Unannounced, "D0 9D D0 BE D0 B2 D0 BE D1 81 D1 82 D0 B8", "01 BD DE D2 DE E1 E2 D8"},
        {ZelkInsightRuleControlTrailing, "4E 65 77 73 8A", "4E 65 77 8A 73"},
        {ZelkInsightRuleControlTrailing, "4E 65 77 73 00", "86 4E 65 77 73 87"},
        {ZelkInsightRuleControlTrailing, "4E 8A", "4E 8A A6"}, // which leaves nothing
        {ZelkInsightRuleControlTrailing, "15 61 C2 8A", "15 61 C2 8A C2"},
        {ZelkInsightRuleControlTrailing, "11 0061 008A", "11 0061 008A 00"},
        {ZelkInsightRuleControlDoubled, "61 8A 8A 62", "61 8A 20 8A 62"},
        {ZelkInsightRuleControlDoubled, "15 61 C2 8A EE 82 8A 62", "61 8A 09 62"},
        {ZelkInsightRuleSelectorNeedless, "05 4E 65 77 73", "05 43 61 66 E9"},
        {ZelkInsightRuleSelectorNeedless, "10 00 0F A5", "10 00 0F A6"}, // the yen
        {ZelkInsightRuleSelectorNeedless, "11 0041 0042", "11 0041 65B0"},
        {ZelkInsightRuleSelectorNeedless, "15 41 EE 82 8A 42", "15 41 C2 A3 42"},
        {ZelkInsightRuleSelectorNeedless, "05", "08 41"},
        {ZelkInsightRuleSelectorNeedless, "05 41 8A", "05 41 0A"}, // which the default table drops
        {ZelkInsightRuleSelectorNeedless, "05 8A 41", "05 0B 41"}, // which would be a selector
        {ZelkInsightRuleSelectorNeedless, "05 7E", "05 7F"},
        {ZelkInsightRuleSelectorNeedless,
         "05 A3",
         "05 A3",
         standard,
         nullptr,
         nullptr,
         {DvbCharSetStandard, DvbCodeIso8859_5, 0, 0, 0}},
        {ZelkInsightRuleSelectorNeedless, "05 E9", "05 E9", {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, 0}},
        {ZelkInsightRuleSelectorNeedless, "15 C3 A9", "15 C3 A9", {DvbCharSetStandard, DvbCodeUtf8, 0, 0, 0}},
        {ZelkInsightRuleSelectorNeedless,
         "05 41",
         "05 41",
         standard,
         nullptr,
         nullptr,
         {DvbCharSetStandard, DvbCodeUcs2, 0, 0, 0}},
        {ZelkInsightRuleLanguageScript, "01 BD DE D2 DE E1 E2 D8", "01 BD DE D2 DE E1 E2 D8 20 54 56", standard, "eng",
         "eng"},
        {ZelkInsightRuleLanguageScript, "01 BD DE D2 DE E1 E2 D8", "01 31 32 33 BD DE", standard, "eng", "eng"},
        {ZelkInsightRuleLanguageScript, "54 6865 20 6C6173 74 20 6D6F6D656E7473 20 6F66 20 61 20 64 6179",
         "44 6973 63 6F76 65 7279 20 43 68 61", standard, "rus", "rus"},
        {ZelkInsightRuleLanguageScript, "03 E5 E9 E4 DE F3", "03 E5 E9 E4 DE F3", standard, "ukr", "gre"},
        {ZelkInsightRuleCompositionMixed, "15 C3 A9 65 CC 81", "15 65 CC 81 61 CC 80"},
        {ZelkInsightRuleCompositionMixed, "11 0439 0438 0306", "11 0439 0438 0332"},
    };
    return all;
}

TEST(InsightLint, EveryRuleHasABrokenStringAndANearMiss) {
    std::set<unsigned int> seen = {ZelkInsightTextCut}; // nothing is cut without an output
    for (const Pair &pair : pairs()) {
        const std::string name = std::string(zelkInsightRuleName(pair.rule)) + ": ";
        EXPECT_TRUE(breaks(pair.rule, lint(bytes(pair.broken.c_str()), pair.settings, pair.language)))
            << name << pair.broken;
        EXPECT_FALSE(breaks(pair.rule, lint(bytes(pair.nearMiss.c_str()), pair.nearSettings, pair.nearLanguage)))
            << name << pair.nearMiss;
        seen.insert(pair.rule);
    }
    for (unsigned int rule = 0; rule < 100; ++rule) {
        EXPECT_EQ(seen.count(rule) == 1, std::strcmp(zelkInsightRuleName(rule), "unknown") != 0) << rule;
    }
}

TEST(InsightLint, NamesRules) {
    std::set<std::string> names;
    for (unsigned int rule = 0; rule < ZelkInsightRuleEnd; ++rule) {
        const std::string name = zelkInsightRuleName(rule);
        const std::string meaning = zelkInsightRuleMeaning(rule);
        if (rule < ZelkInsightKindCount) {
            EXPECT_EQ(name, zelkInsightKindName(static_cast<zelkInsightKind>(rule)));
            EXPECT_STREQ(zelkInsightRuleClause(rule), zelkInsightKindClause(static_cast<zelkInsightKind>(rule)));
            EXPECT_EQ(zelkInsightRuleSeverity(rule), zelkInsightKindSeverity(static_cast<zelkInsightKind>(rule)));
        }
        if (name == "unknown") {
            EXPECT_EQ(meaning, "");
            EXPECT_STREQ(zelkInsightRuleClause(rule), "");
        } else {
            EXPECT_TRUE(names.insert(name).second) << name;
            EXPECT_EQ(meaning.back(), '.') << name;
            EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"), std::string::npos) << name;
        }
    }
    EXPECT_STREQ(zelkInsightRuleName(ZelkInsightRuleFirst - 1), "unknown");
    EXPECT_STREQ(zelkInsightRuleName(ZelkInsightRuleEnd), "unknown");
    EXPECT_STREQ(zelkInsightRuleName(0xFFFFFFFF), "unknown");
    EXPECT_EQ(zelkInsightRuleSeverity(0xFFFFFFFF), ZelkInsightNote);
}

// Word for word as docs/lint.md has them, but for a rule of the tool alone there and one of decoding alone here.
TEST(InsightLint, SaysWhatIsDocumented) {
    using Row = std::array<std::string, 4>;
    std::vector<Row> documented;
    std::ifstream page(ZELK_TABLE_DATA "/../../../docs/lint.md");
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("| `", 0) == 0) {
            Row row;
            std::size_t begin = 2;
            for (std::string &cell : row) {
                const std::size_t end = line.find(" | ", begin);
                ASSERT_NE(end, std::string::npos) << line;
                cell = line.substr(begin, end - begin);
                begin = end + 3;
            }
            documented.push_back(row);
        }
    }
    ASSERT_FALSE(documented.empty());
    EXPECT_EQ(documented.back()[0], "`table-unusual`");
    documented.pop_back();

    std::vector<Row> rows;
    for (unsigned int rule = 0; rule < ZelkInsightRuleEnd; ++rule) {
        const std::string name = zelkInsightRuleName(rule);
        const std::string clause = zelkInsightRuleClause(rule);
        const char *const severities[] = {"note", "warning", "error"};
        if (name != "unknown" && rule != ZelkInsightTextCut) {
            rows.push_back({"`" + name + "`", severities[zelkInsightRuleSeverity(rule)], clause.empty() ? "-" : clause,
                            zelkInsightRuleMeaning(rule)});
        }
    }
    EXPECT_EQ(rows, documented);
    EXPECT_STREQ(zelkInsightRuleName(ZelkInsightTextCut), "text-cut");
    EXPECT_STREQ(zelkInsightRuleMeaning(ZelkInsightTextCut), "The text does not fit the output.");
    EXPECT_STREQ(zelkInsightRuleClause(ZelkInsightTextCut), "");
    EXPECT_EQ(zelkInsightRuleSeverity(ZelkInsightTextCut), ZelkInsightError);
}

// "rule@offset+length>textOffset+textLength:value"
std::string told(const std::vector<zelkInsightFault> &faults) {
    std::string result;
    for (const zelkInsightFault &fault : faults) {
        result += result.empty() ? "" : " ";
        result += std::string(zelkInsightRuleName(fault.rule)) + "@" + std::to_string(fault.offset) + "+" +
                  std::to_string(fault.length) + ">" + std::to_string(fault.textOffset) + "+" +
                  std::to_string(fault.textLength) + ":" + std::to_string(fault.value);
    }
    return result;
}

TEST(InsightLint, TellsWhere) {
    EXPECT_EQ(told(lint("")), "");
    EXPECT_EQ(told(lint("News")), "");
    EXPECT_EQ(told(lint(bytes("15 C3 A9 65 CC 81"))), "composition-mixed@3+3>2+3:0");
    EXPECT_EQ(told(lint(bytes("05 4E 8A 8A 8A"))),
              "selector-needless@0+1>0+0:0 control-trailing@2+3>1+3:0 control-doubled@2+2>1+2:10");
    EXPECT_EQ(told(lint(bytes("01 20 BD DE D2 DE E1 E2 D8 20"), standard, "eng")), "language-script@2+7>1+14:1053");
    EXPECT_EQ(told(lint(bytes("8A 86 41 87 8B"))),
              "emphasis@1+3>1+1:0 control-dropped@4+1>2+0:139 control-trailing@4+1>2+0:0");
    EXPECT_EQ(told(lint("RED\xC3\x89MARRAGE")),
              "mark-without-letter@3+1>3+1:195 utf8-unannounced@3+2>3+1:64 control-dropped@4+1>4+0:137");
    // What tables differ about may be control codes, kept or dropped.
    EXPECT_EQ(told(lint(bytes("61 8A 0A 62"))),
              "table-other@1+1>1+1:2 control-doubled@1+2>1+1:10 control-dropped@2+1>2+0:10");
    EXPECT_EQ(told(lint(bytes("61 8B 62"))), "control-dropped@1+1>1+0:139 table-other@1+1>1+0:34");
    EXPECT_EQ(zelkInsightLint(nullptr, nullptr, 3, nullptr, nullptr, 0), 0U);
    EXPECT_EQ(zelkInsightLint(nullptr, "A\x8A", -1, nullptr, nullptr, 0), 1U);
}

TEST(InsightLint, FollowsTheSettings) {
    const std::string cyrillic = bytes("BD DE D2 DE E1 E2 D8");
    EXPECT_EQ(told(lint(cyrillic, {DvbCharSetStandard, DvbCodeIso8859_5, 0, 0, 0})), "");
    EXPECT_TRUE(breaks(ZelkInsightRuleTableOther, lint(cyrillic)));
    // The bytes of a Cyrillic word that could be UTF-8, in text that is announced outside the string.
    EXPECT_EQ(told(lint(bytes("C2 B2"), {DvbCharSetStandard, DvbCodeIso8859_5, 0, 0, 0}, "rus")), "");
    EXPECT_FALSE(breaks(ZelkInsightRuleSelectorNeedless,
                        lint(bytes("05 41"), {DvbCharSetStandard, DvbCodeNone, 0, 0, ZelkInsightIgnoreSelector})));
    EXPECT_FALSE(
        breaks(ZelkInsightRuleSelectorNeedless, lint(bytes("05 41"), {DvbCharSetGb2312, DvbCodeNone, 0, 0, 0})));
    // A guess is a fault, not another way to read.
    EXPECT_TRUE(breaks(ZelkInsightRuleTableOther,
                       lint(cyrillic, {DvbCharSetStandard, DvbCodeNone, 0, 0, ZelkInsightGuessTable})));
    // Kept codes of emphasis are no other text.
    EXPECT_EQ(told(lint(bytes("86 41 87"), {DvbCharSetStandard, DvbCodeNone, 0, 1, 0})), "emphasis@0+3>2+1:0");
}

// Random strings: the findings are those of decoding, in their order, and faults of whole strings come between them.
TEST(InsightLint, HasTheFindingsOfDecoding) {
    Random random(14);
    for (int round = 0; round < 300; ++round) {
        std::string string;
        if (random.below(2) == 0) {
            string.push_back(static_cast<char>(random.below(0x20)));
        }
        for (std::uint32_t length = random.below(24); length > 0; --length) {
            string.push_back(static_cast<char>(random.below(4) == 0 ? random.below(256) : 0x61 + random.below(26)));
        }
        zelkInsightFinding findings[64];
        zelkInsightEvidence evidence{};
        evidence.findings = findings;
        evidence.findingRoom = 64;
        char text[1024];
        zelkInsightDecode(&standard, text, sizeof text, (string + "\0\0").data(), static_cast<int>(string.size()),
                          &evidence);
        unsigned int found = 0;
        for (const zelkInsightFault &fault : lint(string, standard, "eng")) {
            if (fault.rule < ZelkInsightRuleFirst) {
                ASSERT_LT(found, evidence.findingCount);
                EXPECT_EQ(fault.rule, static_cast<unsigned int>(findings[found].kind));
                EXPECT_EQ(fault.offset, findings[found].offset);
                EXPECT_EQ(fault.length, findings[found].length);
                EXPECT_EQ(fault.textOffset, findings[found].textOffset);
                EXPECT_EQ(fault.textLength, findings[found].textLength);
                EXPECT_EQ(fault.value, findings[found].value);
                ++found;
            }
        }
        EXPECT_EQ(found, evidence.findingCount);
    }
}

// The scripts of languages, by their codes of ISO 639, and a word in each script.
const std::map<std::string, std::string> wordsOfScripts = {
    {"Latin", "the news of the day and the weather"},
    {"Cyrillic", "новости"},
    {"Greek", "ειδησεις"},
    {"Armenian", "լուրեր"},
    {"Georgian", "ახალი"},
    {"Hebrew", "חדשות"},
    {"Arabic", "أخبار"},
    {"Devanagari", "समाचार"},
    {"Bengali", "সংবাদ"},
    {"Gurmukhi", "ਖਬਰਖਬਰ"},
    {"Gujarati", "સમાચાર"},
    {"Tamil", "செய்தி"},
    {"Telugu", "వార్తలు"},
    {"Kannada", "ಸುದ್ದಿ"},
    {"Malayalam", "വാർത്ത"},
    {"Sinhala", "පුවත්"},
    {"Thai", "ข่าวข่าว"},
    {"Lao", "ຂ່າວຂ່າວ"},
    {"Han", "新聞報道節目"},
    {"Kana", "ニュース"},
    {"Hangul", "뉴스와날씨"},
};

struct LanguagesOfScripts {
    const char *scripts;
    const char *codes;
};

constexpr LanguagesOfScripts languagesOfScripts[] = {
    {"Latin", "afr af alb sqi sq baq eus eu bre br cat ca cze ces cs dan da dut nld nl eng en est et fao fo fin fi "
              "fre fra fr ger deu de gla gd gle ga glg gl hrv hr hun hu ice isl is ind id ita it lat la lav lv lit "
              "lt ltz lb mlt mt nno nn nob nb nor no pol pl por pt roh rm slo slk sk slv sl spa es swa sw swe sv "
              "tgl tl tur tr vie vi wel cym cy"},
    {"Latin Arabic", "may msa ms"},
    {"Latin Cyrillic", "rum ron ro bos bs srp scc sr tuk tk uzb uz"},
    {"Latin Cyrillic Arabic", "kur ku aze az kaz kk"},
    {"Cyrillic", "bel be bul bg kir ky mac mkd mk rus ru tat tt tgk tg ukr uk"},
    {"Greek", "gre ell el"},
    {"Armenian", "arm hye hy"},
    {"Georgian", "geo kat ka"},
    {"Hebrew", "heb he yid yi"},
    {"Arabic", "ara ar per fas fa pus ps urd ur"},
    {"Devanagari", "hin hi mar mr nep ne"},
    {"Bengali", "ben bn"},
    {"Gurmukhi", "pan"},
    {"Gujarati", "guj gu"},
    {"Tamil", "tam ta"},
    {"Telugu", "tel te"},
    {"Kannada", "kan kn"},
    {"Malayalam", "mal ml"},
    {"Sinhala", "sin si"},
    {"Thai", "tha th"},
    {"Lao", "lao lo"},
    {"Han", "chi zho zh"},
    {"Han Kana", "jpn ja"},
    {"Hangul Han", "kor ko"},
};

std::vector<std::string> wordsOf(const std::string &line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

// The text stands after the selector of UTF-8 or of two-byte characters.
bool isForeign(const std::string &string, const std::string &language) {
    std::vector<zelkInsightFault> faults(64);
    faults.resize(std::min(
        zelkInsightLint(nullptr, string.data(), static_cast<int>(string.size()), language.c_str(), faults.data(), 64),
        64U));
    return breaks(ZelkInsightRuleLanguageScript, faults);
}

TEST(InsightLint, KnowsTheScriptsOfLanguages) {
    for (const LanguagesOfScripts &row : languagesOfScripts) {
        const std::vector<std::string> own = wordsOf(row.scripts);
        for (const std::string &language : wordsOf(row.codes)) {
            for (const auto &[script, word] : wordsOfScripts) {
                const bool isOwn = std::find(own.begin(), own.end(), script) != own.end();
                EXPECT_EQ(isForeign('\x15' + word, language), !isOwn) << language << ' ' << script;
            }
        }
    }
    EXPECT_FALSE(isForeign("\x15новости", "xxx"));
}

// The first and the last letter of each block are of its script, and their neighbours are of none or of another's.
TEST(InsightLint, KnowsTheBlocksOfScripts) {
    struct Block {
        unsigned int first;
        unsigned int last;
        const char *script;
    };
    constexpr Block blocks[] = {
        {0x0041, 0x005A, "Latin"},    {0x0061, 0x007A, "Latin"},      {0x00AA, 0x00AA, "Latin"},
        {0x00BA, 0x00BA, "Latin"},    {0x00C0, 0x00D6, "Latin"},      {0x00D8, 0x00F6, "Latin"},
        {0x00F8, 0x024F, "Latin"},    {0x0370, 0x03FF, "Greek"},      {0x0400, 0x052F, "Cyrillic"},
        {0x0531, 0x0587, "Armenian"}, {0x05D0, 0x05F2, "Hebrew"},     {0x0620, 0x065F, "Arabic"},
        {0x066E, 0x06EF, "Arabic"},   {0x06FA, 0x06FF, "Arabic"},     {0x0750, 0x077F, "Arabic"},
        {0x08A0, 0x08FF, "Arabic"},   {0x0900, 0x0963, "Devanagari"}, {0x0980, 0x09FF, "Bengali"},
        {0x0A00, 0x0A7F, "Gurmukhi"}, {0x0A80, 0x0AFF, "Gujarati"},   {0x0B80, 0x0BFF, "Tamil"},
        {0x0C00, 0x0C7F, "Telugu"},   {0x0C80, 0x0CFF, "Kannada"},    {0x0D00, 0x0D7F, "Malayalam"},
        {0x0D80, 0x0DFF, "Sinhala"},  {0x0E01, 0x0E4E, "Thai"},       {0x0E80, 0x0EFF, "Lao"},
        {0x10A0, 0x10FF, "Georgian"}, {0x1100, 0x11FF, "Hangul"},     {0x1E00, 0x1EFF, "Latin"},
        {0x1F00, 0x1FFF, "Greek"},    {0x3041, 0x30FF, "Kana"},       {0x3130, 0x318F, "Hangul"},
        {0x31F0, 0x31FF, "Kana"},     {0x3400, 0x4DBF, "Han"},        {0x4E00, 0x9FFF, "Han"},
        {0xAC00, 0xD7AF, "Hangul"},   {0xF900, 0xFAFF, "Han"},        {0xFB1D, 0xFB4F, "Hebrew"},
        {0xFB50, 0xFDFF, "Arabic"},   {0xFE70, 0xFEFC, "Arabic"},     {0xFF66, 0xFF9F, "Kana"},
        {0x20000, 0x3FFFF, "Han"},
    };
    const auto scriptOf = [&blocks](unsigned int character) -> std::string {
        for (const Block &block : blocks) {
            if (character >= block.first && character <= block.last) {
                return block.script;
            }
        }
        return {};
    };
    const auto languageOf = [](const std::string &script) -> std::string {
        for (const LanguagesOfScripts &row : languagesOfScripts) {
            const std::vector<std::string> own = wordsOf(row.scripts);
            if (std::find(own.begin(), own.end(), script) != own.end()) {
                return wordsOf(row.codes).front();
            }
        }
        return {};
    };
    for (const Block &block : blocks) {
        for (const unsigned int character : {block.first - 1, block.first, block.last, block.last + 1}) {
            const std::string script = scriptOf(character);
            std::string text = "\x11";
            for (int i = 0; i < 20; ++i) { // a few letters alone are not told
                if (character > 0xFFFF) {
                    const unsigned int high = 0xD800U + ((character - 0x10000U) >> 10U);
                    text += {static_cast<char>(high >> 8U), static_cast<char>(high & 0xFFU)};
                }
                const unsigned int unit = character > 0xFFFF ? 0xDC00U | (character & 0x3FFU) : character;
                text += {static_cast<char>(unit >> 8U), static_cast<char>(unit & 0xFFU)};
            }
            EXPECT_EQ(isForeign(text, script == "Greek" ? "eng" : "gre"), !script.empty()) << std::hex << character;
            if (!script.empty()) {
                EXPECT_FALSE(isForeign(text, languageOf(script))) << std::hex << character;
            }
        }
    }
}

} // namespace
