// zelk sort, match and quote: commands that work line by line.
#include "helpers/text.h"
#include "tool/run.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace zelk_test;

// ---- zelk sort ----

TEST(Sort, IsAlphabetical) {
    EXPECT_EQ(run({"sort"}, "zebra\nZoo\n\xC3\xA9t\xC3\xA9\nete\nArd\nard\n\xE4\xB8\x80\n42\n7\n"),
              success("42\n7\nArd\nard\nete\n\xC3\xA9t\xC3\xA9\nzebra\nZoo\n\xE4\xB8\x80\n"));
}

TEST(Sort, EqualLinesKeepTheirOrder) {
    EXPECT_EQ(run({"sort"}, "b\na-b\nab\na b\nA\n"), success("A\na-b\nab\na b\nb\n"));
    EXPECT_EQ(run({"sort"}, "a b\nab\na-b\n"), success("a b\nab\na-b\n"));
    EXPECT_EQ(run({"sort", "--reverse"}, "a-b\nab\nb\na b\n"), success("b\na-b\nab\na b\n"));
    EXPECT_EQ(run({"sort", "-r"}, "a\nc\nb"), success("c\nb\na\n"));
}

TEST(Sort, TakesAllFilesTogether) {
    const File first("b\nd\n");
    const File second("c\na");
    EXPECT_EQ(run({"sort", first.path(), second.path()}), success("a\nb\nc\nd\n"));
    EXPECT_EQ(run({"sort"}, ""), success(""));
    EXPECT_EQ(run({"sort"}, "\n\n"), success("\n\n"));
}

TEST(Sort, KeepsAnyBytes) {
    EXPECT_EQ(run({"sort"}, bytes("62 FF 0A 61 00 7A 0A")), success(bytes("61 00 7A 0A 62 FF 0A")));
    const std::string longLine(200000, 'x');
    EXPECT_EQ(run({"sort"}, longLine + "\na\n"), success("a\n" + longLine + "\n"));
}

TEST(Sort, ReadsNumbersByTheirValue) {
    EXPECT_EQ(run({"sort", "--natural"}, "BBC 10\nBBC 9\nBBC 1\n"), success("BBC 1\nBBC 9\nBBC 10\n"));
    EXPECT_EQ(run({"sort", "-n"}, "a2b10\na2b9\na010\n2\na\n10\n"), success("2\n10\na\na2b9\na2b10\na010\n"));
    EXPECT_EQ(run({"sort", "-n"}, "99999999999999999999999\n100000000000000000000000\n"),
              success("99999999999999999999999\n100000000000000000000000\n"));
}

TEST(Sort, TakesAFieldForItsKey) {
    EXPECT_EQ(run({"sort", "--key", "2"}, "1\tb\n2\ta\n3\n"), success("3\n2\ta\n1\tb\n"));
    EXPECT_EQ(run({"sort", "-n", "-k", "2"}, "x\t10\ny\t9\n"), success("y\t9\nx\t10\n"));
    EXPECT_EQ(run({"sort", "-k", "0"}, "").status, 2);
}

TEST(Sort, WritesOneOfTheSameLines) {
    EXPECT_EQ(run({"sort", "-u"}, "b\na-b\nab\nb\na-b\n"), success("a-b\nab\nb\n"));
    EXPECT_EQ(run({"sort", "--unique", "--reverse"}, "a\nb\na\n"), success("b\na\n"));
    EXPECT_EQ(run({"sort", "-u", "-k", "2"}, "1\tb\n2\ta\n3\tb\n"), success("2\ta\n1\tb\n"));
}

// Letters that have no place in the order compare equal to each other, and still are not the same.
TEST(Sort, KeepsDifferentNamesOfEveryScript) {
    const std::string names = "\xD7\xA7\xD7\xA9\xD7\xAA\n"                 // Hebrew
                              "\xD8\xA7\xD9\x84\xD8\xB9\xD8\xB1\xD8\xA8\n" // Arabic
                              "\xD8\xA7\xD9\x84\xD8\xAC\xD8\xB2\xD8\xA7\n"
                              "\xE0\xB9\x84\xE0\xB8\x97\xE0\xB8\xA2\n" // Thai
                              "\xE5\xB1\xB1\xE5\x9F\x8E\n"             // Chinese
                              "\xE6\xB5\xB7\xE5\xB2\xB8\n";
    for (const char *const option : {"-u", "-un"}) {
        const Result sorted = run({"sort", option}, names + names);
        EXPECT_EQ(std::count(sorted.out.begin(), sorted.out.end(), '\n'), 6) << option << sorted;
    }
}

TEST(Sort, WritesToAFileThatItReads) {
    const File file("b\na\n");
    EXPECT_EQ(run({"sort", "-o", file.path(), file.path()}), success(""));
    EXPECT_EQ(run({"match", "*", file.path()}), success("a\nb\n"));
    EXPECT_EQ(run({"sort", "-o", "/no/such/file"}, "a\n"),
              failure(3, "zelk sort: /no/such/file: No such file or directory"));
}

// ---- zelk match ----

