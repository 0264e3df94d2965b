// The guess on programme titles of our own: in the tables that broadcasters send without a selector, and in those that
// they announce. How good it is on texts of others is measured by insight/tables/measure_guess.py, see docs/guess.md.
#include "zelk_insight.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "reference/guess_model.h"
#include "reference/single_byte.h"
#include "reference/utf8_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

// By the system's sets, so that the library's tables are not asked about themselves.
std::string converted(const std::string &text, const std::string &set) {
    if (set == "UTF-8") {
        return text;
    }
    const reference::Set codes = reference::systemSet(set);
    std::string bytes;
    for (const Utf8Character &character : utf8CharactersModel(text, TextEnd::Count)) {
        const auto found = std::find(codes.begin(), codes.end(), character.character);
        EXPECT_NE(found, codes.end()) << text << ' ' << set;
        bytes += static_cast<char>(found - codes.begin());
    }
    return bytes;
}

std::string decodedByGuess(const std::string &string, zelkInsightReason &reason) {
    const zelkInsightSettings settings = {DvbCharSetStandard, DvbCodeNone, 0, 0, ZelkInsightGuessTable};
    zelkInsightEvidence evidence{};
    Guarded<char> out(3 * string.size() + 1);
    const std::string in = string + '\0';
    const unsigned int length = zelkInsightDecode(&settings, out.data(), static_cast<int>(out.size()), in.data(),
                                                  static_cast<int>(string.size()), &evidence);
    reason = evidence.reason;
    return {out.data(), length};
}

struct Title {
    const char *text;
    std::vector<const char *> sets;
    const char *language;
};

const std::vector<Title> &titles() {
    static const std::vector<Title> all = {
        {"Réalisé par un élève de première année", {"ISO-8859-1", "ISO-8859-15", "CP1252", "UTF-8"}, "fre"},
        {"Der kühne Räuber und die schöne Müllerin", {"ISO-8859-1", "ISO-8859-9", "CP1252", "UTF-8"}, "ger"},
        {"El niño de la montaña y su corazón", {"ISO-8859-1", "ISO-8859-15", "UTF-8"}, "spa"},
        {"Histórias de família e tradições", {"ISO-8859-1", "UTF-8"}, "por"},
        {"På jakt efter den försvunna ön", {"ISO-8859-1", "ISO-8859-15", "UTF-8"}, "swe"},
        {"Drømmen om København og Århus", {"ISO-8859-1", "UTF-8"}, "dan"},
        {"Zázračné dítě a kouzelný měšec", {"ISO-8859-2", "CP1250", "UTF-8"}, "cze"},
        {"Życie wśród zwierząt i gór wysokich", {"ISO-8859-2", "CP1250", "UTF-8"}, "pol"},
        {"Őrült nők ketrece és más történetek", {"ISO-8859-2", "UTF-8"}, "hun"},
        {"Güneşin doğduğu şehir ve çocukları", {"ISO-8859-9", "CP1254", "UTF-8"}, "tur"},
        {"Новости дня и погода на завтра", {"ISO-8859-5", "CP1251", "UTF-8"}, "rus"},
        {"Ειδήσεις και ο καιρός της ημέρας", {"ISO-8859-7", "CP1253", "UTF-8"}, "gre"},
        {"חדשות הערב ומזג האוויר", {"ISO-8859-8", "UTF-8"}, "heb"},
        {"أخبار المساء وحالة الطقس", {"ISO-8859-6", "UTF-8"}, "ara"},
        {"ข่าวภาคค่ำและพยากรณ์อากาศ", {"ISO-8859-11", "UTF-8"}, "tha"},
        {"Žmogaus gyvenimas gražioje šalyje", {"ISO-8859-13", "CP1257", "UTF-8"}, "lit"},
    };
    return all;
}

TEST(InsightGuess, FindsUnmarkedTables) {
    for (const Title &title : titles()) {
        for (const char *set : title.sets) {
            zelkInsightReason reason{};
            EXPECT_EQ(decodedByGuess(converted(title.text, set), reason), title.text) << set;
            EXPECT_EQ(reason, ZelkInsightByGuess) << set;
        }
    }
}

