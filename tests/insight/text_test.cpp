// Texts as whole strings: case and keys against the receiver's own functions and hand-picked traps, pieces, emphasis.
#include "zelk_insight.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/utf8_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

using Mapping = unsigned int (*)(char *, int, const char *, int);

std::string mapped(Mapping mapping, const std::string &text) {
    Guarded<char> out(3 * text.size() + 1);
    const unsigned int length =
        mapping(out.data(), static_cast<int>(out.size()), text.data(), static_cast<int>(text.size()));
    EXPECT_EQ(out[length], 0);
    EXPECT_EQ(std::strlen(out.data()), length);
    return {out.data(), length};
}

TEST(InsightCase, MapsWholeTexts) {
    EXPECT_EQ(mapped(zelkInsightLower, "ÄRGER ΣΊΣΥΦΟΣ ЖИЗНЬ İ ẞ 😀"), "ärger σίσυφοσ жизнь i ß 😀");
    EXPECT_EQ(mapped(zelkInsightUpper, "ärger σίσυφος жизнь ı ß ŉ ǰ ΐ ẗ ÿ 😀"), "ÄRGER ΣΊΣΥΦΟΣ ЖИЗНЬ I ß ŉ ǰ ΐ ẗ Ÿ 😀");
    EXPECT_EQ(mapped(zelkInsightFold, "Straße STRASSE ΣΊΣΥΦΟΣ σίσυφος ſ"), "strasse strasse σίσυφοσ σίσυφοσ s");
    EXPECT_EQ(mapped(zelkInsightFold, "A\xFFz"), "a\xEF\xBF\xBDz");
    EXPECT_EQ(mapped(zelkInsightFold, std::string("A\0B", 3)), "a");
    EXPECT_EQ(mapped(zelkInsightLower, ""), "");
    char one[1] = {'x'};
    EXPECT_EQ(zelkInsightLower(one, 1, "A", 1), 0U);
    EXPECT_EQ(one[0], 0);
    EXPECT_EQ(zelkInsightLower(one, 0, nullptr, 1), 0U);
}

// No change of case changes what a character folds to.
TEST(InsightCase, FoldsAllCasesOfALetterAlike) {
    EXPECT_EQ(mapped(zelkInsightFold, "ISI ısı İSİ isi"), "isi isi isi isi");
    for (unsigned int code = 1; code < 0xFFFF; ++code) {
        if (code >= 0xD800 && code < 0xE000) {
            continue;
        }
        const std::string character = utf8EncodeModel(code);
        const std::string fold = mapped(zelkInsightFold, character);
        EXPECT_EQ(mapped(zelkInsightFold, mapped(zelkInsightUpper, character)), fold) << code;
        EXPECT_EQ(mapped(zelkInsightFold, mapped(zelkInsightLower, character)), fold) << code;
        EXPECT_EQ(mapped(zelkInsightFold, fold), fold) << code;
    }
}

// One by one: small letters are the receiver's, and no capital is another letter's.
TEST(InsightCase, AgreesWithTheReceiversTables) {
    for (unsigned int code = 1; code < 0xFFFF; ++code) {
        if (code >= 0xD800 && code < 0xE000) {
            continue;
        }
        const std::string character = utf8EncodeModel(code);
        if (code != 0x1E9E) {
            EXPECT_EQ(mapped(zelkInsightLower, character), utf8EncodeModel(zelk2lowerChar(code))) << code;
        }
        const std::string capital = mapped(zelkInsightUpper, character);
        if (capital != character && code != 0x03C2 && code != 0x0131) {
            EXPECT_EQ(mapped(zelkInsightLower, capital), character) << code;
        }
        if (code != 0x03C2 && zelk2lowerChar(zelk2upperChar(code)) == code) {
            EXPECT_EQ(capital, utf8EncodeModel(zelk2upperChar(code))) << code;
        }
    }
}

// Well-formed sequences, and how much of others is replaced at once: the rows of table 3-7 of the Unicode Standard.
struct SequenceRow {
    unsigned int firstLead;
    unsigned int lastLead;
    unsigned int least; // of the second byte
    unsigned int last;
    unsigned int length;
};

