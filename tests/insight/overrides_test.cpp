// Overrides: which entry counts for a broadcast, what it changes, and that any text is read without harm.
#include "zelk_insight.h"

#include "helpers/text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace zelk_test;

constexpr zelkInsightSettings standard = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
constexpr zelkInsightOrigin unknown = {ZELK_INSIGHT_UNKNOWN, ZELK_INSIGHT_UNKNOWN, ZELK_INSIGHT_UNKNOWN, nullptr,
                                       nullptr};

const std::string entries = "zelk-overrides 1\n"     // 1
                            "# comment\n"            // 2
                            "c=FR d=1\n"             // 3
                            "c=FR l=fre d=9\n"       // 4
                            "n=318 d=15\n"           // 5
                            "n=318 t=2 s=7 r=5\n"    // 6
                            "n=318 t=2 s=8 d=21 i\n" // 7
                            "n=318 x=1 s=9 d=2\n"    // 8: of a later version
                            "c=DE d=1\n"             // 9
                            "c=DE d=5\n";            // 10

unsigned int find(const zelkInsightOrigin &origin, zelkInsightSettings &settings) {
    settings = standard;
    return zelkInsightFindOverride(entries.data(), static_cast<int>(entries.size()), &origin, &settings);
}

TEST(InsightOverrides, TakesTheNarrowestEntry) {
    zelkInsightSettings settings{};
    EXPECT_EQ(find(unknown, settings), 0U);
    EXPECT_EQ(settings.options, 0U);
    EXPECT_EQ(find({1, 2, 3, "eng", "FR"}, settings), 3U);
    EXPECT_EQ(settings.defaultCode, DvbCodeIso8859_1);
    EXPECT_EQ(settings.options, static_cast<unsigned int>(ZelkInsightOverridden));
    EXPECT_EQ(find({1, 2, 3, "fre", "FR"}, settings), 4U);
    EXPECT_EQ(find({1, 2, 3, "fre", nullptr}, settings), 0U);
    EXPECT_EQ(find({318, 2, 3, "fre", "FR"}, settings), 5U);
    EXPECT_EQ(settings.defaultCode, DvbCodeIso8859_15);
    EXPECT_EQ(find({318, 2, 7, "fre", "FR"}, settings), 6U);
    EXPECT_EQ(settings.charSet, DvbCharSetIso8859_15);
    EXPECT_EQ(settings.defaultCode, DvbCodeNone);
    EXPECT_EQ(settings.options, static_cast<unsigned int>(ZelkInsightRegionOverridden));
    EXPECT_EQ(find({318, 2, 8, "fre", "FR"}, settings), 7U);
    EXPECT_EQ(settings.options, static_cast<unsigned int>(ZelkInsightOverridden) | ZelkInsightIgnoreSelector |
                                    ZelkInsightSelectorOverridden);
    EXPECT_EQ(find({318, 2, 9, "fre", "FR"}, settings), 5U);
    EXPECT_EQ(find({1, 2, 3, nullptr, "DE"}, settings), 10U); // the later of two alike
}

// Each thing that an entry names counts more than all that are wider together, wherever the entries stand.
TEST(InsightOverrides, WeighsWhatAnEntryNames) {
    const std::string words[] = {"s=3 ", "t=2 ", "n=1 ", "l=fre ", "c=FR "};
    for (std::size_t narrow = 0; narrow + 1 < std::size(words); ++narrow) {
        std::string wider;
        for (std::size_t i = narrow + 1; i < std::size(words); ++i) {
            wider += words[i];
        }
        const std::string both = "zelk-overrides 1\n" + words[narrow] + "d=1\n" + wider + "d=5\n";
        const zelkInsightOrigin origin = {1, 2, 3, "fre", "FR"};
        zelkInsightSettings settings = standard;
        EXPECT_EQ(zelkInsightFindOverride(both.c_str(), -1, &origin, &settings), 2U) << both;
    }
}

unsigned int findIn(const std::string &lines) {
    const std::string overrides = "zelk-overrides 1\n" + lines;
    const zelkInsightOrigin origin = {1, 2, 3, "fre", "FR"};
    zelkInsightSettings settings = standard;
    return zelkInsightFindOverride(overrides.c_str(), -1, &origin, &settings);
}

TEST(InsightOverrides, WeighsARepeatedWordOnce) {
    EXPECT_EQ(findIn("n=1 r=2\nl=fre l=fre l=fre r=5\n"), 2U);
    EXPECT_EQ(findIn("l=fre l=fre l=fre r=5\nn=1 r=2\n"), 3U);
    EXPECT_EQ(findIn("l=fre r=2\nc=FR c=FR r=5\n"), 2U);
    EXPECT_EQ(findIn("s=3 r=2\nt=2 t=2 t=2 r=5\n"), 2U);
    EXPECT_EQ(findIn("l=fre l=fre r=2\nl=fre r=5\n"), 3U); // two alike
    EXPECT_EQ(findIn("l=fre l=eng r=2\n"), 0U);            // one does not hold
}

TEST(InsightOverrides, TakesEntriesAsTheHeaderSays) {
    EXPECT_EQ(findIn("r=2\n"), 0U);
    EXPECT_EQ(findIn("n=1 r=00002\n"), 2U);
    EXPECT_EQ(findIn("n=1 r=000002\n"), 0U);
    EXPECT_EQ(findIn("n=000001 r=2\n"), 0U);
    EXPECT_EQ(findIn("n=1 r=\n"), 0U);
    EXPECT_EQ(findIn("n=1 r=2 \n"), 2U);
    EXPECT_EQ(findIn("n=1 r=2  \n"), 0U);
    EXPECT_EQ(findIn(" n=1 r=2\n"), 0U);
}

