// Encoding: the expected bytes of known texts by hand, and properties over random text of many scripts. Compressed text
// is read by the library and by the plainest decoder of the tests.
#include "zelk_insight.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/context_codes.h"
#include "reference/huffman_encoder.h"
#include "reference/utf8_model.h"

#include "zelk.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

constexpr unsigned int allForms = 0xF1FFFF;

struct Encoded {
    std::string string;
    zelkInsightEncoded about{};
};

Encoded encode(const std::string &text, zelkInsightEncodeSettings settings = {DvbCharSetStandard, 0, 0},
               int budget = 2000) {
    Encoded result;
    Guarded<char> out(static_cast<std::size_t>(budget) + 1);
    const unsigned int length =
        zelkInsightEncode(&settings, out.data(), budget + 1, text.data(), static_cast<int>(text.size()), &result.about);
    EXPECT_EQ(out[length], 0);
    result.string.assign(out.data(), length);
    return result;
}

std::string decode(const std::string &string, dvbCharSet_t region = DvbCharSetStandard, bool keepEmphasis = false) {
    const zelkInsightSettings settings = {region, DvbCodeNone, 0, keepEmphasis ? 1U : 0U, 0};
    std::string text(32 * string.size() + 32, '\0');
    const std::string in = string + '\0';
    text.resize(zelkInsightDecode(&settings, text.data(), static_cast<int>(text.size()), in.data(),
                                  static_cast<int>(string.size()), nullptr));
    return text;
}

zelkInsightEncodeSettings only(unsigned int forms, unsigned int options = 0) {
    return {DvbCharSetStandard, forms, options};
}

int take(const char *piece, unsigned int length, void *context) {
    static_cast<std::vector<std::string> *>(context)->emplace_back(piece, length);
    return 0;
}

int takeOne(const char *piece, unsigned int length, void *context) {
    take(piece, length, context);
    return -1;
}

TEST(InsightEncode, ChoosesTheShortestForm) {
    EXPECT_EQ(encode("News").string, "News");
    EXPECT_EQ(encode("").string, "");
    EXPECT_EQ(encode("Café").string, bytes("43 61 66 C2 65"));
    EXPECT_EQ(encode("Éàü").string, bytes("05 C9 E0 FC"));
    EXPECT_EQ(encode("10 €").string, bytes("31 30 20 A4"));
    EXPECT_EQ(encode("Новости").string, bytes("01 BD DE D2 DE E1 E2 D8"));
    EXPECT_EQ(encode("Ειδήσεις").string.substr(0, 1), "\x03");
    EXPECT_EQ(encode("新聞").string, bytes("11 65B0 805E"));
    EXPECT_EQ(encode("😀").string, bytes("11 D83D DE00"));
    EXPECT_EQ(encode("a\nb").string, bytes("61 8A 62"));
    EXPECT_EQ(encode("´`").string, bytes("C2 20 60"));
    EXPECT_EQ(encode("a\xC2\x86"
                     "b\xC2\x87")
                  .string,
              bytes("61 86 62 87"));
    EXPECT_EQ(encode("café Ж").about.form, static_cast<unsigned int>(DvbCodeUtf8));
}

TEST(InsightEncode, FollowsThePolicy) {
    EXPECT_EQ(encode("Café", only(ZelkInsightFormsStandard, ZelkInsightPreferUtf8)).string, bytes("15 436166C3A9"));
    EXPECT_EQ(encode("Cafe", only(ZelkInsightFormsStandard, ZelkInsightPreferUtf8)).string, "Cafe");
    EXPECT_EQ(encode("Café", only(1U << 9U)).string, bytes("05 436166E9"));
    EXPECT_EQ(encode("Café", only(1U << 2U)).string, bytes("10 00 02 436166E9"));
    const Encoded partly = encode("Жé", only(1U << 9U));
    EXPECT_EQ(partly.string, bytes("05 3F E9"));
    EXPECT_EQ(partly.about.unsaid, 1U);
    EXPECT_EQ(partly.about.firstUnsaid, 0U);
    EXPECT_EQ(encode("x", only(1U << 18U)).string, ""); // no form
    EXPECT_EQ(encode("a\xFFz").about.unsaid, 1U);
    EXPECT_EQ(encode("a\xFFz").about.firstUnsaid, 1U);
    // Compressed only where it is asked for.
    const std::string title = "The News at Ten with all of the day's stories";
    EXPECT_EQ(encode(title).string, title);
    const Encoded compressed = encode(title, only(allForms));
    EXPECT_LT(compressed.string.size(), title.size());
    EXPECT_EQ(compressed.about.code, DvbCodeCompressed);
    EXPECT_EQ(decode(compressed.string), title);
    // Region ISO 8859-2 reads selector 01 as the default table, so that Cyrillic takes another form.
    const Encoded region = encode("Новости", {DvbCharSetIso8859_2, 0, 0});
    EXPECT_EQ(decode(region.string, DvbCharSetIso8859_2), "Новости");
    EXPECT_EQ(region.about.code, DvbCodeUcs2);
}