constexpr SequenceRow sequenceRows[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

// The text in small letters, what is malformed as U+FFFD.
std::string loweredModel(const std::string &text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const auto byteAt = [&text](std::size_t place) { return static_cast<unsigned char>(text[place]); };
        const auto *const row = std::find_if(std::begin(sequenceRows), std::end(sequenceRows), [&](const auto &one) {
            return byteAt(at) >= one.firstLead && byteAt(at) <= one.lastLead;
        });
        const bool single = row == std::end(sequenceRows);
        const std::size_t length = single ? 1 : row->length;
        std::size_t good = 1;
        while (good < length && at + good < text.size() && byteAt(at + good) >= (good == 1 ? row->least : 0x80) &&
               byteAt(at + good) <= (good == 1 ? row->last : 0xBF)) {
            ++good;
        }
        unsigned int code = single ? byteAt(at) : byteAt(at) % (1U << (7 - length));
        for (std::size_t i = 1; i < good; ++i) {
            code = 64 * code + byteAt(at + i) % 64;
        }
        const bool valid = good == length && (!single || code < 0x80);
        result += !valid           ? "\xEF\xBF\xBD"
                  : code < 0x10000 ? utf8EncodeModel(zelk2lowerChar(code))
                                   : text.substr(at, length);
        at += good;
    }
    return result;
}

TEST(InsightCase, ReadsUtf8AsUnicodeSays) {
    constexpr unsigned int bytes[] = {0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xE1, 0xF4};
    for (unsigned int lead = 0x80; lead < 0x100; ++lead) {
        std::string text;
        for (const unsigned int second : bytes) {
            for (const unsigned int third : bytes) {
                for (const unsigned int fourth : bytes) {
                    for (const unsigned int byte : {lead, second, third, fourth}) {
                        text += static_cast<char>(byte);
                    }
                    text += ' ';
                }
            }
        }
        EXPECT_EQ(mapped(zelkInsightLower, text), loweredModel(text)) << lead;
        for (std::size_t length = 1; length < 5; ++length) { // an end inside a sequence
            const std::string cut = std::string(1, static_cast<char>(lead)) + std::string(length - 1, '\x90');
            EXPECT_EQ(mapped(zelkInsightLower, cut), loweredModel(cut)) << lead;
        }
    }
}

std::string keyOf(const std::string &text, unsigned int options = 0) {
    Guarded<char> out(static_cast<std::size_t>(zelkInsightSortKeySize(text.data(), static_cast<int>(text.size()))));
    const unsigned int length = zelkInsightSortKey(out.data(), static_cast<int>(out.size()), text.data(),
                                                   static_cast<int>(text.size()), options);
    EXPECT_EQ(std::strlen(out.data()), length);
    EXPECT_LT(length + 1, out.size() + 1);
    return {out.data(), length};
}

int sign(int value) {
    return value < 0 ? -1 : value > 0 ? 1 : 0;
}

TEST(InsightSortKey, OrdersWhatCollationLeavesEqual) {
    const std::vector<std::string> names = {"BBC 10", "BBC 2", "TV",    "TV+",  "TV +", "الجزيرة", "العربية", "ערוץ 1",
                                            "ערוץ 2", "ช่อง 3", "ช่อง 7", "中央", "中天", "😀",       "😁"};
    for (const std::string &a : names) {
        for (const std::string &b : names) {
            EXPECT_EQ(keyOf(a) == keyOf(b), a == b) << a << ' ' << b;
            EXPECT_EQ(keyOf(a, ZelkInsightNatural) == keyOf(b, ZelkInsightNatural), a == b) << a << ' ' << b;
        }
    }
    EXPECT_LT(keyOf("zebra"), keyOf("Ωmega")); // by the receiver's alphabet
    EXPECT_LT(keyOf("zebra"), keyOf("中央"));
}