TEST(InsightGuess, LeavesWhatIsRight) {
    for (const Title &title : titles()) {
        const zelkInsightEncodeSettings settings = {DvbCharSetStandard, 0, 0};
        char out[256];
        const unsigned int length = zelkInsightEncode(&settings, out, sizeof out, title.text,
                                                      static_cast<int>(std::strlen(title.text)), nullptr);
        zelkInsightReason reason{};
        EXPECT_EQ(decodedByGuess({out, length}, reason), title.text);
        EXPECT_NE(reason, ZelkInsightByGuess) << title.text;
    }
}

// A country counts as its languages do.
TEST(InsightGuess, TakesACountryForItsLanguages) {
    const std::string string = converted("Żółw i gęś", "ISO-8859-2") + '\0';
    const auto guessed = [&string](const char *hint) {
        zelkInsightGuess guesses[ZELK_INSIGHT_MOST_GUESSES];
        std::string told;
        const unsigned int count = zelkInsightGuessTables(nullptr, string.data(), static_cast<int>(string.size()) - 1,
                                                          hint, guesses, ZELK_INSIGHT_MOST_GUESSES);
        for (unsigned int i = 0; i < count; ++i) {
            told += std::to_string(guesses[i].table) + ":" + std::to_string(guesses[i].confidence) + ":" +
                    guesses[i].language + " ";
        }
        return told;
    };
    EXPECT_EQ(guessed("PL"), guessed("pol"));
    EXPECT_EQ(guessed("RS"), guessed("sr"));
    EXPECT_NE(guessed("PL"), guessed(nullptr));
    EXPECT_NE(guessed("PL"), guessed("RU"));
    for (const char *const unknown : {"", "P", "pl-PL", "PLN", "ZZ"}) {
        EXPECT_EQ(guessed(unknown), guessed(nullptr)) << unknown;
    }
}

TEST(InsightGuess, RanksTables) {
    zelkInsightGuess guesses[ZELK_INSIGHT_MOST_GUESSES];
    const std::string string = converted("Réalisé par un élève", "ISO-8859-1") + '\0';
    const int length = static_cast<int>(string.size()) - 1;
    const unsigned int count =
        zelkInsightGuessTables(nullptr, string.data(), length, nullptr, guesses, ZELK_INSIGHT_MOST_GUESSES);
    ASSERT_GT(count, 2U);
    EXPECT_EQ(guesses[0].table, ZelkInsightTableIso8859_1);
    EXPECT_STREQ(guesses[0].language, "fre");
    EXPECT_EQ(guesses[0].announced, 0);
    EXPECT_GT(guesses[0].confidence, 9000U);
    for (unsigned int i = 0; i + 1 < count; ++i) {
        EXPECT_GE(guesses[i].confidence, guesses[i + 1].confidence);
    }
    EXPECT_EQ(zelkInsightGuessTables(nullptr, string.data(), length, "fra", nullptr, 0), count);
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "News", 4, nullptr, guesses, 1), 1U);
    EXPECT_EQ(guesses[0].announced, 1);
    EXPECT_EQ(guesses[0].confidence, static_cast<unsigned int>(ZELK_INSIGHT_CERTAIN));
    EXPECT_EQ(zelkInsightGuessTables(nullptr, nullptr, 4, nullptr, guesses, 1), 1U);
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "\x11\x65\xB0", 3, nullptr, guesses, 1), 1U); // not doubted
    EXPECT_EQ(guesses[0].table, ZelkInsightTableTwoByte);
}

// Selectors and default codes with the numbers of their tables in zelkInsightTable.
struct Announcement {
    const char *selector;
    DvbCode_t defaultCode;
    unsigned int table;
};

const Announcement announcements[] = {
    {"", DvbCodeNone, 0},        {"", DvbCodeIso8859_1, 2},      {"", DvbCodeIso8859_9, 10},
    {"", DvbCodeIso8859_14, 14}, {"", DvbCodeUtf8, 64},          {"\x01", DvbCodeNone, 6},
    {"\x05", DvbCodeNone, 10},   {"\x0A", DvbCodeIso8859_1, 14}, {"\x15", DvbCodeNone, 64},
};

struct Hint {
    const char *code;
    std::vector<std::string> languages;
};