// In two-byte text a question mark is a character of two bytes like all others.
TEST(InsightEncode, SaysAQuestionMarkInTheFormsOwnBytes) {
    EXPECT_EQ(encode("日本\x07語").string, bytes("11 65E5 672C 003F 8A9E"));
    EXPECT_EQ(encode("日本\r\n語").string, bytes("11 65E5 672C 003F E08A 8A9E"));
    for (const std::string unsayable : {"\x07", "\r", "\xFF", "\xE6\x97", "\xEE\x82\x81", "\xC2\x85"}) {
        const std::string text = "日" + unsayable + "本";
        const Encoded whole = encode(text, only(ZelkInsightFormTwoByte));
        EXPECT_EQ(whole.string, bytes("11 65E5 003F 672C")) << unsayable;
        EXPECT_EQ(decode(whole.string), "日?本");
        EXPECT_EQ(whole.about.unsaid, 1U);
        EXPECT_EQ(whole.about.firstUnsaid, 3U);
        EXPECT_EQ(whole.about.used, text.size());
        const Encoded cut = encode(text, only(ZelkInsightFormTwoByte), 4); // half of the question mark
        EXPECT_EQ(cut.string, bytes("11 65E5"));
        EXPECT_EQ(cut.about.used, 3U);
        EXPECT_EQ(cut.about.unsaid, 0U);
        EXPECT_EQ(encode(text, only(ZelkInsightFormTwoByte), 5).about.used, 3U + unsayable.size());
        std::vector<std::string> pieces;
        const zelkInsightEncodeSettings settings = only(ZelkInsightFormTwoByte);
        zelkInsightEncoded about{};
        EXPECT_EQ(
            zelkInsightEncodePieces(&settings, 4, text.data(), static_cast<int>(text.size()), take, &pieces, &about),
            3U);
        EXPECT_EQ(pieces, std::vector({bytes("11 65E5"), bytes("11 003F"), bytes("11 672C")}));
        EXPECT_EQ(about.unsaid, 1U);
    }
    EXPECT_EQ(encode("é\x07é", only(ZelkInsightFormUtf8)).string, bytes("15 C3A9 3F C3A9"));
}

TEST(InsightEncode, KeepsTheBudget) {
    EXPECT_EQ(encode("Café au lait", only(1), 4).string, "Caf");
    EXPECT_EQ(encode("Café au lait", only(1), 4).about.used, 3U);
    EXPECT_EQ(encode("Café au lait", only(1), 5).about.used, 5U);
    EXPECT_EQ(encode("Новости", only(1U << 5U), 1).string, "");
    EXPECT_EQ(encode("Новости", only(1U << 5U), 1).about.used, 0U);
    EXPECT_EQ(encode("xe\xCC\x81", only(1U << 21U), 3).string, "\x15x"); // e and its combining mark
    char out[1] = {'x'};
    EXPECT_EQ(zelkInsightEncode(nullptr, out, 0, "abc", 3, nullptr), 0U);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(zelkInsightEncode(nullptr, out, 1, nullptr, 3, nullptr), 0U);
}

TEST(InsightEncode, SendsPieces) {
    std::string text;
    for (int i = 0; i < 120; ++i) {
        text += "Příliš žluťoučký kůň ";
    }
    for (const zelkInsightEncodeSettings &settings :
         {only(0), only(1), only(1U << 21U), only(ZelkInsightFormTwoByte)}) {
        std::vector<std::string> pieces;
        zelkInsightEncoded about{};
        const unsigned int count =
            zelkInsightEncodePieces(&settings, 249, text.data(), static_cast<int>(text.size()), take, &pieces, &about);
        EXPECT_EQ(count, pieces.size());
        EXPECT_EQ(about.used, text.size());
        std::vector<zelkInsightPiece> list;
        for (const std::string &piece : pieces) {
            EXPECT_LE(piece.size(), 249U);
            list.push_back({piece.data(), static_cast<int>(piece.size())});
        }
        std::string joined(8000, '\0');
        unsigned int used = 0;
        joined.resize(zelkInsightJoinPieces(joined.data(), 8000, list.data(), count, &used));
        EXPECT_EQ(used, count);
        EXPECT_EQ(decode(joined), text);
        std::string apart;
        for (const std::string &piece : pieces) {
            apart += decode(piece); // no letter is parted from its mark
        }
        EXPECT_EQ(apart, text);
    }
    std::vector<std::string> pieces;
    EXPECT_EQ(zelkInsightEncodePieces(nullptr, 10, text.data(), -1, takeOne, &pieces, nullptr), 1U);
    EXPECT_EQ(zelkInsightEncodePieces(nullptr, 0, text.data(), -1, take, &pieces, nullptr), 0U);
    EXPECT_EQ(zelkInsightEncodePieces(nullptr, 249, "", -1, take, &pieces, nullptr), 0U);
}