TEST(InsightSortKey, CountsNumbersByTheirValue) {
    EXPECT_GT(keyOf("BBC 2"), keyOf("BBC 10"));
    const std::vector<std::string> order = {"BBC",   "BBC 0",  "BBC 1",  "BBC 2",   "BBC 02 b",
                                            "BBC 9", "BBC 10", "BBC 99", "BBC 100", "BBC News"};
    for (std::size_t i = 0; i + 1 < order.size(); ++i) {
        EXPECT_LT(keyOf(order[i], ZelkInsightNatural), keyOf(order[i + 1], ZelkInsightNatural)) << order[i];
    }
    EXPECT_NE(keyOf("BBC 2", ZelkInsightNatural), keyOf("BBC 02", ZelkInsightNatural));
}

// Numbers are in their order whatever their length, and the size of keys holds for them.
TEST(InsightSortKey, CountsLongNumbersByTheirValue) {
    std::vector<std::string> order = {"BBC", "BBC 9"};
    for (const std::size_t digits : {2U, 127U, 128U, 248U, 249U, 250U, 251U, 252U, 253U, 300U, 16384U, 70000U}) {
        const std::string zeros(digits - 1, '0');
        order.insert(order.end(), {"BBC 1" + zeros, "BBC 1" + zeros + " b", "BBC 1" + zeros.substr(1) + "1",
                                   "BBC " + std::string(digits, '9')});
    }
    order.emplace_back("BBC News");
    for (std::size_t i = 0; i + 1 < order.size(); ++i) {
        EXPECT_TRUE(keyOf(order[i], ZelkInsightNatural) < keyOf(order[i + 1], ZelkInsightNatural))
            << i; // too long to show
    }
    const std::string padded = std::string(400, '0') + "7";
    EXPECT_LT(keyOf("6", ZelkInsightNatural), keyOf(padded, ZelkInsightNatural));
    EXPECT_LT(keyOf(padded, ZelkInsightNatural), keyOf("8", ZelkInsightNatural));
}

// Random texts: where zelkCollate() decides, the keys decide alike.
TEST(InsightSortKey, AgreesWithCollation) {
    Random random(5);
    const char *const letters[] = {"a", "A", "á", "ä", "b", "Z", " ", "-", "ß",
                                   "%", "æ", "ж", "Ж", "α", "ώ", "1", "9", "'"};
    for (int round = 0; round < 30000; ++round) {
        std::string texts[2];
        for (std::string &text : texts) {
            for (std::uint32_t length = random.below(6); length > 0; --length) {
                text += letters[random.below(std::size(letters))];
            }
        }
        const int expected = sign(zelkCollate(0, texts[0].c_str(), texts[1].c_str()));
        const int found = sign(keyOf(texts[0]).compare(keyOf(texts[1])));
        if (expected != 0) {
            EXPECT_EQ(found, expected) << texts[0] << " | " << texts[1];
        } else {
            EXPECT_EQ(found == 0, texts[0] == texts[1]) << texts[0] << " | " << texts[1];
        }
    }
}

std::string joined(const std::vector<std::string> &strings, unsigned int &used, int size = 256) {
    std::vector<zelkInsightPiece> pieces;
    for (const std::string &string : strings) {
        pieces.push_back({string.data(), static_cast<int>(string.size())});
    }
    Guarded<char> out(static_cast<std::size_t>(std::max(size, 1)));
    const unsigned int length =
        zelkInsightJoinPieces(out.data(), size, pieces.data(), static_cast<unsigned int>(pieces.size()), &used);
    EXPECT_EQ(out[length], 0);
    return {out.data(), length};
}