TEST(InsightOverrides, KeepsWhatIsNotOverridden) {
    zelkInsightSettings settings = {DvbCharSetIso8859_2, DvbCodeIso8859_2, 3, 1, ZelkInsightGuessTable};
    const zelkInsightOrigin origin = {318, 2, 7, nullptr, nullptr};
    EXPECT_EQ(zelkInsightFindOverride(entries.c_str(), -1, &origin, &settings), 6U);
    EXPECT_EQ(settings.charSet, DvbCharSetIso8859_15);
    EXPECT_EQ(settings.defaultCode, DvbCodeIso8859_2);
    EXPECT_EQ(settings.defaultExtra, 3);
    EXPECT_EQ(settings.flags, 1U);
    EXPECT_EQ(settings.options, static_cast<unsigned int>(ZelkInsightGuessTable) | ZelkInsightRegionOverridden);
    // An entry that gives nothing takes a wider one back.
    const std::string nothing = "zelk-overrides 1\nn=318 d=5 r=2 i\nn=318 t=2\n";
    EXPECT_EQ(zelkInsightFindOverride(nothing.c_str(), -1, &origin, &settings), 3U);
}

zelkInsightReason reasonOf(const std::string &string, const zelkInsightSettings &settings) {
    zelkInsightEvidence evidence{};
    char text[64];
    zelkInsightDecode(&settings, text, sizeof text, (string + '\0').data(), static_cast<int>(string.size()), &evidence);
    return evidence.reason;
}

TEST(InsightOverrides, AreInTheEvidence) {
    constexpr unsigned int overridden = ZelkInsightOverridden;
    constexpr unsigned int region = ZelkInsightRegionOverridden;
    constexpr unsigned int selector = ZelkInsightIgnoreSelector | ZelkInsightSelectorOverridden;
    EXPECT_EQ(reasonOf("\xE9", {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, overridden}), ZelkInsightByOverride);
    EXPECT_EQ(reasonOf("\x05\xE9", {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, overridden}), ZelkInsightBySelector);
    EXPECT_EQ(reasonOf("\x05\xE9", {DvbCharSetStandard, DvbCodeNone, 0, 0, overridden | ZelkInsightIgnoreSelector}),
              ZelkInsightByOverride);
    EXPECT_EQ(reasonOf("\x12\xE9", {DvbCharSetIso8859_2, DvbCodeNone, 0, 0, region}), ZelkInsightByOverride);
    EXPECT_EQ(reasonOf("\x12\xE9", {DvbCharSetIso8859_2, DvbCodeIso8859_1, 0, 0, overridden}), ZelkInsightByRegion);
    EXPECT_EQ(reasonOf("\x12\xE9", {DvbCharSetIso8859_2, DvbCodeNone, 0, 0, 0}), ZelkInsightByRegion);
    EXPECT_EQ(reasonOf("\xE9", {DvbCharSetIso8859_2, DvbCodeNone, 0, 0, region}), ZelkInsightByDefault);
    EXPECT_EQ(reasonOf("\xE9", {DvbCharSetIso8859_2, DvbCodeIso8859_1, 0, 0, region}), ZelkInsightByDefaultCode);
    EXPECT_EQ(reasonOf("\xE9", {DvbCharSetStandard, DvbCodeNone, 0, 0, overridden}), ZelkInsightByOverride);
    EXPECT_EQ(reasonOf("\x05\xE9", {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, selector}), ZelkInsightByOverride);
    EXPECT_EQ(reasonOf("\xE9", {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, selector}), ZelkInsightByDefaultCode);
    EXPECT_EQ(reasonOf("\x05\xE9", {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, ZelkInsightIgnoreSelector}),
              ZelkInsightByDefaultCode);
}

TEST(InsightOverrides, TakesAnyText) {
    zelkInsightSettings settings = standard;
    const zelkInsightOrigin origin = {318, 2, 7, "fre", "FR"};
    EXPECT_EQ(zelkInsightFindOverride(nullptr, 5, &origin, &settings), 0U);
    EXPECT_EQ(zelkInsightFindOverride("", 0, &origin, &settings), 0U);
    EXPECT_EQ(zelkInsightFindOverride("zelk-overrides 2\nc=FR d=1\n", -1, &origin, &settings), 0U);
    EXPECT_EQ(zelkInsightFindOverride("zelk-overrides 1\nn=99999999999999999999318 d=1\n", -1, &origin, &settings), 0U);
    EXPECT_EQ(zelkInsightFindOverride("zelk-overrides 1\nd=1\n", -1, &origin, &settings), 0U); // for nothing
    EXPECT_EQ(zelkInsightFindOverride("zelk-overrides 1\n\n\nc=FR d=1", -1, &origin, &settings), 4U);
    Random random(9);
    for (int round = 0; round < 5000; ++round) {
        std::string text = entries.substr(0, 17 + random.below(static_cast<std::uint32_t>(entries.size() - 17)));
        for (std::uint32_t changes = random.below(6); changes > 0; --changes) {
            text[random.below(static_cast<std::uint32_t>(text.size()))] = static_cast<char>(random.below(256));
        }
        settings = standard;
        const unsigned int line =
            zelkInsightFindOverride(text.data(), static_cast<int>(text.size()), &origin, &settings);
        EXPECT_TRUE(line != 0 || settings.options == 0) << text;
    }
}

} // namespace