std::string listed(const std::vector<ModelGuess> &guesses) {
    std::string list;
    for (const ModelGuess &guess : guesses) {
        list += std::to_string(guess.table) + (guess.announced ? "=" : ":") + std::to_string(guess.confidence) + ":" +
                guess.language + " ";
    }
    return list;
}

void expectTheModels(const std::string &body, const Announcement &announcement, const Hint &hint) {
    const zelkInsightSettings settings = {DvbCharSetStandard, announcement.defaultCode, 0, 0, 0};
    const std::string string = announcement.selector + body + '\0';
    zelkInsightGuess guesses[ZELK_INSIGHT_MOST_GUESSES];
    const unsigned int count = zelkInsightGuessTables(&settings, string.data(), static_cast<int>(string.size()) - 1,
                                                      hint.code, guesses, ZELK_INSIGHT_MOST_GUESSES);
    std::vector<ModelGuess> told;
    for (unsigned int i = 0; i < count; ++i) {
        told.push_back({static_cast<unsigned int>(guesses[i].table), guesses[i].confidence, guesses[i].language,
                        guesses[i].announced != 0});
    }
    EXPECT_EQ(listed(told),
              listed(GuessModel::guesses(body, announcement.table, *announcement.selector != 0, hint.languages)))
        << testing::PrintToString(string) << " hint " << (hint.code == nullptr ? "none" : hint.code);
}

// Every guess, its confidence and its language: of the titles whole, cut, in capitals, one after another, and changed
// at random.
TEST(InsightGuess, IsTheModels) {
    const Hint hints[] = {{nullptr, {}},          {"fre", {"fre"}},       {"pol", {"pol"}},
                          {"sq", {"alb"}},        {"ces", {"cze"}},       {"CH", {"ger", "fre", "ita"}},
                          {"MK", {"mac", "alb"}}, {"XK", {"alb", "srp"}}, {"", {}}};
    std::vector<std::string> strings;
    for (const Title &title : titles()) {
        for (const char *const set : title.sets) {
            strings.push_back(converted(title.text, set));
        }
    }
    std::string all;
    for (const std::string &string : strings) {
        for (std::size_t i = 0; i < std::size(announcements); ++i) {
            expectTheModels(string, announcements[i], hints[i]);
        }
        all += string;
    }
    expectTheModels(all, announcements[0], hints[0]);
    Random random(17);
    for (int round = 0; round < 200; ++round) {
        const std::string &one = strings[random.below(static_cast<std::uint32_t>(strings.size()))];
        std::string string = one.substr(random.below(static_cast<std::uint32_t>(one.size() / 2)));
        string.resize(1 + random.below(static_cast<std::uint32_t>(string.size())));
        for (std::uint32_t changes = random.below(4); changes > 0; --changes) {
            const auto byte =
                static_cast<char>(random.below(8) == 0 ? 1 + random.below(255) : 0x80 + random.below(128));
            string[random.below(static_cast<std::uint32_t>(string.size()))] = byte;
        }
        if (string.front() < 0x20 && string.front() > 0) {
            string.front() = ' '; // no selector
        }
        if (std::all_of(string.begin(), string.end(), [](char byte) { return byte > 0; })) {
            string += '\xE9';
        }
        expectTheModels(string, announcements[random.below(std::size(announcements))],
                        hints[random.below(std::size(hints))]);
    }
}