zelkInsightEncoded aboutPieces(const std::string &text, int pieceSize, zelkInsightPieceTaker taker) {
    const zelkInsightEncodeSettings settings = only(1U << 9U);
    std::vector<std::string> pieces;
    zelkInsightEncoded about{};
    zelkInsightEncodePieces(&settings, pieceSize, text.data(), static_cast<int>(text.size()), taker, &pieces, &about);
    return about;
}

// Like `used`, what is said about unsaid characters is about those that were sent.
TEST(InsightEncode, CountsWhatPiecesLeaveUnsaid) {
    const zelkInsightEncoded first = aboutPieces("Жab ЖЖ", 3, takeOne); // 05 3F 61
    EXPECT_EQ(first.used, 3U);
    EXPECT_EQ(first.unsaid, 1U);
    EXPECT_EQ(first.firstUnsaid, 0U);
    const zelkInsightEncoded none = aboutPieces("ЖЖЖ", 1, take);
    EXPECT_EQ(none.used, 0U);
    EXPECT_EQ(none.unsaid, 0U);
    const zelkInsightEncoded said = aboutPieces("abЖ", 3, takeOne);
    EXPECT_EQ(said.unsaid, 0U);
    EXPECT_EQ(said.firstUnsaid, 0U);
    const zelkInsightEncoded all = aboutPieces("ab cЖd Ж", 3, take);
    EXPECT_EQ(all.used, 10U);
    EXPECT_EQ(all.unsaid, 2U);
    EXPECT_EQ(all.firstUnsaid, 4U);
}

std::string randomText(Random &random) {
    const char *const alphabets[] = {"abcdefghij ABC,.'",
                                     "éèàüößçñåøæœÉÜ",
                                     "ěščřžýáíéůúňťď",
                                     "ąćęłńóśźż",
                                     "őűáéí",
                                     "абвгдежзийклЖЩё",
                                     "αβγδέήίόύώΆΈ",
                                     "ابتثجحخ",
                                     "אבגדה",
                                     "กขคงจ",
                                     "ğışİŞ",
                                     "āčēģīķļņšūž",
                                     "€£\n´¨♪½←",
                                     "中文字幕",
                                     "😀🎬",
                                     "\xCC\x81\xCC\x88"};
    std::string text;
    const unsigned int first = random.below(std::size(alphabets));
    for (std::uint32_t length = random.below(60); length > 0; --length) {
        const std::string alphabet = alphabets[random.chance(70)   ? 0
                                               : random.chance(90) ? first
                                                                   : random.below(std::size(alphabets))];
        std::size_t at = random.below(static_cast<std::uint32_t>(alphabet.size()));
        while (at > 0 && (static_cast<unsigned char>(alphabet[at]) & 0xC0U) == 0x80) {
            --at;
        }
        std::size_t end = at + 1;
        while (end < alphabet.size() && (static_cast<unsigned char>(alphabet[end]) & 0xC0U) == 0x80) {
            ++end;
        }
        text += alphabet.substr(at, end - at);
    }
    return text;
}

TEST(InsightEncode, DecodesToItself) {
    Random random(14);
    for (int round = 0; round < 6000; ++round) {
        const std::string text = randomText(random);
        const auto region = static_cast<dvbCharSet_t>(random.below(6));
        const Encoded best = encode(text, {region, allForms, 0});
        if (best.about.unsaid == 0) {
            EXPECT_EQ(decode(best.string, region), text) << round;
        }
        EXPECT_EQ(best.about.used, text.size());
        for (unsigned int form = 0; form < 24; ++form) {
            const Encoded fixed = encode(text, {region, 1U << form, 0});
            if (fixed.about.unsaid == 0 && fixed.about.used == text.size() && !(form > 16 && form < 20)) {
                EXPECT_EQ(decode(fixed.string, region), text) << form;
                EXPECT_LE(best.string.size(), fixed.string.size()) << form;
                EXPECT_EQ(best.about.unsaid, 0U);
            }
        }
        const int budget = static_cast<int>(random.below(40));
        const Encoded cut = encode(text, {region, allForms, 0}, budget);
        EXPECT_LE(cut.string.size(), static_cast<std::size_t>(budget));
        if (cut.about.unsaid == 0) {
            EXPECT_EQ(decode(cut.string, region), text.substr(0, cut.about.used));
        }
    }
}