TEST(Match, CountsLines) {
    EXPECT_EQ(run({"match", "-c", "a*"}, "ab\nb\nac\n"), success("2\n"));
    EXPECT_EQ(run({"match", "--count", "-v", "*"}, "ab\n"), (Result{1, "0\n", ""}));
}

TEST(Match, WritesLinesThatMatchAsAWhole) {
    const std::string lines = "BBC One\nBBC Two\nbbc one\nITV\n";
    EXPECT_EQ(run({"match", "BBC*"}, lines), success("BBC One\nBBC Two\n"));
    EXPECT_EQ(run({"match", "BBC ?wo"}, lines), success("BBC Two\n"));
    EXPECT_EQ(run({"match", "*one"}, lines), success("bbc one\n"));
    EXPECT_EQ(run({"match", "BBC"}, lines), (Result{1, "", ""}));
    EXPECT_EQ(run({"match", "-v", "BBC*"}, lines), success("bbc one\nITV\n"));
    EXPECT_EQ(run({"match", "--invert", "*"}, lines), (Result{1, "", ""}));
}

TEST(Match, IgnoresWhatItIsToldTo) {
    const std::string lines = "BBC One\nbbc\x07 one\nITV\n";
    EXPECT_EQ(run({"match", "-i", "bbc one"}, lines), success("BBC One\n"));
    EXPECT_EQ(run({"match", "--ignore-control", "bbc one"}, lines), success("bbc\x07 one\n"));
    EXPECT_EQ(run({"match", "--ignore-case", "--ignore-control", "BBC ONE"}, lines), success("BBC One\nbbc\x07 one\n"));
    EXPECT_EQ(run({"match", "bbc one"}, lines), (Result{1, "", ""}));
}

// The byte after a star stands for itself.
TEST(Match, StarTakesTheNextByteLiterally) {
    EXPECT_EQ(run({"match", "*?"}, "ab\na?\n"), success("a?\n"));
    EXPECT_EQ(run({"match", "**c"}, "abc\na*c\n"), success("a*c\n"));
}

TEST(Match, ReadsFiles) {
    const File first("a1\nb\n");
    const File second("a2");
    EXPECT_EQ(run({"match", "a?", first.path(), second.path()}), success("a1\na2\n"));
    EXPECT_EQ(run({"match", ""}, "\na\n"), success("\n"));
    EXPECT_EQ(run({"match", "a*b"}, "a" + std::string(200000, 'x') + "b\n").out.size(), 200003U);
}

TEST(Match, WantsAPattern) {
    EXPECT_EQ(run({"match"}), failure(2, "zelk match: pattern is required; see 'zelk match --help'"));
}

// ---- zelk quote ----

TEST(Quote, ExtractsQuotedParts) {
    EXPECT_EQ(run({"quote", "extract"}, "say \"hi\" \"you\"\nnone\n\"open\n"), success("hiyou\nopen\n"));
    EXPECT_EQ(run({"quote", "extract", "--open", "(", "--close", ")"}, "f(ab)c(d)"), success("abd\n"));
    EXPECT_EQ(run({"quote", "extract", "--open", "*"}, "a*bc*d*e*f\n"), success("bce\n"));
    EXPECT_EQ(run({"quote", "extract", "--open", "\xC2\xAB", "--close", "\xE2\x82\xAC"}, "a\xC2\xAB"
                                                                                         "b\xE2\x82\xAC"
                                                                                         "c\n"),
              success("b\n"));
    EXPECT_EQ(run({"quote", "extract"}, "none\n"), (Result{1, "", ""}));
}

TEST(Quote, StripsQuoteCharacters) {
    EXPECT_EQ(run({"quote", "strip"}, "say \"hi\"\nnone\n\"\"\n"), success("say hi\nnone\n\n"));
    EXPECT_EQ(run({"quote", "strip", "--open", "\xC2\xAB", "--close", "\xC2\xBB"}, "\xC2\xAB"
                                                                                   "a\xC2\xBB\xC2\xBB"
                                                                                   "b\n"),
              success("ab\n"));
    EXPECT_EQ(run({"quote", "strip"}, ""), success(""));
    const std::string longLine(200000, 'x');
    EXPECT_EQ(run({"quote", "strip"}, '"' + longLine + "\"\n"), success(longLine + "\n"));
}

TEST(Quote, WantsAnActionAndCharacters) {
    EXPECT_EQ(run({"quote"}), failure(2, "zelk quote: action is required; see 'zelk quote --help'"));
    EXPECT_EQ(run({"quote", "eat"}),
              failure(2, "zelk quote: action: expected one of extract, strip, found 'eat'; see 'zelk quote --help'"));
    EXPECT_EQ(run({"quote", "strip", "--open", "ab"}),
              failure(2, "zelk quote: --open: expected one UTF-8 character up to U+FFFF, found 'ab'"));
    EXPECT_EQ(run({"quote", "strip", "--open", "\xF0\x9F\x98\x80"}).status, 2);
    EXPECT_EQ(run({"quote", "strip", "--open", ""}).status, 2);
}

} // namespace
