// zelk case, xml and validate: commands on UTF-8 text of any length.
#include "helpers/text.h"
#include "tool/run.h"

#include <gtest/gtest.h>

namespace {

using namespace zelk_test;

constexpr std::size_t chunk = 65536; // bytes that the tool reads at a time

// ---- zelk case ----

TEST(Case, MapsLetters) {
    // ÿ becomes longer, ı shorter, and Ÿ shorter again.
    EXPECT_EQ(run({"case", "upper"}, bytes("61 C3 A9 C3 BF C4 B1 CE B1 D0 B6 7A 0A")),
              success(bytes("41 C3 89 C5 B8 49 CE 91 D0 96 5A 0A")));
    EXPECT_EQ(run({"case", "lower"}, bytes("41 C3 89 C5 B8 C4 B0 CE 91 D0 96 5A")),
              success(bytes("61 C3 A9 C3 BF 69 CE B1 D0 B6 7A")));
}

TEST(Case, LeavesTheRestAsItIs) {
    const std::string other = bytes("31 C3 9F EF BF BD F0 9F 98 80 FF C3 00 E2 82");
    EXPECT_EQ(run({"case", "upper"}, other), success(other));
    EXPECT_EQ(run({"case", "lower"}, other), success(other));
}

TEST(Case, LettersMayStraddleBuffers) {
    std::string text;
    std::string expected;
    for (std::size_t n = 1; n <= 4; ++n) {
        text.resize(n * chunk + n - 4, '-');
        expected.resize(expected.size() + text.size() - std::min(text.size(), expected.size()), '-');
        text += bytes("C3 BF E1 B8 83 62");
        expected += bytes("C5 B8 E1 B8 82 42"); // as long
    }
    EXPECT_TRUE(run({"case", "upper"}, text) == success(expected)); // too long to print
}

TEST(Case, WantsADirection) {
    EXPECT_EQ(run({"case"}), failure(2, "zelk case: direction is required; see 'zelk case --help'"));
    EXPECT_EQ(run({"case", "up"}),
              failure(2, "zelk case: direction: expected one of upper, lower, found 'up'; see 'zelk case --help'"));
}

// ---- zelk xml ----

TEST(Xml, EscapesTheFiveCharacters) {
    EXPECT_EQ(run({"xml", "escape"}, "a<b> & \"c\" 'd'\n"), success("a&lt;b&gt; &amp; &quot;c&quot; &apos;d&apos;\n"));
    EXPECT_EQ(run({"xml", "escape"}, bytes("00 3C 00 FF")), success(bytes("00 26 6C 74 3B 00 FF")));
    const std::string many(2 * chunk, '<');
    EXPECT_EQ(run({"xml", "escape"}, many).out.size(), 4 * many.size());
}

TEST(Xml, Unescapes) {
    EXPECT_EQ(run({"xml", "unescape"}, "a&lt;b&gt; &amp;amp; &quot;c&quot; &apos;d&apos; &#65;&#321;\n"),
              success("a<b> &amp; \"c\" 'd' AA\n"));
    // A shortened name is understood, an unknown or long one is text.
    EXPECT_EQ(run({"xml", "unescape"}, "&l;&q; &xyz; &unknown; & &&amp;"), success("<\" &xyz; &unknown; & &&"));
    // The end of the input ends a name.
    EXPECT_EQ(run({"xml", "unescape"}, "a&am"), success("a&"));
    EXPECT_EQ(run({"xml", "unescape"}, "&#65"), success("A"));
    EXPECT_EQ(run({"xml", "unescape"}, "a&am" + std::string(1, '\0') + "b"),
              success("a&" + std::string(1, '\0') + "b"));
    EXPECT_EQ(run({"xml", "unescape"}, "&#x41;b"), success(std::string(1, '\0') + "b"));
}

TEST(Xml, ReferencesMayStraddleBuffers) {
    std::string escaped;
    std::string text;
    for (std::size_t n = 1; n <= 18; ++n) {
        const std::string pad(n * chunk + n - 17 - escaped.size(), '-');
        escaped += pad + "&quot;&abc&lt;&#65;";
        text += pad + "\"&abc<A";
    }
    EXPECT_TRUE(run({"xml", "unescape"}, escaped + "&amp") == success(text + "&")); // too long to print
    std::string plain;
    std::string wanted;
    for (std::size_t n = 1; n <= 4; ++n) {
        const std::string pad(n * chunk + n - 4 - plain.size(), '-');
        plain += pad + "<\">";
        wanted += pad + "&lt;&quot;&gt;";
    }
    EXPECT_TRUE(run({"xml", "escape"}, plain) == success(wanted));

    const std::string ampersands(3 * chunk, '&');
    EXPECT_TRUE(run({"xml", "unescape"}, ampersands).out == ampersands);
    std::string pairs;
    for (std::size_t i = 0; i < chunk; ++i) {
        pairs += "&a";
    }
    // All but the last three are followed by six bytes without an end.
    const Result result = run({"xml", "unescape"}, pairs + ".......");
    EXPECT_TRUE(result.out == pairs + ".......");
}

// Text of all sorts of bytes comes back.
TEST(Xml, UnescapeUndoesEscape) {
    Random random(9);
    std::string text;
    while (text.size() < 2 * chunk) {
        text.push_back(random.chance(30) ? "<>&\"';#"[random.below(7)] : static_cast<char>(random.below(256)));
    }
    const Result escaped = run({"xml", "escape"}, text);
    EXPECT_TRUE(run({"xml", "unescape"}, escaped.out).out == text);
}

TEST(Xml, WantsAnAction) {
    EXPECT_EQ(run({"xml"}), failure(2, "zelk xml: action is required; see 'zelk xml --help'"));
    EXPECT_EQ(run({"xml", "eat"}),
              failure(2, "zelk xml: action: expected one of escape, unescape, found 'eat'; see 'zelk xml --help'"));
}

// ---- zelk validate ----

TEST(Validate, JudgesFiles) {
    const File good("caf\xC3\xA9\n");
    const File bad("ab\ncaf\xE9\nxy\xFF\n");
    EXPECT_EQ(run({"validate", good.path()}), success(good.path() + ": valid\n"));
    EXPECT_EQ(run({"validate", bad.path(), good.path()}),
              (Result{1, bad.path() + ":2:4: byte 7: cut sequence\n" + good.path() + ": valid\n", ""}));
    EXPECT_EQ(run({"validate"}, ""), success("standard input: valid\n"));
    EXPECT_EQ(run({"validate", "--quiet", bad.path()}), (Result{1, "", ""}));
    EXPECT_EQ(run({"validate", "-q", good.path()}), success(""));
}

TEST(Validate, JudgesLines) {
    EXPECT_EQ(run({"validate", "--lines"}, "a\nb\xFF\xFF\n\xC3\xA9\n\xE2\x82\n"),
              (Result{1,
                      "standard input:2:2: byte 4: byte that UTF-8 does not have\n"
                      "standard input:4:1: byte 10: cut sequence\n",
                      ""}));
    EXPECT_EQ(run({"validate", "-l"}, "a\nb\n"), success(""));
    EXPECT_EQ(run({"validate", "-lq"}, "a\n\xFF"), (Result{1, "", ""}));
}

TEST(Validate, KnowsWhatIsInvalid) {
    std::string lines;
    std::string report;
    int number = 0;
    const std::pair<const char *, const char *> wrong[] = {
        {"F0 9F 98 80", "four-byte sequence"},
        {"C0 80", "overlong sequence"},
        {"E0 80 80", "overlong sequence"},
        {"80", "continuation byte without a beginning"},
        {"EF BF BD", "U+FFFD, the mark of earlier damage"},
        {"ED A0 80", "surrogate"},
        {"ED BF BF", "surrogate"},
        {"C3", "cut sequence"},
        {"E2 82", "cut sequence"},
        {"C3 00", "cut sequence"},
        {"FF 41", "byte that UTF-8 does not have"},
    };
    for (const auto &[text, reason] : wrong) {
        report += "standard input:" + std::to_string(++number) + ":1: byte " + std::to_string(lines.size() + 1) + ": " +
                  reason + '\n';
        lines += bytes(text) + '\n';
    }
    EXPECT_EQ(run({"validate", "--lines"}, lines), (Result{1, report, ""}));
    lines.clear();
    for (const char *text : {"41 C3 A9 E2 82 AC", "ED 9F BF", "00", "41 00 42", "EF BF BF", ""}) {
        lines += bytes(text) + '\n';
    }
    EXPECT_EQ(run({"validate", "--lines"}, lines), success(""));
    EXPECT_EQ(run({"validate"}, bytes("41 00 42 0A 00 FF")).out,
              "standard input:2:2: byte 6: byte that UTF-8 does not have\n");
    EXPECT_EQ(run({"validate"}, bytes("41 ED A0 80 FF")).out, "standard input:1:2: byte 2: surrogate\n");
    EXPECT_EQ(run({"validate"}, bytes("41 E2 82")).out, "standard input:1:2: byte 2: cut sequence\n");
}

TEST(Validate, SequencesMayStraddleBuffers) {
    std::string text;
    for (std::size_t n = 1; n <= 5; ++n) {
        text.resize(n * chunk + n - 4, n % 2 == 0 ? '-' : '\n');
        text += "\xE2\x82\xAC\xC3\xA9";
    }
    EXPECT_EQ(run({"validate"}, text), success("standard input: valid\n"));
    for (std::size_t before = chunk - 2; before <= chunk; ++before) {
        EXPECT_EQ(run({"validate"}, std::string(before, '-') + "\xE2\x82" + "a").out,
                  "standard input:1:" + std::to_string(before + 1) + ": byte " + std::to_string(before + 1) +
                      ": cut sequence\n");
    }
    EXPECT_EQ(run({"validate", "-l"}, std::string(chunk - 1, '-') + "\n\xE2\x82").out,
              "standard input:2:1: byte " + std::to_string(chunk + 1) + ": cut sequence\n");
}

} // namespace