// The selector of a form of bytes, as EN 300 468 Annex A has it.
std::string selectorOf(unsigned int form) {
    if (form == 0) {
        return "";
    }
    const bool isShort = form >= 5 && form <= 15 && form != 12;
    return isShort ? std::string(1, static_cast<char>(form - 4)) : std::string{'\x10', '\0', static_cast<char>(form)};
}

// The character that bytes of a form are, or an empty text where they are none, several or have findings.
std::string characterOf(unsigned int form, dvbCharSet_t region, const std::string &coded) {
    const std::string string = selectorOf(form) + coded;
    const zelkInsightSettings settings = {region, DvbCodeNone, 0, 1, 0};
    zelkInsightEvidence evidence{};
    char text[16];
    const unsigned int length = zelkInsightDecode(&settings, text, sizeof text, (string + '\0').data(),
                                                  static_cast<int>(string.size()), &evidence);
    const bool whole = evidence.findingCount == 0 && evidence.selectorLength + coded.size() == string.size();
    const auto isFirst = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; };
    return whole && std::count_if(text, text + length, isFirst) == 1 ? std::string(text, length) : std::string();
}

// What some byte or pair of bytes reads as without a finding can be said by the form. Region GB 2312 reads text without
// a selector by another standard.
TEST(InsightEncode, SaysWhateverAFormReads) {
    for (int region = DvbCharSetIso8859_9; region < DvbCharSetGb2312; ++region) {
        const auto charSet = static_cast<dvbCharSet_t>(region);
        for (unsigned int form = 0; form < 16; ++form) {
            std::set<std::string> characters;
            for (unsigned int first = form == 0 ? 0x20 : 1; first < 0x100; ++first) {
                characters.insert(characterOf(form, charSet, std::string(1, static_cast<char>(first))));
                for (unsigned int second = 1; first >= 0xA0 && second < 0x100; ++second) {
                    characters.insert(
                        characterOf(form, charSet, {static_cast<char>(first), static_cast<char>(second)}));
                }
            }
            characters.erase("");
            for (const std::string &character : characters) {
                const Encoded encoded = encode(character, {charSet, 1U << form, 0}, 8);
                EXPECT_EQ(encoded.about.unsaid, 0U) << region << ' ' << form << ' ' << character;
                EXPECT_EQ(decode(encoded.string, charSet, true), character);
            }
        }
    }
    EXPECT_EQ(encode("\xC2\xA8\xCE\x84\xCE\x85", only(1U << 6U)).string, bytes("02 A820 B420 B520"));
    EXPECT_EQ(encode("\xCE\x90", only(1U << 6U)).string, bytes("02 B5E9"));
}

// Each byte after each other one, at the start and at the end.
TEST(InsightCompress, TakesTheShortestCodeOfEachPair) {
    const unsigned char *const tables[] = {HuffmanDecodeTable_1, HuffmanDecodeTable_2, _title_dec_table,
                                           _desc_dec_table};
    for (unsigned int code = 1; code <= 4; ++code) {
        const ContextCodes codes = contextCodes(tables[code - 1]);
        for (unsigned int first = 1; first < 0x100; ++first) {
            std::string text;
            for (unsigned int second = 1; second < 0x100; ++second) {
                text += {static_cast<char>(first), static_cast<char>(second)};
            }
            text += static_cast<char>(first);
            std::vector<char> out(4 * text.size() + 6);
            const unsigned int length = zelkInsightCompress(code, out.data(), static_cast<int>(out.size()), text.data(),
                                                            static_cast<int>(text.size()));
            ASSERT_EQ(std::string(out.data(), length), encodeStreamText(codes, text)) << code << ' ' << first;
        }
    }
}