// Characters at the limits of what a guess tells apart: controls, each sign, the first letters after a script.
TEST(InsightGuess, IsTheModelsAtLimits) {
    const std::string texts[] = {
        converted("Un élève {a} @ [b] `c`", "ISO-8859-1"),
        converted("Ein\tGruß\naus Köln\n", "ISO-8859-1"),
        "Ein Gru\xDF\x01 aus\x1F K\xF6ln\x7F",
        "Le fran\xE7"
        "ais\x0A\x0A\x0A",
        "a\xC9\x8F b\xC9\x90 c\xC9\x91o",
        "R\xC3\xA9 \xEF\xBF\xBD r\xC3\xA9 \xEF\xBF\xBE r\xC3\xA9 \xEF\xBF\xBF",
        "R\xC3\xA9 \xC4\x80 \xC3\xBF \xC4\x81",
    };
    for (const std::string &text : texts) {
        for (const Announcement &announcement : announcements) {
            expectTheModels(text, announcement, {nullptr, {}});
        }
    }
    for (unsigned int byte = 0x80; byte < 0x100; ++byte) {
        const auto sign = static_cast<char>(byte);
        for (const std::string &text :
             {std::string{'L', 'a', ' ', sign, ' ', 'm', '\xE9'}, std::string{sign, 'a', sign, 'o', ' ', '5', sign}}) {
            expectTheModels(text, announcements[0], {nullptr, {}});
        }
    }
    // The first and the last letters of a range, the signs beside them, and a letter whose last byte is a no-break
    // space in all other tables. Short texts leave a doubt.
    for (const unsigned int character : {0x80U, 0xA0U, 0xE0U, 0x36FU, 0x370U, 0x10FFU, 0x1100U, 0x303FU, 0x3040U}) {
        const std::string utf8 = utf8EncodeModel(character);
        for (const std::string &text : {utf8, "a" + utf8, utf8 + " " + utf8}) {
            for (const Announcement &announcement : announcements) {
                expectTheModels(text, announcement, {nullptr, {}});
            }
        }
    }
    // A look ends after 512 bytes: what it cuts off is no fault, what is wrong before that is one.
    for (const char *const last : {"\xFF", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xF0\x9F\x98\x80"}) {
        for (std::size_t before = 507; before <= 512; ++before) {
            std::string text = before % 2 == 0 ? "" : "a";
            while (text.size() < before) {
                text += "\xC3\xA9";
            }
            text += last;
            expectTheModels(text + "aaaa", announcements[0], {nullptr, {}});
        }
    }
}

// Each country (ISO 3166) with the languages of its broadcasts (ISO 639-2/B).
TEST(InsightGuess, KnowsTheLanguagesOfCountries) {
    const Hint countries[] = {
        {"AD", {"cat", "spa", "fre"}},
        {"AE", {"ara"}},
        {"AL", {"alb"}},
        {"AT", {"ger"}},
        {"AU", {"eng"}},
        {"BA", {"hrv", "srp"}},
        {"BE", {"dut", "fre", "ger"}},
        {"BG", {"bul"}},
        {"BR", {"por"}},
        {"BY", {"bel", "rus"}},
        {"CH", {"ger", "fre", "ita"}},
        {"CY", {"gre", "tur"}},
        {"CZ", {"cze"}},
        {"DE", {"ger"}},
        {"DK", {"dan"}},
        {"DZ", {"ara", "fre"}},
        {"EE", {"est", "rus"}},
        {"EG", {"ara"}},
        {"ES", {"spa", "cat", "glg"}},
        {"FI", {"fin", "swe"}},
        {"FR", {"fre"}},
        {"GB", {"eng"}},
        {"GR", {"gre"}},
        {"HR", {"hrv"}},
        {"HU", {"hun"}},
        {"IE", {"eng", "gle"}},
        {"IL", {"heb", "ara"}},
        {"IS", {"ice"}},
        {"IT", {"ita", "ger"}},
        {"LI", {"ger"}},
        {"LT", {"lit"}},
        {"LU", {"fre", "ger"}},
        {"LV", {"lav", "rus"}},
        {"MA", {"ara", "fre"}},
        {"MD", {"rum", "rus"}},
        {"ME", {"srp"}},
        {"MK", {"mac", "alb"}},
        {"NL", {"dut"}},
        {"NO", {"nor"}},
        {"NZ", {"eng"}},
        {"PL", {"pol"}},
        {"PT", {"por"}},
        {"RO", {"rum", "hun"}},
        {"RS", {"srp"}},
        {"RU", {"rus"}},
        {"SA", {"ara"}},
        {"SE", {"swe"}},
        {"SI", {"slv"}},
        {"SK", {"slo", "hun"}},
        {"TH", {"tha"}},
        {"TN", {"ara", "fre"}},
        {"TR", {"tur"}},
        {"UA", {"ukr", "rus"}},
        {"XK", {"alb", "srp"}},
    };
    for (const Hint &country : countries) {
        for (const char *const text : {"\xE9l\xE8", "\xD5\xE1 \xB9\xE6"}) {
            expectTheModels(text, announcements[0], country);
        }
    }
}

// Of all guesses as many as there is room for.
// All guesses of a string.
std::vector<zelkInsightGuess> guessesOf(const std::string &string, const zelkInsightSettings &settings) {
    std::vector<zelkInsightGuess> guesses(ZELK_INSIGHT_MOST_GUESSES);
    const std::string in = string + '\0';
    guesses.resize(zelkInsightGuessTables(&settings, in.data(), static_cast<int>(string.size()), nullptr,
                                          guesses.data(), ZELK_INSIGHT_MOST_GUESSES));
    return guesses;
}

TEST(InsightGuess, AnnouncedIsTheTextOfTheTable) {
    const zelkInsightSettings latin9 = {DvbCharSetIso8859_15, DvbCodeNone, 0, 0, 0};
    const std::vector<zelkInsightGuess> inRegion = guessesOf(std::string("\x10\0\0R\xE9"
                                                                         "alis\xE9",
                                                                         10),
                                                             latin9);
    ASSERT_FALSE(inRegion.empty());
    EXPECT_EQ(inRegion[0].announced, 1);
    const auto own = std::find_if(inRegion.begin(), inRegion.end(), [](const zelkInsightGuess &guess) {
        return guess.table == ZelkInsightTableLatin9Marks;
    });
    ASSERT_NE(own, inRegion.end());
    EXPECT_EQ(own->announced, 1);

    for (const char *const string : {"\xC9", "\xC2!", "\xA6", "a\xC8"}) {
        const std::vector<zelkInsightGuess> guesses = guessesOf(string, {DvbCharSetStandard, DvbCodeNone, 0, 0, 0});
        for (const zelkInsightGuess &guess : guesses) {
            EXPECT_NE(guess.table, ZelkInsightTableLatin9Marks) << "no string announces it";
            const bool other = guess.table == 9 || guess.table == ZelkInsightTableIso8859_11; // with holes there
            EXPECT_TRUE(guess.announced == 0 || !other) << guess.table;
        }
    }
}

TEST(InsightGuess, ConfidencesFall) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string string(1 + random() % 6, ' ');
        std::generate(string.begin(), string.end(), [&] { return static_cast<char>(0x20 + random() % 0xE0); });
        const std::vector<zelkInsightGuess> guesses = guessesOf(string, {DvbCharSetStandard, DvbCodeNone, 0, 0, 0});
        for (std::size_t i = 1; i < guesses.size(); ++i) {
            EXPECT_GE(guesses[i - 1].confidence, guesses[i].confidence) << testing::PrintToString(string);
        }
    }
}

