// The kernels of wildcard patterns, each instruction set's own, against a matcher that fills a table of all places of
// text and pattern: every short pair, every length and alignment, both strings right beside unreadable pages.
#include "helpers/guard_pages.h"
#include "helpers/kernel_sets.h"
#include "helpers/text.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace zelk;
using namespace zelk_test;

using SmallLetters = std::array<int, 256>;

constexpr SmallLetters noLetters = [] {
    SmallLetters letters{};
    for (int code = 0; code < 256; ++code) {
        letters[static_cast<std::size_t>(code)] = code;
    }
    return letters;
}();

constexpr SmallLetters asciiLetters = [] {
    SmallLetters letters = noLetters;
    for (int code = 'A'; code <= 'Z'; ++code) {
        letters[static_cast<std::size_t>(code)] = code + 'a' - 'A';
    }
    return letters;
}();

// As in Turkish: pairs in both halves of the table, and two that cross from one to the other.
constexpr SmallLetters turkishLetters = [] {
    SmallLetters letters = asciiLetters;
    for (int code = 0xC0; code <= 0xDE; ++code) {
        letters[static_cast<std::size_t>(code)] = code + 0x20;
    }
    letters['I'] = 0xFD;
    letters[0xDD] = 'i';
    return letters;
}();

// As in Western Europe: ASCII's own letters, and pairs in the other half.
constexpr SmallLetters latinLetters = [] {
    SmallLetters letters = asciiLetters;
    for (int code = 0xC0; code <= 0xDE; ++code) {
        letters[static_cast<std::size_t>(code)] = code + 0x20;
    }
    return letters;
}();

// As nowhere: bytes of the other half that are letters of ASCII, and others that are.
constexpr SmallLetters accentedLetters = [] {
    SmallLetters letters = latinLetters;
    letters[0xC1] = letters[0xE1] = 'a';
    letters[0xC9] = letters[0xE9] = 'e';
    return letters;
}();

constexpr SmallLetters strangeLetters = [] {
    SmallLetters letters = asciiLetters;
    letters['@'] = 'a';
    letters[0x01] = 'n';
    letters['E'] = 'E';
    return letters;
}();

std::string folded(std::string text, const SmallLetters &letters) {
    for (char &byte : text) {
        byte = static_cast<char>(letters[static_cast<unsigned char>(byte)]);
    }
    return text;
}

// matches[t] for one place of the pattern after the other, from the last: the text from t on matches the pattern from
// there on. The byte after a star is looked for as it is; stars at the end match any rest. Both are folded already.
bool matchesByTable(const std::string &text, const std::string &pattern) {
    const std::size_t lastStars = pattern.find_last_not_of('*') + 1;
    std::vector<char> behind(text.size() + 1);
    behind.back() = 1;
    for (std::size_t p = pattern.size(); p-- > 0;) {
        std::vector<char> matches(text.size() + 1);
        matches.back() = p >= lastStars;
        for (std::size_t t = text.size(); t-- > 0;) {
            if (pattern[p] != '*') {
                matches[t] = (pattern[p] == '?' || pattern[p] == text[t]) && behind[t + 1] != 0;
            } else if (p + 1 == pattern.size()) {
                matches[t] = 1;
            } else {
                matches[t] = matches[t + 1] != 0 || (pattern[p + 1] == text[t] && behind[t] != 0);
            }
        }
        behind = matches;
    }
    return behind[0] != 0;
}

// What differs in front of the first star; after it, the byte that is wanted there.
int expectedResult(const std::string &text, const std::string &pattern, const SmallLetters &letters) {
    const auto code = [](const std::string &string, std::size_t at) {
        return at < string.size() ? static_cast<unsigned char>(string[at]) : static_cast<unsigned char>(0);
    };
    std::size_t at = 0;
    for (; at < text.size() && code(pattern, at) != '*'; ++at) {
        const std::size_t left = code(text, at);
        const std::size_t right = code(pattern, at);
        if (right != '?' && letters[left] != letters[right]) {
            return letters[left] - letters[right];
        }
    }
    if (matchesByTable(folded(text, letters), folded(pattern, letters))) {
        return 0;
    }
    const std::size_t wanted = pattern.find_first_not_of('*', at);
    return wanted == std::string::npos ? 0 : code(pattern, wanted);
}

