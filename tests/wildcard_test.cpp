// Wildcard patterns against a recursive matcher that tries everything, and comparison without control characters.
#include "zelk.h"

#include "helpers/text.h"

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

using Function = int (*)(const char *, const char *);

struct Variant {
    const char *name;
    Function match;
    bool ignoreCase;
    bool ignoreControls;
};

const Variant variants[] = {
    {"plain", zelk_patternWildcardMatch, false, false},
    {"case", zelk_patternWildcardMatchIgnoreCase, true, false},
    {"controls", zelk_patternWildcardMatchIgnoreControlChars, false, true},
    {"case and controls", zelk_patternWildcardMatchIgnoreCaseAndControlChars, true, true},
};

bool isControl(char character) {
    const int low = character & 0x7F;
    return low < 0x20 || low == 0x7F;
}

// Tries every place for every star, by recursion: exponential, and as plain as the rules can be written.
class Model {
public:
    Model(bool ignoreCase, bool ignoreControls) : ignoreCase_(ignoreCase), ignoreControls_(ignoreControls) {}

    int match(const char *text, const char *pattern) const {
        for (;;) {
            text = skip(text);
            pattern = skip(pattern);
            if (*text == 0) {
                return byteBehindStars(pattern);
            }
            if (*pattern == '*') {
                break;
            }
            if (*pattern != '?') {
                const int difference = fold(*text) - fold(*pattern);
                if (difference != 0) {
                    return difference;
                }
            }
            ++text;
            ++pattern;
        }
        const char *wanted = skip(pattern + 1);
        for (; *text != 0; text = skip(text + 1)) {
            if (fold(*text) == fold(*wanted) && match(text, wanted) == 0) {
                return 0;
            }
        }
        return *wanted == '*' ? byteBehindStars(wanted) : static_cast<unsigned char>(*wanted);
    }

    int compare(const char *a, const char *b) const {
        int difference = 0;
        while (*a != 0 && difference == 0) {
            b = skip(b);
            a = skip(a);
            if (*a == 0) {
                break;
            }
            difference = fold(*a) - fold(*b);
            ++a;
            b += *b == 0 ? 0 : 1;
        }
        return difference != 0 ? difference : static_cast<unsigned char>(*skip(b));
    }

private:
    const char *skip(const char *at) const {
        while (ignoreControls_ && *at != 0 && isControl(*at)) {
            ++at;
        }
        return at;
    }
    int fold(char character) const {
        const int byte = static_cast<unsigned char>(character);
        return ignoreCase_ && byte >= 'A' && byte <= 'Z' ? byte + 'a' - 'A' : byte;
    }
    int byteBehindStars(const char *pattern) const {
        while (*pattern == '*') {
            pattern = skip(pattern + 1);
        }
        return static_cast<unsigned char>(*pattern);
    }

    bool ignoreCase_;
    bool ignoreControls_;
};

void expectAllAsModel(const Variant &variant, const std::vector<std::string> &texts,
                      const std::vector<std::string> &patterns) {
    const Model model(variant.ignoreCase, variant.ignoreControls);
    for (const std::string &text : texts) {
        for (const std::string &pattern : patterns) {
            const int expected = model.match(text.c_str(), pattern.c_str());
            const int result = variant.match(text.c_str(), pattern.c_str());
            if (result != expected) {
                FAIL() << variant.name << ": " << testing::PrintToString(text) << " against "
                       << testing::PrintToString(pattern) << " gives " << result << ", not " << expected;
            }
        }
    }
}