TEST(InsightGuess, LeavesWhatIsAfterTheRoom) {
    const std::string text = "R\xE9"
                             "alis\xE9 par";
    for (unsigned int room = 1; room < 4; ++room) {
        zelkInsightGuess guesses[5] = {};
        ASSERT_GT(zelkInsightGuessTables(nullptr, text.data(), static_cast<int>(text.size()), nullptr, guesses, room),
                  4U);
        EXPECT_STRNE(guesses[room - 1].language, "");
        EXPECT_STREQ(guesses[room].language, "") << room;
    }
}

// Any bytes of any length: no guess goes astray, and confidences are shares.
TEST(InsightGuess, TakesAnyBytes) {
    Random random(11);
    for (int round = 0; round < 60; ++round) {
        std::string string;
        for (std::uint32_t length = random.below(round % 10 == 0 ? 1200 : 60); length > 0; --length) {
            string.push_back(static_cast<char>(random.below(256)));
        }
        zelkInsightGuess guesses[4];
        const unsigned int count =
            zelkInsightGuessTables(nullptr, (string + '\0').data(), static_cast<int>(string.size()), "eng", guesses, 4);
        ASSERT_GE(count, 1U);
        EXPECT_LE(guesses[0].confidence, static_cast<unsigned int>(ZELK_INSIGHT_CERTAIN));
        zelkInsightReason reason{};
        decodedByGuess(string, reason);
    }
}

std::string repaired(const std::string &text, zelkInsightRepaired *about = nullptr) {
    Guarded<char> out(3 * text.size() + 1);
    const unsigned int length = zelkInsightRepair(out.data(), static_cast<int>(out.size()), text.data(),
                                                  static_cast<int>(text.size()), nullptr, about);
    return {out.data(), length};
}