// Text and pattern each `distance` bytes in front of an unreadable page, with what would match after the terminators,
// or right after one.
class Sides {
public:
    void expectAsModel(const std::string &text, const std::string &pattern, std::size_t textDistance = 0,
                       std::size_t patternDistance = 0) {
        const auto where = [&] {
            return testing::PrintToString(text) + " against " + testing::PrintToString(pattern) + ", " +
                   std::to_string(textDistance) + " and " + std::to_string(patternDistance) + " bytes from the page";
        };
        const int exact = expectedResult(text, pattern, noLetters);
        const SmallLetters *const others[] = {&latinLetters, &accentedLetters, &strangeLetters};
        const SmallLetters *const tables[] = {&asciiLetters, &turkishLetters, others[round_ % std::size(others)]};
        int anyCase[std::size(tables)];
        for (std::size_t i = 0; i < std::size(tables); ++i) {
            anyCase[i] = expectedResult(text, pattern, *tables[i]);
        }
        ++round_;
        const char *left = place(text_, text, textDistance, round_ % 4 == 0);
        const char *right = place(pattern_, pattern, patternDistance, round_ % 7 == 0);
        for (const kernels::Candidate &set : sets_) {
            expectAnswer(set, set.kernels->matchWildcards(left, right), exact, where);
            for (std::size_t i = 0; i < std::size(tables); ++i) {
                expectAnswer(set, set.kernels->matchWildcardsInAnyCase(left, right, tables[i]->data()), anyCase[i],
                             where);
            }
        }
    }

    // No kernel by vectors leaves the pair to the rule.
    void expectTaken(const std::string &text, const std::string &pattern) {
        const char *left = place(text_, text, 0, false);
        const char *right = place(pattern_, pattern, 0, false);
        for (const kernels::Candidate &set : sets_) {
            if (std::string(set.name) != "portable") {
                ASSERT_NE(set.kernels->matchWildcards(left, right), kernels::notTaken) << set.name << text << pattern;
                ASSERT_NE(set.kernels->matchWildcardsInAnyCase(left, right, asciiLetters.data()), kernels::notTaken)
                    << set.name << text << pattern;
            }
        }
    }

private:
    template <class Where>
    static void expectAnswer(const kernels::Candidate &set, int answer, int expected, Where where) {
        if (answer != kernels::notTaken) {
            ASSERT_EQ(answer, expected) << set.name << ' ' << where();
        }
    }

    static const char *place(GuardPages &pages, const std::string &string, std::size_t distance, bool atFront) {
        std::string bytes = string;
        bytes.push_back(0);
        if (atFront) {
            return reinterpret_cast<const char *>(pages.atFront(bytes));
        }
        for (std::size_t i = 0; i < distance; ++i) {
            bytes.push_back(string.empty() ? 'a' : string[i % string.size()]);
        }
        return reinterpret_cast<const char *>(pages.atBack(bytes));
    }

    GuardPages text_{8192};
    GuardPages pattern_{8192};
    std::vector<kernels::Candidate> sets_ = kernelSets();
    std::size_t round_ = 0;
};

TEST(WildcardKernels, EveryShortPair) {
    Sides sides;
    for (const std::string &text : allStrings("ab*?", 4)) {
        for (const std::string &pattern : allStrings("ab*?", 4)) {
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, pattern, text.size() * 40 % 64, pattern.size()));
        }
    }
    for (const std::string &text : allStrings("aAiI\xDD\xFD", 3)) {
        for (const std::string &pattern : allStrings("aAI\xDD*?", 3)) {
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, pattern));
        }
    }
}

TEST(WildcardKernels, EveryPairOfBytes) {
    Sides sides;
    for (int a = 1; a < 256; ++a) {
        for (int b = 1; b < 256; ++b) {
            const std::string text = {'x', static_cast<char>(a), 'z'};
            const std::string byte(1, static_cast<char>(b));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "x" + byte + "z"));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + byte + "*"));
            if ((a - b) % 4 == 0) {
                ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*x" + byte + "z"));
            }
        }
    }
}

// What most patterns are: literals, one star at either end, a few parts between stars.
TEST(WildcardKernels, WhatIsTaken) {
    Sides sides;
    for (const std::string pattern : {"News*", "*headlines", "*Evening*", "*News*lines*", "The*head*s", "nothing*"}) {
        for (const std::string text : {"The Evening News headlines", "headlines", "News"}) {
            ASSERT_NO_FATAL_FAILURE(sides.expectTaken(text, pattern));
            ASSERT_NO_FATAL_FAILURE(sides.expectTaken(std::string(100, ' ') + text, pattern));
        }
    }
}