TEST(InsightPieces, JoinsWhatIsOneText) {
    unsigned int used = 0;
    EXPECT_EQ(joined({"Caf\xC2", "e au"}, used), "Caf\xC2"
                                                 "e au");
    EXPECT_EQ(used, 2U);
    EXPECT_EQ(joined({"\x05"
                      "a",
                      "\x05"
                      "b",
                      "c"},
                     used),
              "\x05"
              "abc");
    EXPECT_EQ(used, 3U);
    EXPECT_EQ(joined({"\x15\xC3", "\x15\xA9"}, used), "\x15\xC3\xA9");
    EXPECT_EQ(joined({"\x05"
                      "a",
                      "\x01"
                      "b"},
                     used),
              "\x05"
              "a");
    EXPECT_EQ(used, 1U);
    EXPECT_EQ(joined({"\x1F\x01x", "\x1F\x01y"}, used), "\x1F\x01x");
    EXPECT_EQ(used, 1U);
    EXPECT_EQ(joined({"ab", "", "cd"}, used), "abcd");
    EXPECT_EQ(used, 3U);
    EXPECT_EQ(joined({}, used), "");
    EXPECT_EQ(used, 0U);
    EXPECT_EQ(joined({"abc", "def"}, used, 5), "abcd");
    const zelkInsightPiece piece = {"ab", -1};
    char out[8];
    EXPECT_EQ(zelkInsightJoinPieces(out, sizeof out, &piece, 1, nullptr), 2U);
}

std::string spansOf(const std::string &string) {
    zelkInsightFinding findings[16];
    zelkInsightEvidence evidence{};
    evidence.findings = findings;
    evidence.findingRoom = 16;
    char text[64];
    const unsigned int length = zelkInsightDecode(nullptr, text, sizeof text, (string + '\0').data(),
                                                  static_cast<int>(string.size()), &evidence);
    zelkInsightSpan spans[8];
    const unsigned int count = zelkInsightSplitEmphasis(&evidence, length, spans, 8);
    EXPECT_EQ(zelkInsightSplitEmphasis(&evidence, length, nullptr, 8), count);
    std::string result;
    for (unsigned int i = 0; i < count; ++i) {
        const std::string part(text + spans[i].offset, spans[i].length);
        result += spans[i].emphasised != 0 ? "<" + part + ">" : "[" + part + "]";
    }
    return result;
}

TEST(InsightEmphasis, SplitsTheText) {
    EXPECT_EQ(spansOf("plain"), "[plain]");
    EXPECT_EQ(spansOf("a\x86"
                      "bc\x87"
                      "d"),
              "[a]<bc>[d]");
    EXPECT_EQ(spansOf("\x86"
                      "a\x87\x86"
                      "b\x87"),
              "<a><b>");
    EXPECT_EQ(spansOf("a\x86"
                      "b"),
              "[ab]");
    EXPECT_EQ(spansOf(""), "");
}

TEST(InsightText, TakesRoomAndCountsAsTheyAre) {
    char out[16];
    EXPECT_EQ(zelkInsightLower(out, sizeof out, "ABC", -1), 3U);
    EXPECT_STREQ(out, "abc");
    EXPECT_EQ(zelkInsightLower(out, 3,
                               "A\xC3\x89"
                               "B",
                               4),
              1U); // what does not fit ends the text
    EXPECT_STREQ(out, "a");
    EXPECT_EQ(zelkInsightLower(out, sizeof out, "ABC", 0), 0U);
    EXPECT_EQ(zelkInsightSortKeySize("abc", -1), 31);
    const zelkInsightPiece pieces[] = {{"ab", -1}, {nullptr, 3}, {"c", 1}, {"\x1F\x01\x41", 3}};
    EXPECT_EQ(zelkInsightJoinPieces(out, sizeof out, pieces, 4, nullptr), 3U);
    EXPECT_STREQ(out, "abc");
    const zelkInsightPiece compressed[] = {{"\x1F\x01\x41", 3}, {"b", 1}};
    EXPECT_EQ(zelkInsightJoinPieces(out, sizeof out, compressed, 2, nullptr), 3U);
    const zelkInsightPiece parts[] = {{"\x10\0\x05\x41", 4}, {"\x05\x42", 2}};
    unsigned int used = 0;
    EXPECT_EQ(zelkInsightJoinPieces(out, sizeof out, parts, 2, &used), 4U);
    EXPECT_EQ(used, 1U);
    const zelkInsightEvidence nothing{};
    zelkInsightSpan span{};
    EXPECT_EQ(zelkInsightSplitEmphasis(&nothing, 5, nullptr, 2), 1U);
    EXPECT_EQ(zelkInsightSplitEmphasis(&nothing, 5, &span, 0), 1U);
    EXPECT_EQ(span.length, 0U);
}

} // namespace
