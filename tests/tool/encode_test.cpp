// zelk encode: UTF-8 in, DVB strings in hexadecimal out.
#include "tool/run.h"

#include <gtest/gtest.h>

namespace {

using namespace zelk_test;

TEST(Encode, WritesTheShortestString) {
    EXPECT_EQ(run({"encode", "News", "Caf\xC3\xA9"}), success("4E 65 77 73\n43 61 66 C2 65\n"));
    EXPECT_EQ(run({"encode"}, "Caf\xC3\xA9\n\n"), success("43 61 66 C2 65\n\n"));
    EXPECT_EQ(run({"encode", "--prefer-utf8", "Caf\xC3\xA9"}), success("15 43 61 66 C3 A9\n"));
    EXPECT_EQ(run({"encode", "--code", "iso8859-9", "Caf\xC3\xA9"}), success("05 43 61 66 E9\n"));
    EXPECT_EQ(run({"encode", "--compress", "The News"}).out.substr(0, 4), "1F 0");
}

// A list from another system ends its lines with CR LF.
TEST(Encode, TakesLinesOfBothKinds) {
    EXPECT_EQ(run({"encode"}, "News\r\nCaf\xC3\xA9\r\n\r\n"), success("4E 65 77 73\n43 61 66 C2 65\n\n"));
    EXPECT_EQ(run({"convert", "-f", "utf8", "-t", "dvb"}, "News\r\n"), success("News\n"));
}

TEST(Encode, KeepsTheLimit) {
    EXPECT_EQ(run({"encode", "--limit", "4", "Caf\xC3\xA9"}), success("43 61 66\n"));
    EXPECT_EQ(run({"encode", "--limit", "4", "--pieces", "Caf\xC3\xA9"}), success("43 61 66\nC2 65\n"));
}

// What the limit has no room for is not left out in silence.
TEST(Encode, RefusesPiecesThatHoldNoCharacter) {
    EXPECT_EQ(run({"encode", "--limit", "1", "--pieces", "\xC3\xA9"}).status, 2);
    EXPECT_EQ(run({"encode", "--limit", "1", "--pieces", ""}), success(""));
    EXPECT_EQ(run({"encode", "--limit", "2", "--pieces", "\xC3\xA9"}), success("C2 65\n"));
}

TEST(Encode, TellsWhatCannotBeSaid) {
    const Result result = run({"encode", "--code", "iso8859-9", "\xD0\x96"});
    EXPECT_EQ(result, (Result{1, "05 3F\n", "zelk encode: 1 character written as a question mark\n"}));
    EXPECT_EQ(run({"encode", "--code", "none", "a"}).status, 2);
    EXPECT_EQ(run({"encode", "--code", "ucs-2", "--raw", "a"}).status, 2);
}

// Strings on lines: no form has a line feed among its bytes.
TEST(Encode, WritesLines) {
    const std::string text = "Caf\xC3\xA9\n\xE6\x96\xB0\xE8\x81\x9E\n\xE1\xB8\x83\n";
    EXPECT_EQ(run({"encode", "--raw", "Caf\xC3\xA9"}), success("Caf\xC2"
                                                               "e\n"));
    const std::string strings = run({"convert", "-f", "utf8", "-t", "dvb"}, text).out;
    EXPECT_EQ(strings, run({"encode", "--raw"}, text).out);
    EXPECT_EQ(run({"convert", "-f", "dvb"}, strings), success(text));
    EXPECT_EQ(run({"convert", "-f", "1252", "-t", "dvb"}, "\x80"
                                                          "5\nb"),
              success("\xA4"
                      "5\nb"));
    EXPECT_EQ(run({"convert", "-f", "utf8", "-t", "dvb"}, "\x01"),
              (Result{0, "?", "zelk convert: 1 character written as a question mark\n"}));
    EXPECT_EQ(run({"convert", "-f", "utf8", "-t", "dvb", "--strict"}, "b\x01"),
              (Result{2, "",
                      "zelk convert: standard input:1: expected a character that DVB text can say, found one that it "
                      "cannot at byte 2\n"}));
}

TEST(Encode, ReadsBack) {
    const std::string text = "Česká pohádka\n";
    EXPECT_EQ(run({"decode"}, run({"encode"}, text).out), success(text));
}

} // namespace
