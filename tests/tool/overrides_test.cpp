// Overrides and guesses: what a file says changes how strings are read, and what is wrong with a file is told.
#include "tool/run.h"

#include <gtest/gtest.h>

namespace {

using namespace zelk_test;

const std::string known = "version = 1\n"
                          "\n"
                          "[[override]]\n"
                          "country = \"FR\"\n"
                          "default-code = \"iso8859-1\"\n"
                          "source = \"a capture\"\n"
                          "date = 2026-11-01\n"
                          "\n"
                          "[[override]]\n"
                          "network = 0x3201\n"
                          "stream = 1\n"
                          "service = 101\n"
                          "region = \"iso8859-15\"\n"
                          "ignore-selector = true\n"
                          "default-code = \"utf-8\"\n"
                          "source = \"a letter\"\n"
                          "date = 2026-11-02\n";

TEST(Overrides, ChangeHowStringsAreRead) {
    const File file(known);
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--country", "FR", "E9"}), success("é\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--country", "DE", "E9"}), success("Ø\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--service", "3201.0001.0065", "05 C3 A9"}), success("é\n"));
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--service", "3201.0001.0066", "05 C3 A9"}), success("Ã©\n"));
    EXPECT_EQ(run({"convert", "-f", "dvb", "--overrides", file.path(), "--country", "FR"}, "\xE9\n"), success("é\n"));
    EXPECT_EQ(run({"decode", "--service", "3201.0001", "41"}).status, 2);
}

TEST(Overrides, LaterFilesCountFirst) {
    const File file(known);
    const File mine("version = 1\n[[override]]\ncountry = \"FR\"\ndefault-code = \"iso8859-5\"\nsource = \"I\"\n"
                    "date = 2026-11-03\n");
    EXPECT_EQ(run({"decode", "--overrides", file.path(), "--overrides", mine.path(), "--country", "FR", "E9"}),
              success("щ\n"));
    EXPECT_EQ(run({"decode", "--overrides", mine.path(), "--overrides", file.path(), "--country", "FR", "E9"}),
              success("é\n"));
}

TEST(Overrides, AreExplained) {
    const File file(known);
    const Result result = run({"explain", "--overrides", file.path(), "--country", "FR", "E9"});
    EXPECT_NE(result.out.find("overridden by " + file.path() + ":3, a capture, 2026-11-01"), std::string::npos)
        << result;
}

TEST(Overrides, AreChecked) {
    const File good(known);
    EXPECT_EQ(run({"overrides", "check", good.path()}), success("entries: 2\n"));
    EXPECT_EQ(run({"overrides", "compact", good.path()}).out.substr(0, 17), "zelk-overrides 1\n");
    const std::pair<const char *, const char *> faults[] = {
        {"", ":1: expected 'version = 1'"},
        {"version = 2\n", ":1: expected 'version = 1'"},
        {"version = 1\n[[override]\n", ":2: expected TOML"},
        {"version = 1\nfoo = 2\n", ":2: expected [[override]], found 'foo'"},
        {"version = 1\n[[override]]\nnetwork = 70000\n", ":3: expected a number from 0 to 65535"},
        {"version = 1\n[[override]]\ncountry = \"fr\"\n", "expected a country as in ISO 3166"},
        {"version = 1\n[[override]]\nlanguage = \"FRE\"\n", "expected a language as in ISO 639-2"},
        {"version = 1\n[[override]]\nregion = \"mars\"\n", "expected a region"},
        {"version = 1\n[[override]]\ndefault-code = \"mars\"\n", "expected a code"},
        {"version = 1\n[[override]]\nignore-selector = 1\n", "expected true or false"},
        {"version = 1\n[[override]]\nplanet = 1\n", "expected a key of overrides, found 'planet'"},
        {"version = 1\n[[override]]\nnetwork = 1\n", "expected a source"},
        {"version = 1\n[[override]]\nnetwork = 1\n", "expected a date"},
        {"version = 1\n[[override]]\nnetwork = 1\n", "expected a region, default-code or ignore-selector"},
    };
    for (const auto &[content, expected] : faults) {
        const File file(content);
        const Result result = run({"overrides", "check", file.path()});
        EXPECT_EQ(result.status, 1) << content;
        EXPECT_NE(result.error.find(expected), std::string::npos) << expected << result;
        EXPECT_EQ(run({"decode", "--overrides", file.path(), "41"}).status, 2) << content;
    }
    EXPECT_EQ(run({"overrides", "check", "/no/such/file"}).status, 3);
}

TEST(Guess, ReadsAnotherTable) {
    const std::string title = "52 E9 61 6C 69 73 E9 20 70 61 72 20 75 6E 20 E9 6C E8 76 65";
    EXPECT_EQ(run({"decode", "--guess", title}), success("Réalisé par un élève\n"));
    EXPECT_EQ(run({"decode", title}), success("RØalisØ par un ØlŁve\n"));
    const Result result = run({"explain", "--guess", title});
    EXPECT_NE(result.out.find("guessed from the bytes"), std::string::npos) << result;
}

} // namespace