TEST(InsightRepair, GivesTextBack) {
    zelkInsightRepaired about{};
    EXPECT_EQ(repaired("RØalisØ par un ØlŁve de premiŁre"), "Réalisé par un élève de première");
    EXPECT_EQ(repaired("RØalisØ par le dØputØ", &about), "Réalisé par le député");
    EXPECT_EQ(about.wrong, ZelkInsightTableDefault);
    EXPECT_EQ(about.right, ZelkInsightTableIso8859_1);
    EXPECT_EQ(repaired("RÃ©alisÃ© par le dÃ©putÃ©", &about), "Réalisé par le député");
    EXPECT_EQ(about.right, ZelkInsightTableUtf8);
    for (const char *text :
         {"Réalisé par le député", "News at ten", "A", "", "新聞", "Drømmen om København og Århus"}) {
        EXPECT_EQ(repaired(text, &about), text);
        EXPECT_EQ(about.confidence, 0U) << text;
    }
    const std::string longText(5000, 'a');
    EXPECT_EQ(repaired(longText), longText);
    char one[1];
    EXPECT_EQ(zelkInsightRepair(one, 1, nullptr, 5, nullptr, nullptr), 0U);
}

// The text of bytes by a set of the system, as whoever takes them for that set shows it.
std::string readBy(const std::string &bytes, const std::string &set) {
    const reference::Set codes = reference::systemSet(set);
    std::string text;
    for (const char byte : bytes) {
        text += utf8EncodeModel(codes[static_cast<unsigned char>(byte)]);
    }
    return text;
}

// From each table that texts are wrongly read with.
TEST(InsightRepair, KnowsWrongTables) {
    struct Misread {
        const char *text;
        const char *sent;
        const char *read;
        unsigned int right; // by the numbers of zelkInsightTable
        unsigned int wrong;
    };
    const Misread all[] = {
        {"Güneşin doğduğu şehir ve çocukları", "ISO-8859-9", "ISO-8859-1", 10, 2},
        {"Það er gaman að þekkja söguna", "ISO-8859-1", "ISO-8859-9", 2, 10},
        {"Późny październik i dźwięk źródła", "ISO-8859-2", "ISO-8859-15", 3, 15},
        {"La pièce où le père à côté rêve", "ISO-8859-1", "ISO-8859-2", 2, 3},
        {"Новости дня и погода на завтра", "CP1251", "ISO-8859-5", 33, 6},
        {"Der kühne Räuber und die schöne Müllerin", "ISO-8859-1", "ISO-8859-7", 2, 8},
        {"Où est né le père", "ISO-8859-1", "ISO-8859-7", 2, 8},
    };
    for (const Misread &one : all) {
        zelkInsightRepaired about{};
        const std::string wrong = readBy(converted(one.text, one.sent), one.read);
        ASSERT_NE(wrong, one.text);
        EXPECT_EQ(repaired(wrong, &about), one.text) << wrong;
        EXPECT_EQ(static_cast<unsigned int>(about.wrong), one.wrong) << wrong;
        EXPECT_EQ(static_cast<unsigned int>(about.right), one.right) << wrong;
        EXPECT_GE(about.confidence, 7000U);
        EXPECT_EQ(about.confidence,
                  GuessModel::guesses(converted(one.text, one.sent), one.wrong, false, {}).front().confidence);
    }
}

// Up to the length that is stated, and into any room.
TEST(InsightRepair, TakesTheLongestTextAndAnyRoom) {
    const std::string wrong = "RØalisØ par le dØputØ ";
    const std::string right = "Réalisé par le député ";
    std::string longest;
    std::string expected;
    while (longest.size() + wrong.size() <= ZELK_INSIGHT_LONGEST_REPAIR) {
        longest += wrong;
        expected += right;
    }
    expected.resize(expected.size() + ZELK_INSIGHT_LONGEST_REPAIR - longest.size(), '.');
    longest.resize(ZELK_INSIGHT_LONGEST_REPAIR, '.');
    EXPECT_EQ(repaired(longest), expected);
    EXPECT_EQ(repaired(longest + "."), longest + ".");
    for (int room = 1; room <= static_cast<int>(right.size()) + 1; ++room) {
        Guarded<char> out(static_cast<std::size_t>(room));
        const unsigned int length =
            zelkInsightRepair(out.data(), room, wrong.data(), static_cast<int>(wrong.size()), nullptr, nullptr);
        // What fits of whole characters.
        std::size_t fits = 0;
        for (std::size_t i = 0; i <= right.size() && static_cast<int>(i) < room; ++i) {
            fits = i == right.size() || (static_cast<unsigned char>(right[i]) & 0xC0U) != 0x80 ? i : fits;
        }
        EXPECT_EQ(std::string(out.data(), length), right.substr(0, fits)) << room;
    }
}