// The part lies at every place over three blocks, or breaks off with the text; texts and patterns end at every distance
// from their pages' ends.
TEST(WildcardKernels, EveryPlaceOfAPart) {
    Sides sides;
    for (const std::string part : {"q", "needle", "ne?dle", "a?", "n?????????????????e", "?aaaa"}) {
        for (std::size_t before = 0; before < 200; ++before) {
            std::string text = std::string(before, before % 3 == 0 ? 'n' : 'a') + part;
            const std::size_t distance = before % 70;
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part + "*", distance, distance / 2));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part, distance, 64 - distance % 64));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part + "e*"));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "?*" + part + "e", 1, distance));
            text += std::string(before / 2, 'e');
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part + "*e*", distance, 0));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part, distance, 63));
            text.back() = '\xE9';
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part + "*\xC9", distance, 0));
        }
    }
}

// Texts and patterns that go on from one page to the next.
TEST(WildcardKernels, TextsOverTwoPages) {
    Sides sides;
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (std::size_t before = 0; before < 130; before += 1 + before / 8) {
        const std::string text = std::string(before, 'n') + "NeEdle @n\x01\xC9?" + std::string(90, 'e') + "Tail";
        const std::size_t distance = page - 130;
        for (const std::string pattern : {"*needle*", "*eedl*TAIL", "*n\x01*", "*@*?*", "*\xE9?*", "*eeeeeeee*ail"}) {
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, pattern, distance, page - before % 20));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, text.substr(0, before) + pattern, distance, distance));
        }
        ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + text.substr(before), distance, page - before % 130));
        ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, text + "*", distance, page - before));
    }
}

TEST(WildcardKernels, EveryLengthOfHeadPartAndTail) {
    Sides sides;
    for (std::size_t length = 1; length < 200; length += 1 + length / 40) {
        std::string word(length, 'a');
        for (std::size_t i = 0; i < length; i += 7) {
            word[i] = static_cast<char>('A' + i % 26);
        }
        const std::string text = "begin" + word + "end";
        for (const std::size_t distance : {std::size_t{0}, length % 64}) {
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "begin" + word + "*", distance, distance));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "begin" + word + "end", distance, 0));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + word + "*", distance, 0));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + word + "end", 0, distance));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "b*" + word + "?nd", 0, distance));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + word + "begin", 0, distance));
            ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text + text, "*" + word + "*" + word + "e*", distance, 0));
        }
    }
}

std::string drawn(Random &random, const std::string &alphabet, std::size_t length) {
    std::string result(length, ' ');
    for (char &byte : result) {
        byte = alphabet[random.below(static_cast<std::uint32_t>(alphabet.size()))];
    }
    return result;
}

// Parts of two letters over the end of the first block, among many places that look like theirs.
TEST(WildcardKernels, PartsOverTheEndOfABlock) {
    Sides sides;
    Random random(81);
    for (int round = 0; round < 1'500; ++round) {
        const std::string part = drawn(random, "ne", 2 + random.below(22));
        const std::string text = drawn(random, "ne", 40 + random.below(26)) + part + drawn(random, "ne", 60);
        ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*" + part + "*"));
        ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, "*n*" + part + "*" + part));
    }
}

// Texts of few letters, in which parts fit nearly everywhere.
TEST(WildcardKernels, RandomPairs) {
    Sides sides;
    Random random(82);
    const std::vector<std::string> alphabets = {"a",          "ab",      "aA",         "abc*",
                                                "aA\xC1\xE1", "aA@\xC1", "iI\xDD\xFD", "abcdefgh ?"};
    for (int round = 0; round < 5'000; ++round) {
        const std::string &alphabet = alphabets[random.below(static_cast<std::uint32_t>(alphabets.size()))];
        const std::string text = drawn(random, alphabet, random.below(random.chance(70) ? 70 : 250));
        std::string pattern;
        for (std::uint32_t parts = random.below(6); parts > 0; --parts) {
            const std::size_t from = random.below(static_cast<std::uint32_t>(text.size()) + 1);
            pattern +=
                random.chance(60) ? text.substr(from, random.below(90)) : drawn(random, alphabet, random.below(10));
            for (char &byte : pattern) {
                byte = random.chance(3) ? '?' : byte;
            }
            pattern += random.chance(90) ? "*" : random.chance(50) ? "**" : "";
        }
        ASSERT_NO_FATAL_FAILURE(sides.expectAsModel(text, pattern, random.below(100), random.below(100)));
    }
}

} // namespace
