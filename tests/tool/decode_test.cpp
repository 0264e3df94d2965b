// zelk decode and zelk huffman: broadcast strings to text.
#include "helpers/text.h"
#include "reference/huffman_encoder.h"
#include "tool/run.h"

#include "zelk.h"

#include <gtest/gtest.h>

namespace {

using namespace zelk_test;

std::string hexOf(const std::string &bytes) {
    std::string result;
    for (const char byte : bytes) {
        constexpr const char *digits = "0123456789abcdef";
        result.push_back(digits[static_cast<unsigned char>(byte) >> 4U]);
        result.push_back(digits[static_cast<unsigned char>(byte) & 15U]);
    }
    return result;
}

const std::string e = "\xC3\xA9"; // é

TEST(Decode, EachArgumentIsAString) {
    EXPECT_EQ(run({"decode", "05 43 61 66 E9", "4142"}), success("Caf" + e + "\nAB\n"));
}

TEST(Decode, TakesEverySpellingOfHexadecimal) {
    EXPECT_EQ(run({"decode", "0x05 0x41", "0X0541", "05\t4 1"}).status, 2);
    EXPECT_EQ(run({"decode", "0x05 0x41", "0X0541", "\t05  41 ", "05 0xe9e9"}), success("A\nA\nA\n" + e + e + "\n"));
}

TEST(Decode, ReadsLinesOfStandardInput) {
    EXPECT_EQ(run({"decode"}, "05 E9\r\n\n4142"), success(e + "\n\nAB\n"));
    EXPECT_EQ(run({"decode"}, ""), success(""));
}

TEST(Decode, ReadsFilesAfterArguments) {
    const File first("41\n42\n");
    const File second("43");
    EXPECT_EQ(run({"decode", "-f", first.path(), "40", "--file", second.path()}), success("@\nA\nB\nC\n"));
    EXPECT_EQ(run({"decode", "--file", "-"}, "44"), success("D\n"));
}

TEST(Decode, ReadsRawBytes) {
    EXPECT_EQ(run({"decode", "--raw"}, bytes("05 41 E9 0A 42")), success("A" + e + "\nB\n"));
    EXPECT_EQ(run({"decode", "-r", "\x05\xE9"}), success(e + "\n"));
    EXPECT_EQ(run({"decode", "--raw"}, bytes("11 00 41 00 42 0A")), success("AB\n")); // zero bytes are bytes
}

TEST(Decode, RegionDecidesWhatASelectorMeans) {
    EXPECT_EQ(run({"decode", "01 C3 65"}), success("\xD0\xA3"
                                                   "e\n")); // У of ISO 8859-5
    EXPECT_EQ(run({"decode", "--region", "iso8859-2", "01 C3 65"}), success("\xC3\xAA\n"));
    EXPECT_EQ(run({"decode", "--region", "iso8859-7", "12 E1"}), success("\xCE\xB1\n"));
    EXPECT_EQ(run({"decode", "--region", "iso8859-9", "12 FD"}), success("\xC4\xB1\n"));
    EXPECT_EQ(run({"decode", "--region", "iso8859-9-alt", "12 FD"}), success("\xC4\xB1\n"));
    EXPECT_EQ(run({"decode", "--region", "iso8859-15", "12 A4"}), success("\xE2\x82\xAC\n"));
    EXPECT_EQ(run({"decode", "--region", "gb2312", "C4E3"}), success("\xE4\xBD\xA0\n"));
    EXPECT_EQ(run({"decode", "--region", "standard", "12 A4"}), success("\xE2\x82\xAC\n"));
}

TEST(Decode, DefaultCodeReadsStringsWithoutSelector) {
    EXPECT_EQ(run({"decode", "E9"}), success("\xC3\x98\n")); // Ø of the default table
    EXPECT_EQ(run({"decode", "--default-code", "9", "E9"}), success(e + "\n"));
    EXPECT_EQ(run({"decode", "--default-code", "21", "C3A9"}), success(e + "\n"));
    static const ContextCodes codes = contextCodes(HuffmanDecodeTable_2);
    const std::string text = encodeStreamText(codes, "Tonight");
    EXPECT_GE(static_cast<unsigned char>(text[0]), 0x20); // or it would be a selector
    EXPECT_EQ(run({"decode", "--default-code", "22", "--extra", "2", hexOf(text)}), success("Tonight\n"));
}

// Three bytes for each rejected byte are more than UTF-8 text has: nothing of the text after them may be lost.
TEST(Decode, KeepsWhatFollowsInvalidBytes) {
    const std::string four = bytes("EF BF BD EF BF BD EF BF BD EF BF BD");
    const std::string report = "zelk decode: 4 unreadable characters written as U+FFFD\n";
    EXPECT_EQ(run({"decode", "15 F0 9F 98 80 20 50 61 72 74 79 20 6E 69 67 68 74"}),
              (Result{0, four + " Party night\n", report}));
    EXPECT_EQ(run({"decode", "--default-code", "utf-8", "F09F9880 41"}), (Result{0, four + "A\n", report}));
    const std::string night = bytes("15 F0 9F 98 80 20 6E 69 67 68 74");
    EXPECT_EQ(run({"convert", "--from", "dvb"}, night), (Result{0, four + " night",
                                                                "zelk convert: 4 unreadable characters written as "
                                                                "U+FFFD\n"}));
}

// Whatever comes in, valid UTF-8 leaves: a byte that GB 2312 does not have, malformed prepared text, a surrogate.
TEST(Decode, WritesValidUtf8Alone) {
    const std::string mark = bytes("EF BF BD");
    const std::string report = "zelk decode: 1 unreadable character written as U+FFFD\n";
    EXPECT_EQ(run({"decode", "--region", "gb2312", "C96D"}), (Result{0, mark + "m\n", report}));
    EXPECT_EQ(run({"decode", "--region", "gb2312", "C4E3 FF 41 C4E3"}),
              (Result{0, bytes("E4 BD A0 EF BF BD 41 E4 BD A0 0A"), report}));
    EXPECT_EQ(run({"decode", "--region", "gb2312", "C4"}), (Result{0, mark + "\n", report}));
    EXPECT_EQ(run({"decode", "1D 41 FF 42"}), (Result{0, "A" + mark + "B\n", report}));
    EXPECT_EQ(run({"decode", "11 D83D 0041"}), (Result{0, mark + "A\n", report}));
    EXPECT_EQ(
        run({"decode", "--json", "1D 41 FF"}),
        (Result{
            0,
            "{\"input\":\"1D 41 FF\",\"selector\":\"1D\",\"code\":19,\"codeName\":\"prepared "
            "UTF-8\",\"extra\":0,\"table\":\"UTF-8, no control codes filtered\",\"reason\":\"selector\",\"text\":\"A" +
                mark + "\"}\n",
            report}));
}

TEST(Decode, DefaultCodesHaveNames) {
    for (const char *name : {"iso8859-1", "ISO-8859-1", "latin1", "1"}) {
        EXPECT_EQ(run({"decode", "--default-code", name, "E9"}), success(e + "\n")) << name;
    }
    EXPECT_EQ(run({"decode", "--default-code", "iso8859-15", "A4"}), success("\xE2\x82\xAC\n"));
    EXPECT_EQ(run({"decode", "--default-code", "utf-8", "C3A9"}), success(e + "\n"));
    EXPECT_EQ(run({"decode", "--default-code", "ucs-2", "204100E9"}), success("\xE2\x81\x81" + e + "\n"));
    EXPECT_EQ(run({"decode", "--default-code", "none", "C265"}), success(e + "\n"));
    EXPECT_EQ(run({"explain", "--json", "--default-code", "iso8859-7", "E1"}).status, 0);
    EXPECT_EQ(run({"convert", "--from", "dvb", "--default-code", "latin1"}, "\xE9"), success(e));
    for (const char *name :
         {"iso8859-0", "iso8859-17", "iso8859-", "iso8859--1", "-iso8859-1", "ucs--2", "23", "-1", "1x", ""}) {
        EXPECT_EQ(run({"decode", "--default-code", name, "41"}).status, 2) << name;
    }
}

TEST(Decode, KeepsEmphasisOnRequest) {
    EXPECT_EQ(run({"decode", "86 41 87"}), success("A\n"));
    EXPECT_EQ(run({"decode", "--keep-emphasis", "86 41 87"}), success("\xC2\x86"
                                                                      "A\xC2\x87\n"));
}

TEST(Decode, WritesUnits) {
    EXPECT_EQ(run({"decode", "--to", "ucs2", "05 41 E9 8A", "C2 65", ""}), success("0041 00E9 000A\n00E9\n\n"));
    EXPECT_EQ(run({"decode", "--to", "ucs2", "--region", "gb2312", "C4E3"}), success("4F60\n"));
}

TEST(Decode, WritesJson) {
    EXPECT_EQ(run({"decode", "--json", "05 41 E9", "4142"}),
              success("{\"input\":\"05 41 E9\",\"selector\":\"05\",\"code\":9,\"codeName\":\"ISO 8859-9\","
                      "\"extra\":0,\"table\":\"ISO 8859-9\",\"reason\":\"selector\",\"text\":\"A" +
                      e +
                      "\"}\n"
                      "{\"input\":\"41 42\",\"selector\":\"\",\"code\":0,\"codeName\":\"default table\","
                      "\"extra\":0,\"table\":\"DVB default table\",\"reason\":\"default\",\"text\":\"AB\"}\n"));
    EXPECT_EQ(run({"decode", "--json", "--to", "ucs2", "10 00 02 B1"}),
              success("{\"input\":\"10 00 02 B1\",\"selector\":\"10 00 02\",\"code\":2,\"codeName\":\"ISO 8859-2\","
                      "\"extra\":0,\"table\":\"ISO 8859-2\",\"reason\":\"selector\",\"units\":[\"0105\"]}\n"));
}

TEST(Decode, SelectorMayBeCutOff) {
    EXPECT_EQ(run({"decode", "10", "1000", "1F", "05", "11", ""}), success("\n\n\n\n\n\n"));
    EXPECT_EQ(run({"decode", "--json", "10", "1000", "1F", "05", "11", ""}).status, 0);
}

TEST(Decode, SaysWhatIsWrongAndWhere) {
    EXPECT_EQ(run({"decode", "41", "4g"}).error, "zelk decode: argument 2: expected hexadecimal bytes, found '4g'\n");
    EXPECT_EQ(run({"decode", "41", "4g"}).out, "A\n"); // what came before is kept
    EXPECT_EQ(run({"decode"}, "41\n4\n"),
              (Result{2, "A\n",
                      "zelk decode: standard input:2: expected two hexadecimal digits for each byte, found '4'\n"}));
    EXPECT_EQ(run({"decode", "0x"}),
              failure(2, "zelk decode: argument 1: expected two hexadecimal digits for each byte, found '0x'"));
    EXPECT_EQ(run({"decode", "41 \xC3\xA9\x1B"}),
              failure(2, "zelk decode: argument 1: expected hexadecimal bytes, found '" + e + "\\u001B'"));
    EXPECT_EQ(run({"decode", "--region", "mars", "41"}),
              failure(2, "zelk decode: --region: expected one of iso8859-9, standard, iso8859-2, iso8859-7, "
                         "iso8859-9-alt, iso8859-15, gb2312, found 'mars'; see 'zelk decode --help'"));
    EXPECT_EQ(
        run({"decode", "--default-code", "23", "41"}),
        failure(2, "zelk decode: --default-code: expected iso8859-1 to iso8859-16, utf-8, ucs-2, compressed, default, "
                   "none or a table code from 0 to 22, found '23'; see 'zelk decode --help'"));
    EXPECT_EQ(run({"decode", "--extra", "x", "41"}),
              failure(2, "zelk decode: --extra: expected a number from 0 to 255, found 'x'; see 'zelk decode --help'"));
    EXPECT_EQ(run({"decode", "--to", "ucs4", "41"}),
              failure(2, "zelk decode: --to: expected one of utf8, ucs2, found 'ucs4'; see 'zelk decode --help'"));
    EXPECT_EQ(run({"decode", "--raw"}, std::string(1048577, 'A')),
              failure(2, "zelk decode: standard input:1: expected a line of at most 1048576 bytes"));
    EXPECT_EQ(run({"decode", "--raw"}, std::string(1048576, 'A')).out.size(), 1048577U);
}

// ---- zelk huffman ----

TEST(Huffman, ExpandsTitlesAndDescriptions) {
    static const ContextCodes titles = contextCodes(_title_dec_table);
    static const ContextCodes descriptions = contextCodes(_desc_dec_table);
    // The text ends where its bits do: the end code of the encoder is one more character.
    const std::string text = "The News at Ten";
    EXPECT_EQ(run({"huffman", "--title", hexOf(packed(contextBits(titles, text)))}).out.substr(0, text.size()), text);
    const Result description = run({"huffman", "--description", hexOf(packed(contextBits(descriptions, text)))});
    EXPECT_EQ(description.out.substr(0, text.size()), text);
    EXPECT_EQ(description.status, 0);
    const Result skipped = run({"huffman", "--title", "--skip", "4", hexOf(packed(contextBits(titles, text)))});
    EXPECT_EQ(skipped.out.substr(0, text.size() - 4), "News at Ten");
    EXPECT_EQ(run({"huffman", "--title", "--skip", "60000", "00", "1234"}), success("\n\n"));
}

TEST(Huffman, ExpandsEveryEncodingType) {
    static const ContextCodes first = contextCodes(HuffmanDecodeTable_1);
    static const ContextCodes second = contextCodes(HuffmanDecodeTable_2);
    const std::string text = "Caf" + e + " <No 1>";
    EXPECT_EQ(run({"huffman", "--type", "1", hexOf(encodeStreamText(first, text)) + "FFFF"}), success(text + "\n"));
    EXPECT_EQ(run({"huffman", "--type", "2", hexOf(encodeStreamText(second, text)) + "FFFF"}), success(text + "\n"));
    const MalaysiaRows english(ZELK_TABLE_DATA "/malaysia_en.tsv");
    const MalaysiaRows malay(ZELK_TABLE_DATA "/malaysia_ms.tsv");
    EXPECT_EQ(run({"huffman", "--type", "5", hexOf(MalaysiaEncoder(english).encode("This show, caf\xE9"))}),
              success("This show, caf" + e + "\n"));
    EXPECT_EQ(run({"huffman", "--type", "6", hexOf(MalaysiaEncoder(malay).encode("dan yang 9 ma. x"))}),
              success("dan yang 9 ma. x\n"));
}

TEST(Huffman, EmptyStringsStayEmpty) {
    for (const char *code : {"--title", "--description", "--type=1", "--type=2", "--type=5", "--type=6"}) {
        EXPECT_EQ(run({"huffman", code, ""}), success("\n")) << code;
    }
}

TEST(Huffman, WantsExactlyOneCode) {
    const Result expected = failure(2, "zelk huffman: expected exactly one of --title, --description and --type");
    EXPECT_EQ(run({"huffman", "41"}), expected);
    EXPECT_EQ(run({"huffman", "--title", "--description", "41"}), expected);
    EXPECT_EQ(run({"huffman", "--title", "--type", "1", "41"}), expected);
    EXPECT_EQ(run({"huffman", "--type", "3", "41"}),
              failure(2, "zelk huffman: --type: expected one of 1, 2, 5, 6, found '3'; see 'zelk huffman --help'"));
    EXPECT_EQ(run({"huffman", "--type", "1", "--skip", "2", "41"}),
              failure(2, "zelk huffman: expected --skip only with --title or --description"));
}

// Whatever is broadcast ends in a result.
TEST(Huffman, RandomBytesDoNoHarm) {
    Random random(5);
    std::string lines;
    for (int i = 0; i < 300; ++i) {
        std::string string;
        for (std::uint32_t length = random.below(60); length > 0; --length) {
            string.push_back(static_cast<char>(random.below(256)));
        }
        lines += hexOf(string) + '\n';
    }
    for (const char *code : {"--title", "--description", "--type=1", "--type=2", "--type=5", "--type=6"}) {
        const Result result = run({"huffman", code}, lines);
        EXPECT_EQ(result.status, 0) << code;
        EXPECT_EQ(result.error, "") << code;
    }
}

} // namespace