TEST(InsightGuess, CountsWithoutAnArray) {
    const std::string text = "R\xE9"
                             "alis\xE9 par";
    zelkInsightGuess guesses[ZELK_INSIGHT_MOST_GUESSES];
    const int count = static_cast<int>(text.size());
    const unsigned int all =
        zelkInsightGuessTables(nullptr, text.data(), count, nullptr, guesses, ZELK_INSIGHT_MOST_GUESSES);
    EXPECT_EQ(zelkInsightGuessTables(nullptr, text.data(), count, nullptr, nullptr, ZELK_INSIGHT_MOST_GUESSES), all);
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "\x11\0A", 3, nullptr, nullptr, 4), 1U);
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "News", 4, nullptr, nullptr, 4), 1U);
    EXPECT_EQ(zelkInsightGuessTables(nullptr, nullptr, 4, nullptr, guesses, 4), 1U);
    guesses[0].table = ZelkInsightTableUtf8;
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "\x11\0A", 3, nullptr, guesses, 0), 1U);
    EXPECT_EQ(guesses[0].table, ZelkInsightTableUtf8); // no room, nothing written
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "\x11\0A", 3, nullptr, guesses, 1), 1U);
    EXPECT_EQ(guesses[0].table, ZelkInsightTableTwoByte);
    EXPECT_EQ(guesses[0].confidence, static_cast<unsigned int>(ZELK_INSIGHT_CERTAIN));
    EXPECT_EQ(zelkInsightGuessTables(nullptr, "News", 4, nullptr, guesses, 0), 1U);
    const zelkInsightSettings settings = {DvbCharSetStandard, DvbCodeIso8859_1, 0, 0, 0};
    ASSERT_NE(zelkInsightGuessTables(&settings, text.data(), count, nullptr, guesses, ZELK_INSIGHT_MOST_GUESSES), 0U);
    EXPECT_EQ(guesses[0].table, ZelkInsightTableIso8859_1);
    EXPECT_EQ(guesses[0].announced, 1);
}

// UTF-8 is looked at as far as a guess looks: a letter that is cut there speaks against nothing, and more different
// letters than are numbered are counted all the same.
TEST(InsightGuess, TakesLongUtf8) {
    std::string accents = "a";
    while (accents.size() < 700) {
        accents += "é";
    }
    std::string different;
    for (char letter = 0x20; letter < 0x7F; ++letter) {
        different += letter;
    }
    for (unsigned int lead = 0xC3; lead < 0xC8; ++lead) {
        for (unsigned int last = 0x80; last < 0xC0; ++last) {
            different += {static_cast<char>(lead), static_cast<char>(last)};
        }
    }
    for (const std::string &text : {accents, different}) {
        zelkInsightGuess guess{};
        (void)zelkInsightGuessTables(nullptr, text.data(), static_cast<int>(text.size()), nullptr, &guess, 1);
        EXPECT_EQ(guess.table, ZelkInsightTableUtf8) << text;
    }
}

TEST(InsightRepair, TakesTextWithoutACount) {
    char out[64];
    EXPECT_EQ(zelkInsightRepair(out, sizeof out, "RØalisØ par Francis Veber", -1, "fre", nullptr), 27U);
    EXPECT_STREQ(out, "Réalisé par Francis Veber");
    EXPECT_EQ(zelkInsightRepair(out, sizeof out, nullptr, -1, "fre", nullptr), 0U);
    EXPECT_EQ(zelkInsightRepair(out, sizeof out, "RØalisØ par Francis Veber", 0, "fre", nullptr), 0U);
    EXPECT_EQ(zelkInsightRepair(out, sizeof out, "RØalisØ\0 par", 14, "fre", nullptr), 9U); // the zero ends it
}

} // namespace