double secondsOf(Function match, const std::string &text, const std::string &pattern, bool matches) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(match(text.c_str(), pattern.c_str()) == 0, matches);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(WildcardMatch, Stars) {
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "a*c"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "*"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "*abc*"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("abcabc", "*bc"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("aXbXc", "a*X*c"), 0);
    EXPECT_NE(zelk_patternWildcardMatch("abc", "*b"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("", "***"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("", ""), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("abab", "*ab*ab"), 0);
    EXPECT_NE(zelk_patternWildcardMatch("aba", "ab*ba"), 0) << "head and tail overlap";
}

TEST(WildcardMatch, QuestionMarkIsAnyOneByte) {
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "a?c"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("\xFF", "?"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("", "?"), '?');
    EXPECT_EQ(zelk_patternWildcardMatch("abcd", "*b?d"), 0);
}

TEST(WildcardMatch, ResultIsTheByteThatDiffersOrIsLeftOver) {
    EXPECT_EQ(zelk_patternWildcardMatch("", "a"), 'a');
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "ab"), 'c');
    EXPECT_EQ(zelk_patternWildcardMatch("ab", "abc"), 'c');
    EXPECT_EQ(zelk_patternWildcardMatch("\xFF", "\x01"), 0xFE);
    EXPECT_EQ(zelk_patternWildcardMatch("\x01", "\xFF"), -0xFE);
    EXPECT_EQ(zelk_patternWildcardMatch("ab", "a*c"), 'c');
    EXPECT_EQ(zelk_patternWildcardMatch("", "**c"), 'c');
}

TEST(WildcardMatch, ByteBehindAStarStandsForItself) {
    EXPECT_NE(zelk_patternWildcardMatch("abc", "**c"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("ab*c", "**c"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("a*bc", "**c"), 0) << "a star that was found is a wildcard again";
    EXPECT_EQ(zelk_patternWildcardMatch("ab*c", "****c"), 0) << "one star of the text serves the whole row";
    EXPECT_NE(zelk_patternWildcardMatch("ab", "*?"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("a?b", "*?b"), 0);
    EXPECT_EQ(zelk_patternWildcardMatch("a?xb", "*??b"), 0) << "only the first question mark is literal";
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "**"), 0) << "stars at the end match the rest";
    EXPECT_EQ(zelk_patternWildcardMatch("abc", "ab***"), 0);
}

TEST(WildcardMatch, IgnoreCase) {
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreCase("ABC", "a*c"), 0);
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreCase("xYzzY", "*ZZ?"), 0);
    EXPECT_NE(zelk_patternWildcardMatch("ABC", "a*c"), 0);
    EXPECT_NE(zelk_patternWildcardMatchIgnoreCase("[", "{"), 0);
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreCase("B", "A"), 1);
}

TEST(WildcardMatch, IgnoreControlCharacters) {
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreControlChars("a\tb\x85"
                                                          "c\x7F",
                                                          "\x01"
                                                          "a*\x9F"
                                                          "c\xFF"),
              0);
    EXPECT_NE(zelk_patternWildcardMatchIgnoreControlChars("a\t", "a?"), 0) << "a control is not a byte to match";
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreControlChars("ab*c", "*\t*\tc"), 0) << "a row of stars, controls inside";
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreControlChars("\t\n", ""), 0);
    EXPECT_NE(zelk_patternWildcardMatchIgnoreControlChars("ABC", "a*c"), 0);
    EXPECT_EQ(zelk_patternWildcardMatchIgnoreCaseAndControlChars("A\x80"
                                                                 "BC",
                                                                 "a*c"),
              0);
}

TEST(WildcardMatch, EveryByteIsControlByItsLowSevenBits) {
    for (int byte = 1; byte < 256; ++byte) {
        const char text[] = {'a', static_cast<char>(byte), 'b', 0};
        EXPECT_EQ(zelk_patternWildcardMatchIgnoreControlChars(text, "ab") == 0, isControl(static_cast<char>(byte)))
            << byte;
        EXPECT_NE(zelk_patternWildcardMatch(text, "ab"), 0) << byte;
        EXPECT_EQ(zelk_patternCompareIgnoreControlChars(text, "ab") == 0, isControl(static_cast<char>(byte))) << byte;
    }
}