TEST(InsightCompress, ReadsBack) {
    const unsigned char *const tables[] = {HuffmanDecodeTable_1, HuffmanDecodeTable_2, _title_dec_table,
                                           _desc_dec_table};
    Random random(65);
    for (unsigned int code = 1; code <= 4; ++code) {
        const ContextCodes codes = contextCodes(tables[code - 1]);
        for (int round = 0; round < 400; ++round) {
            std::string text;
            for (std::uint32_t length = random.below(50); length > 0; --length) {
                text += static_cast<char>(random.chance(95) ? 0x20 + random.below(0x5F) : 1 + random.below(255));
            }
            Guarded<char> out(4 * text.size() + 6);
            const unsigned int length = zelkInsightCompress(code, out.data(), static_cast<int>(out.size()), text.data(),
                                                            static_cast<int>(text.size()));
            ASSERT_NE(length, 0U);
            const std::string packedText(out.data(), length);
            EXPECT_EQ(packedText, encodeStreamText(codes, text)) << code; // the shortest code of each character
            std::string bits;
            for (const char byte : packedText) {
                bits += bitsOf(static_cast<unsigned char>(byte));
            }
            std::string read;
            for (const DecodedCharacter &character : decodeContextBits(codes, bits)) {
                if (character.value == 0) {
                    break;
                }
                read += static_cast<char>(character.value);
            }
            EXPECT_EQ(read, text);
        }
    }
    char out[8];
    EXPECT_EQ(zelkInsightCompress(5, out, sizeof out, "a", 1), 0U);
    EXPECT_EQ(zelkInsightCompress(1, out, 3, "Long text that does not fit", -1), 0U);
    EXPECT_EQ(out[0], 0);
    EXPECT_NE(zelkInsightCompress(1, out, sizeof out, nullptr, 3), 0U); // the end alone
}

TEST(InsightEncode, TakesSettingsAsTheyAre) {
    // A region without a row reads every selector as the receivers of none does.
    EXPECT_EQ(encode("Éàü", {static_cast<dvbCharSet_t>(99), 0, 0}).string.empty(), false);
    // A tabulator is a control that the default table drops.
    EXPECT_EQ(decode(encode("a\tb").string), "a\tb");
    EXPECT_EQ(encode("a\tb", only(ZelkInsightFormUtf8)).string, "\x15"
                                                                "a\tb");
    EXPECT_EQ(encode("a\bb", only(ZelkInsightFormUtf8)).about.unsaid, 1U);
    // A byte that is no UTF-8 is not ASCII either.
    EXPECT_EQ(encode("a\x80", {DvbCharSetStandard, 0, ZelkInsightPreferUtf8}).string, bytes("15 61 3F"));
    EXPECT_EQ(encode("a", {DvbCharSetStandard, 0, ZelkInsightPreferUtf8}).string, "a");
    // What is preferred has to be among the forms.
    EXPECT_EQ(encode("é", only(1U << 5U, ZelkInsightPreferUtf8)).string, bytes("01 3F"));
    EXPECT_EQ(encode(std::string("a\x01") + "b", only(ZelkInsightFormUtf8)).about.unsaid, 1U);
    for (const char *unsendable : {"\x01", "\xC2\x85", "\xEE\x82\x85"}) {
        EXPECT_NE(encode(unsendable).about.unsaid, 0U) << unsendable;
        EXPECT_NE(encode(unsendable, only(ZelkInsightFormTwoByte)).about.unsaid, 0U) << unsendable;
    }
    for (const char *text : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) { // which compressed text cannot hold
        EXPECT_EQ(decode(encode(text, only(0xF0EFFFU)).string), text);
    }
}

// Of what does not fit a letter goes with its mark; what stands beside the marks in Unicode is a letter.
TEST(InsightEncode, KnowsTheMarksOfUnicode) {
    for (const char *mark : {"\xCC\x80", "\xCD\xAF", "\xD2\x83", "\xD6\x91", "\xD7\x87", "\xD8\x90", "\xD9\x9F",
                             "\xD9\xB0", "\xE0\xA4\xBF", "\xE0\xB8\xB1", "\xE0\xB8\xBA", "\xE0\xB9\x8E", "\xE1\xAA\xB0",
                             "\xE2\x83\x90", "\xE2\x83\xB0", "\xE3\x82\x99", "\xEF\xB8\xA0"}) {
        EXPECT_EQ(encode(std::string("ab") + mark, only(ZelkInsightFormUtf8), 3).string, "\x15"
                                                                                         "a")
            << mark;
    }
    for (const char *letter :
         {"\xCB\xBF", "\xCD\xB0", "\xD2\x82", "\xD6\x90", "\xD7\x86", "\xD7\x88", "\xD9\x8A", "\xD9\xA0",
          "\xE0\xB8\xB0", "\xE0\xB8\xBB", "\xE0\xB9\x86", "\xE0\xB9\x8F", "\xE2\x83\x8F", "\xE2\x84\x80"}) {
        EXPECT_EQ(encode(std::string("ab") + letter, only(ZelkInsightFormUtf8), 3).string, "\x15"
                                                                                           "ab")
            << letter;
    }
}

} // namespace