TEST(WildcardMatch, EveryPairOfBytesByTheLowerCaseTable) {
    for (int a = 1; a < 256; ++a) {
        for (int b = 1; b < 256; ++b) {
            if (b == '*' || b == '?') {
                continue;
            }
            const char text[] = {static_cast<char>(a), 0};
            const char pattern[] = {static_cast<char>(b), 0};
            EXPECT_EQ(zelk_patternWildcardMatch(text, pattern), a - b);
            EXPECT_EQ(zelk_patternWildcardMatchIgnoreCase(text, pattern), std::tolower(a) - std::tolower(b));
        }
    }
}

#if defined(__GLIBC__)
// While it lives, this thread's C library has other character tables, as in a locale where 0xDD is the capital of i, in
// which the letter x is a control.
class OtherCharacterTables {
public:
    OtherCharacterTables() {
        for (int code = -128; code < 256; ++code) {
            lower_[code + 128] = ownLower_[code];
            classes_[code + 128] = ownClasses_[code];
        }
        lower_[0xDD + 128] = 'i';
        classes_['x' + 128] = _IScntrl;
        *__ctype_tolower_loc() = lower_ + 128;
        *__ctype_b_loc() = classes_ + 128;
    }
    ~OtherCharacterTables() {
        *__ctype_tolower_loc() = ownLower_;
        *__ctype_b_loc() = ownClasses_;
    }
    OtherCharacterTables(const OtherCharacterTables &) = delete;
    OtherCharacterTables &operator=(const OtherCharacterTables &) = delete;

private:
    const std::int32_t *ownLower_ = *__ctype_tolower_loc();
    const unsigned short *ownClasses_ = *__ctype_b_loc();
    std::int32_t lower_[384];
    unsigned short classes_[384];
};

TEST(WildcardMatch, CaseAndControlsAreThoseOfTheLocale) {
    const char *const capital = "a\xDD";
    const char *const withX = "axi\xF8"; // 0xF8 is x by its low seven bits
    int results[8];
    {
        const OtherCharacterTables tables;
        results[0] = zelk_patternWildcardMatchIgnoreCase(capital, "*i");
        results[1] = zelk_patternWildcardMatchIgnoreCaseAndControlChars(capital, "A*xi");
        results[2] = zelk_patternCompareIgnoreCaseAndControlChars(capital, "AI");
        results[3] = zelk_patternWildcardMatchIgnoreControlChars(withX, "a?");
        results[4] = zelk_patternCompareIgnoreControlChars(withX, "ai");
        results[5] = zelk_patternWildcardMatch(capital, "ai");
        results[6] = zelk_patternWildcardMatch(withX, "ai");
        results[7] = zelk_patternWildcardMatchIgnoreCase(withX, "ai");
    }
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(results[i] == 0, i < 5) << i;
    }
    EXPECT_NE(zelk_patternWildcardMatchIgnoreCase(capital, "*i"), 0);
    EXPECT_NE(zelk_patternCompareIgnoreControlChars(withX, "ai"), 0);
}
#endif

// The two facts the single pass rests on, the odd star rules included, are put to the proof on every short input.
TEST(WildcardMatch, AllShortInputsAsTheRecursiveMatcher) {
    const auto texts = allStrings("ab*?", 5);
    const auto patterns = allStrings("ab*?", 6);
    expectAllAsModel(variants[0], texts, patterns);
}

TEST(WildcardMatch, AllShortInputsWithCaseAndControls) {
    const auto texts = allStrings("aA*?\x01\x80\xFF", 3);
    const auto patterns = allStrings("aA*?\x01\x80\xFF", 3);
    const auto longerTexts = allStrings("aA*?\x85", 4);
    for (const Variant &variant : variants) {
        expectAllAsModel(variant, texts, patterns);
        expectAllAsModel(variant, longerTexts, longerTexts);
    }
}

TEST(WildcardMatch, LongPatternsOverOneLetter) {
    const auto texts = allStrings("a*", 7);
    const auto patterns = allStrings("a*?", 7);
    expectAllAsModel(variants[0], texts, patterns);
}

TEST(WildcardMatch, RandomInputsAsTheRecursiveMatcher) {
    const std::string alphabet = "aAbB**??\t\x85\xFF\x41z";
    Random random(63);
    const auto draw = [&](std::uint32_t longest) {
        std::string result(random.below(longest + 1), 'a');
        const auto letters = 2 + random.below(static_cast<std::uint32_t>(alphabet.size()) - 1);
        for (char &character : result) {
            character = alphabet[random.below(letters)];
        }
        return result;
    };
    for (int i = 0; i < 60'000; ++i) {
        const std::vector<std::string> text{draw(14)};
        const std::vector<std::string> pattern{draw(11)};
        for (const Variant &variant : variants) {
            expectAllAsModel(variant, text, pattern);
        }
    }
}

TEST(WildcardMatch, TimeDoesNotExplode) {
    for (const Variant &variant : variants) {
        for (const std::size_t length : {30U, 1'000U, 100'000U}) {
            const std::string text(length, 'a');
            EXPECT_LT(secondsOf(variant.match, text, "a*a*a*a*a*b", false), 1.0) << variant.name;
            EXPECT_LT(secondsOf(variant.match, text, "a*a*a*a*a*b*a", false), 1.0) << variant.name;
            EXPECT_LT(secondsOf(variant.match, text, "*a?a*a??a*a*", true), 1.0) << variant.name;
            EXPECT_LT(secondsOf(variant.match, text + "b", "*ab", true), 1.0) << variant.name;
        }
    }
}

TEST(WildcardMatch, StackDoesNotGrow) {
    const std::string stars(100'000, '*');
    std::string pairs;
    for (int i = 0; i < 50'000; ++i) {
        pairs += "*a";
    }
    for (const Variant &variant : variants) {
        EXPECT_EQ(variant.match("", stars.c_str()), 0);
        EXPECT_EQ(variant.match("text", stars.c_str()), 0);
        EXPECT_EQ(variant.match("text", (stars + "t").c_str()), 't');
        EXPECT_EQ(variant.match("te*xt", (stars + "t").c_str()), 0);
        EXPECT_EQ(variant.match(std::string(50'000, 'a').c_str(), pairs.c_str()), 0);
        EXPECT_EQ(variant.match(std::string(49'999, 'a').c_str(), pairs.c_str()), 'a');
    }
}

TEST(WildcardCompare, ControlCharactersDoNotCount) {
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("a\tb", "ab"), 0);
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("a\x85"
                                                    "b",
                                                    "ab"),
              0);
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("ab", "a\xFF"
                                                          "b\x80"),
              0);
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("\t", ""), 0);
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("a*", "ab"), '*' - 'b') << "no wildcards";
    EXPECT_NE(zelk_patternCompareIgnoreControlChars("AB", "ab"), 0);
    EXPECT_EQ(zelk_patternCompareIgnoreCaseAndControlChars("A\x01"
                                                           "B",
                                                           "ab"),
              0);
}

TEST(WildcardCompare, APrefixIsPositiveInBothOrders) {
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("ab", "abc"), 'c');
    EXPECT_EQ(zelk_patternCompareIgnoreControlChars("abc", "ab"), 'c');
    EXPECT_EQ(zelk_patternCompareIgnoreCaseAndControlChars("AB", "ab\tc"), 'c');
}

TEST(WildcardCompare, AllShortInputsAsTheModel) {
    const auto texts = allStrings("aAb*\x01\x85\xFF", 3);
    const Model exact(false, true);
    const Model anyCase(true, true);
    for (const std::string &a : texts) {
        for (const std::string &b : texts) {
            ASSERT_EQ(zelk_patternCompareIgnoreControlChars(a.c_str(), b.c_str()), exact.compare(a.c_str(), b.c_str()));
            ASSERT_EQ(zelk_patternCompareIgnoreCaseAndControlChars(a.c_str(), b.c_str()),
                      anyCase.compare(a.c_str(), b.c_str()));
        }
    }
}

} // namespace
