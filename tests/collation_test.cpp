// Collation: the keys that callers know, the facts of the whole table as the interface shows them, and the comparison
// against a plain model over random and adversarial texts.
#include "helpers/text.h"
#include "reference/collation_model.h"
#include "zelk.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace zelk_test;

constexpr unsigned int lastCollated = 0x215E;

// The keys that are fixed, in the order of their code points' families.
const std::map<unsigned int, std::uint32_t> &knownKeys() {
    static const std::map<unsigned int, std::uint32_t> keys = [] {
        std::map<unsigned int, std::uint32_t> map = {
            {'#', 0x01000000},    {'$', 0x02000000},    {'&', 0x03000000},    {'*', 0x04000000},
            {'@', 0x0F000000},    {0x00A7, 0x10000000}, {0x00B0, 0x11000000}, {0x00B6, 0x12000000},
            {0x00B9, 0x06010000}, {0x00B2, 0x07010000}, {0x00B3, 0x08030000}, {'%', 0x05010030},
            {0x00BA, 0x27010165}, {0x00BC, 0x06030034}, {0x00BD, 0x06020032}, {0x00BE, 0x08010034},
            {0x00DF, 0x2C000373}, {0x0132, 0x2101006A}, {0x0133, 0x2101016A}, {0x0152, 0x27010065},
            {0x0153, 0x27010165}, {0x03BF, 0x27010165}, {0x043E, 0x27010165}, {0x2030, 0x05020030},
            {0x2116, 0x2601006F}, {0x215B, 0x06040038}, {0x215C, 0x08020038}, {0x215D, 0x0A010038},
            {0x215E, 0x0C010038}, {0x00A2, 0x16000100}, {0x00A9, 0x16000100}, {0x00A3, 0x24000000},
            {0x00A4, 0x1B000000}, {0x00A5, 0x3B000000}, {0x00AE, 0x2B000100}, {0x00AA, 0x13000100},
            {0x00B5, 0x25000100}, {0x20AC, 0x1B000000}, {0x2122, 0x2F080000}, {'n', 0x26010100},
            {0x0391, 0x13000000}, {0x0410, 0x13000000}, {0x03B1, 0x13000100}, {0x0430, 0x13000100},
            {0x0392, 0x15000000}, {0x0411, 0x15000000}, {0x03B2, 0x15000100}, {0x0431, 0x15000100},
            {0x039F, 0x27000000}, {0x041E, 0x27000000},
        };
        for (unsigned int digit = 0; digit < 10; ++digit) {
            map['0' + digit] = (5 + digit) << 24U;
        }
        constexpr std::array<unsigned int, 26> mains = {0x13, 0x15, 0x16, 0x1A, 0x1B, 0x1D, 0x1E, 0x1F, 0x21,
                                                        0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x2A, 0x2B,
                                                        0x2C, 0x2F, 0x32, 0x35, 0x37, 0x39, 0x3B, 0x3E};
        for (unsigned int letter = 0; letter < 26; ++letter) {
            map['A' + letter] = mains[letter] << 24U;
            map.try_emplace('a' + letter, mains[letter] << 24U | 0x100U);
        }
        // Latin-1 letters, capital and small.
        for (const auto &[capital, key] : std::map<unsigned int, std::uint32_t>{{0x00C0, 0x13040000},
                                                                                {0x00C1, 0x13010000},
                                                                                {0x00C2, 0x13030000},
                                                                                {0x00C3, 0x130C0000},
                                                                                {0x00C4, 0x13050000},
                                                                                {0x00C5, 0x13090000},
                                                                                {0x00C6, 0x130D0000},
                                                                                {0x00C7, 0x16030000},
                                                                                {0x00C9, 0x1B010000},
                                                                                {0x00D0, 0x1A090000},
                                                                                {0x00D1, 0x26080000},
                                                                                {0x00D8, 0x27070000},
                                                                                {0x00DE, 0x31000000}}) {
            map[capital] = key;
            map[capital + 32] = key | 0x100U;
        }
        map[0x00FF] = 0x3B040100;
        map[0x0178] = 0x3B040000;
        // Ignorable: controls, ASCII and Latin-1 punctuation.
        for (unsigned int code = 1; code < 0x20; ++code) {
            map[code] = 0;
            map[0x80 + code] = 0;
        }
        map[0x0080] = 0;
        map[0x007F] = 0;
        for (const char16_t code :
             std::u16string_view(u" !\"'()+,-./:;<=>?[\\]^_`{|}~\u00A0\u00A1\u00A6\u00A8\u00AB\u00AC"
                                 u"\u00AD\u00AF\u00B1\u00B4\u00B7\u00B8\u00BB\u00BF\u00D7\u00F7")) {
            map[code] = 0;
        }
        for (const unsigned int code : {0x0250U, 0x0300U, 0x0481U + 0x20U, 0x0530U, 0x1D00U, 0x1E00U, 0x1EFFU, 0x215FU,
                                        0x3042U, 0x4E00U, 0xAC00U, 0xD800U, 0xE000U, 0xFFFDU, 0xFFFFU}) {
            map[code] = 0xFF000000;
        }
        return map;
    }();
    return keys;
}

const std::map<unsigned int, unsigned int> &expansions() {
    static const std::map<unsigned int, unsigned int> second = [] {
        std::map<unsigned int, unsigned int> map;
        for (const auto &[code, key] : knownKeys()) {
            if ((key & 0xFFU) != 0) {
                map[code] = key & 0xFFU;
            }
        }
        return map;
    }();
    return second;
}

std::string utf8(unsigned int code) {
    std::array<unsigned char, 4> sequence{};
    const unsigned int length = zelkUtf8CharEncode(static_cast<unsigned short>(code), sequence.data(), 4);
    return {sequence.begin(), sequence.begin() + length};
}

// Every text lies in a block of just its size, so that a sanitizer sees a byte read after the terminator.
class Terminated {
public:
    explicit Terminated(const std::string &text) : bytes_(new char[text.size() + 1]) {
        std::memcpy(bytes_.get(), text.c_str(), text.size() + 1);
    }
    const char *get() const { return bytes_.get(); }

private:
    std::unique_ptr<char[]> bytes_;
};

int collate(const std::string &a, const std::string &b) {
    return zelkCollate(0, Terminated(a).get(), Terminated(b).get());
}

int mainOf(unsigned int code) {
    return zelkCollateCharsByMainKey(0, code, '0') + 5;
}

// The accent of one character minus that of another with the same main key: the letter before them settles the case,
// once for either side, and what is left in both is the accent.
int accentDifference(unsigned int code, unsigned int other) {
    const int smallFirst = collate("a" + utf8(code), "A" + utf8(other));
    const int capitalFirst = collate("A" + utf8(code), "a" + utf8(other));
    return smallFirst == capitalFirst ? smallFirst : 0;
}

// All keys of the table as the interface shows them. Cases are known only between characters of one main key and
// accent, and only there do they matter.
const std::vector<CollationKey> &shownKeys() {
    static const std::vector<CollationKey> keys = [] {
        std::vector<CollationKey> result(lastCollated + 1);
        std::map<int, std::pair<unsigned int, int>> plain; // by main key: a character and its accent
        for (const auto &[code, key] : knownKeys()) {
            if ((key & 0xFFU) == 0) {
                const CollationKey parts = CollationKey::from(key);
                plain.try_emplace(parts.main, code, parts.accent);
            }
        }
        std::map<std::pair<int, int>, std::pair<unsigned int, int>>
            caseless; // by main key and accent, the same with case
        for (const auto &[code, key] : knownKeys()) {
            if ((key & 0xFFU) == 0) {
                const CollationKey parts = CollationKey::from(key);
                caseless.try_emplace({parts.main, parts.accent}, code, parts.letterCase);
            }
        }
        for (unsigned int code = 1; code <= lastCollated; ++code) {
            if (expansions().count(code) != 0) {
                result[code] = CollationKey::from(knownKeys().at(code));
                continue;
            }
            CollationKey &key = result[code];
            key.main = mainOf(code);
            if (key.main == 0) {
                continue;
            }
            const auto [same, sameAccent] = plain.try_emplace(key.main, code, 0).first->second;
            key.accent = sameAccent + accentDifference(code, same);
            const auto [twin, twinCase] = caseless.try_emplace({key.main, key.accent}, code, 0).first->second;
            key.letterCase = twinCase + collate(utf8(code), utf8(twin));
        }
        return result;
    }();
    return keys;
}

const CollationModel &model() {
    static const CollationModel instance(
        [](unsigned int code) { return code <= lastCollated ? shownKeys()[code] : CollationKey::from(0xFF000000); });
    return instance;
}

// ---- what callers know --------------------------------------------------------------------------------------------

TEST(Collate, MainKeyDecidesFirst) {
    EXPECT_EQ(collate("abc", "abd"), 0x16 - 0x1A);
    EXPECT_EQ(collate("abd", "abc"), 0x1A - 0x16);
    EXPECT_EQ(collate("ab", "abc"), -0x16);
    EXPECT_EQ(collate("abc", "ab"), 0x16);
    EXPECT_EQ(collate("Az", "aB"), 0x3E - 0x15);
    EXPECT_LT(collate("zebra", "\u4E00"), 0);
}

TEST(Collate, IgnorableCharactersCountForNothing) {
    EXPECT_EQ(collate("a-b", "ab"), 0);
    EXPECT_EQ(collate("a b c", "abc"), 0);
    EXPECT_EQ(collate("(abc)", "abc..."), 0);
    EXPECT_EQ(collate("", "-- \t\u00A0"), 0);
    EXPECT_EQ(collate("- -", "..."), 0);
    EXPECT_LT(collate("---", "a"), 0);
    EXPECT_EQ(collate("\u2019a\u2026", "a"), 0);
}

TEST(Collate, NullIsEmpty) {
    EXPECT_EQ(zelkCollate(0, nullptr, nullptr), 0);
    EXPECT_EQ(zelkCollate(0, nullptr, ""), 0);
    EXPECT_EQ(zelkCollate(0, "", nullptr), 0);
    EXPECT_EQ(zelkCollate(0, nullptr, "-"), 0);
    EXPECT_EQ(zelkCollate(0, nullptr, "a"), -0x13);
    EXPECT_EQ(zelkCollate(0, "a", nullptr), 0x13);
}

TEST(Collate, AccentsOutrankCase) {
    EXPECT_EQ(collate("a", "A"), 1);
    EXPECT_EQ(collate("\u00E9", "e"), 1);
    EXPECT_EQ(collate("\u00C9", "e"), 1);
    EXPECT_EQ(collate("\u00C1", "a"), 1);
    EXPECT_EQ(collate("\u00E1b", "\u00C1B"), 1);
    EXPECT_EQ(collate("A\u00E0", "aA"), 4) << "the later accent wins over the earlier case";
    EXPECT_EQ(collate("\u00E0\u00C1", "\u00C1\u00E0"), 3) << "the first accent difference stands";
    EXPECT_LT(collate("\u00E9a", "ez"), 0) << "later letters win over both";
}

TEST(Collate, SharpSIsTwoLetters) {
    EXPECT_EQ(collate("\u00DF", "ss"), 2);
    EXPECT_EQ(collate("ss", "\u00DF"), -2);
    EXPECT_EQ(collate("\u00DF", "SS"), 3);
    EXPECT_EQ(collate("Stra\u00DFe", "Strasse"), 2);
    EXPECT_GT(collate("\u00DF", "s"), 0);
    EXPECT_LT(collate("\u00DF", "st"), 0);
}

TEST(Collate, ExpansionsMeetTheirSpelling) {
    EXPECT_EQ(collate("%", "00"), 1);
    EXPECT_EQ(collate("\u2030", "00"), 2);
    EXPECT_EQ(collate("\u00BD", "12"), 2);
    EXPECT_EQ(collate("\u0152", "OE"), 1);
    EXPECT_EQ(collate("\u0132", "IJ"), 1);
    EXPECT_EQ(collate("\u2116", "no"), -1) << "the small n has an accent of its own";
    EXPECT_EQ(collate("\u00DF%", "ss00"), 1);
    EXPECT_EQ(collate("s-\u00DF", "\u00DF-s"), -2) << "ignorables between expansions";
}

TEST(Collate, SmallNDiffersFromCapitalNByAccent) {
    EXPECT_EQ(collate("n", "N"), 1);
    EXPECT_EQ(collate("An", "aN"), 1) << "an accent outranks the case in front";
    EXPECT_EQ(collate("Am", "aM"), -1);
    EXPECT_EQ(collate("\u00F1", "n"), 7);
}

TEST(Collate, OmicronAndCyrillicOSortAsLigature) {
    for (const char *letter : {"\u03BF", "\u043E", "\u00BA"}) {
        EXPECT_EQ(collate(letter, "\u0153"), 0);
        EXPECT_EQ(collate(letter, "oe"), 1);
    }
    EXPECT_EQ(collate("\u039F", "O"), 0);
    EXPECT_EQ(collate("\u041E", "O"), 0);
}

TEST(Collate, AlphabetsShareKeys) {
    EXPECT_EQ(collate("\u0391", "A"), 0);
    EXPECT_EQ(collate("\u0410", "A"), 0);
    EXPECT_EQ(collate("\u03B1\u0431", "ab"), 0);
    EXPECT_EQ(collate("\u20AC", "E"), 0);
    EXPECT_EQ(collate("\u2122", "T"), 8);
}

TEST(Collate, EverythingBehindTheTableIsAlike) {
    EXPECT_EQ(collate("\u4E00", "\u5000"), 0);
    EXPECT_EQ(collate("\u1E00", "\u2160"), 0);
    EXPECT_EQ(collate("\xC0\x80", "\xEF\xBF\xBD"), 0);
    EXPECT_EQ(collate("\xF0\x9F\x98\x80", "\u4E00\u4E00\u4E00\u4E00"), 0) << "four rejected bytes";
    EXPECT_EQ(collate("\u4E00", "A"), 255 - 0x13);
    EXPECT_EQ(collate("\u4E00", "\u5000\u5000"), -255);
}

TEST(Collate, SequencesCutByTheTerminator) {
    EXPECT_EQ(collate("a\xC3", "a\xEF\xBF\xBD"), 0);
    EXPECT_EQ(collate("a\xE2\x82", "a\xEF\xBF\xBD"), 0);
    EXPECT_EQ(collate("a\xE2\x82z", "a\xEF\xBF\xBDz"), 0);
    EXPECT_GT(collate("a\xC3", "a\xC3\xA9"), 0) << "the common byte means two things";
}

TEST(Collate, SelectorIsIgnored) {
    for (const int selector : {-1, 0, 1, 42, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(zelkCollate(selector, "abc", "abd"), 0x16 - 0x1A);
        EXPECT_EQ(zelkCollateCharsByMainKey(selector, 'A', 'B'), -2);
    }
}

TEST(CollateMainKey, Examples) {
    EXPECT_EQ(zelkCollateCharsByMainKey(0, 'A', 'a'), 0);
    EXPECT_EQ(zelkCollateCharsByMainKey(0, 0x4E00, 0x5000), 0);
    EXPECT_EQ(zelkCollateCharsByMainKey(0, 'A', 0x4E00), 0x13 - 255);
    EXPECT_EQ(zelkCollateCharsByMainKey(0, 0, 0xFFFFFFFF), -255);
    EXPECT_EQ(zelkCollateCharsByMainKey(0, 0x10041, 0), 255) << "codes beyond 16 bits are not folded";
    EXPECT_EQ(zelkCollateCharsByMainKey(0, 0x215E, 0x215F), 0x0C - 255);
}

// ---- the table, as the interface shows it ---------------------------------------------------------------------------

TEST(CollationTable, KnownKeysInAllPairs) {
    const CollationModel known([](unsigned int code) { return CollationKey::from(knownKeys().at(code)); });
    for (const auto &[a, aKey] : knownKeys()) {
        EXPECT_EQ(mainOf(a), static_cast<int>(aKey >> 24U)) << std::hex << a;
        for (const auto &[b, bKey] : knownKeys()) {
            ASSERT_EQ(collate(utf8(a), utf8(b)), known.compare(utf8(a), utf8(b))) << std::hex << a << " against " << b;
        }
    }
}

// 65 controls, 43 signs of ASCII and Latin-1, and what the receiver's other character sets hold of this kind.
TEST(CollationTable, IgnorableCharacters) {
    std::set<unsigned int> expected = {0x037A, 0x0384, 0x0385, 0x200E, 0x200F, 0x2013, 0x2014,
                                       0x2015, 0x2017, 0x2018, 0x2019, 0x201A, 0x201C, 0x201D,
                                       0x201E, 0x2020, 0x2021, 0x2022, 0x2026, 0x2039, 0x203A};
    for (const auto &[code, key] : knownKeys()) {
        if (key == 0) {
            expected.insert(code);
        }
    }
    expected.insert(0);
    EXPECT_EQ(expected.size(), 129U);
    for (unsigned int code = 0; code <= 0xFFFF; ++code) {
        ASSERT_EQ(mainOf(code) == 0, expected.count(code) != 0) << std::hex << code;
        if (code != 0 && mainOf(code) == 0) {
            ASSERT_EQ(collate("x" + utf8(code) + "y", "xy"), 0) << std::hex << code;
        }
    }
}

// An expanding character meets its second half where a plain one meets the catch-all.
TEST(CollationTable, ExpandingCharacters) {
    std::map<int, unsigned int> plain;
    for (const auto &[code, key] : knownKeys()) {
        if ((key & 0xFFU) == 0) {
            plain.try_emplace(static_cast<int>(key >> 24U), code);
        }
    }
    unsigned int count = 0;
    for (unsigned int code = 1; code <= 0xFFFF; ++code) {
        const auto same = plain.find(mainOf(code));
        if (same == plain.end() || same->first == 0) {
            continue;
        }
        const bool expands = collate(utf8(code) + "\u4E00", utf8(same->second) + "\u4E00") < -180;
        ASSERT_EQ(expands, expansions().count(code) != 0) << std::hex << code;
        count += expands ? 1 : 0;
    }
    EXPECT_EQ(count, 18U);
}

TEST(CollationTable, PagesWithoutKeys) {
    for (unsigned int code = 0x0240; code <= 0x1FFF; ++code) {
        if (code < 0x0340 || code >= 0x0480) {
            ASSERT_EQ(mainOf(code), 255) << std::hex << code;
            ASSERT_EQ(collate(utf8(code), "\u4E00"), 0) << std::hex << code;
        }
    }
    for (unsigned int code = 0x215F; code <= 0xFFFF; ++code) {
        ASSERT_EQ(mainOf(code), 255) << std::hex << code;
        ASSERT_EQ(collate(utf8(code), "\u4E00"), 0) << std::hex << code;
    }
}

// Case mapping and collation agree on what a small letter is, letter by letter; the small n, the omicron and the
// Cyrillic o stand out.
TEST(CollationTable, SmallLettersFollowTheirCapitals) {
    for (unsigned int capital = 0; capital <= lastCollated; ++capital) {
        const unsigned int small = zelk2lowerChar(capital);
        if (small == capital || mainOf(capital) == 255) {
            continue;
        }
        EXPECT_EQ(mainOf(small), mainOf(capital)) << std::hex << capital;
        if (capital == 'N') {
            EXPECT_EQ(collate(utf8(small), utf8(capital)), 1);
            EXPECT_EQ(accentDifference(small, capital), 1);
        } else if (capital == 0x039F || capital == 0x041E) {
            EXPECT_EQ(collate(utf8(small), utf8(capital)), 0x1B) << std::hex << capital;
        } else if (capital == 0x0130) {
            EXPECT_NE(accentDifference(small, capital), 0) << "the dot is an accent, and i is the plain letter";
        } else {
            EXPECT_EQ(collate(utf8(small), utf8(capital)), 1) << std::hex << capital;
            EXPECT_EQ(accentDifference(small, capital), 0) << std::hex << capital;
        }
    }
}

// Two letters of one alphabet are never alike, save a letter and its title form.
TEST(CollationTable, LettersOfAnAlphabetAreToldApart) {
    struct Block {
        unsigned int first;
        unsigned int last;
    };
    for (const Block block : {Block{0x0041, 0x023F}, Block{0x0370, 0x03CF}, Block{0x0400, 0x047F}}) {
        for (unsigned int a = block.first; a <= block.last; ++a) {
            for (unsigned int b = a + 1; b <= block.last; ++b) {
                if (zelkcharGetClass(a) != CharClassLetter || zelkcharGetClass(b) != CharClassLetter ||
                    mainOf(a) != mainOf(b) || mainOf(a) == 255) {
                    continue;
                }
                const bool titleForm = a == 0x01C4 || a == 0x01C7 || a == 0x01CA || a == 0x01F1;
                ASSERT_EQ(collate(utf8(a), utf8(b)) == 0, titleForm && b == a + 1) << std::hex << a << " and " << b;
            }
        }
    }
}

// ---- the comparison against the model -------------------------------------------------------------------------------

// Pieces that are each other's near misses: accents and cases of one letter, expansions and their spelling, ignorables,
// the edges of the table, and all that a sequence can have wrong.
const std::vector<std::string> &slyPieces() {
    static const std::vector<std::string> pieces = {"a",
                                                    "A",
                                                    "\u00E1",
                                                    "\u00C0",
                                                    "n",
                                                    "N",
                                                    "s",
                                                    "S",
                                                    "\u00DF",
                                                    "o",
                                                    "e",
                                                    "\u0153",
                                                    "\u0152",
                                                    "\u03BF",
                                                    "\u043E",
                                                    "0",
                                                    "00",
                                                    "%",
                                                    "\u2030",
                                                    "4",
                                                    "1",
                                                    "\u00BC",
                                                    "i",
                                                    "j",
                                                    "\u0133",
                                                    "-",
                                                    " ",
                                                    "\u00AD",
                                                    "\u2026",
                                                    "\u200E",
                                                    "\t",
                                                    "z",
                                                    "\u0410",
                                                    "\u0431",
                                                    "\u03B2",
                                                    "\u0416",
                                                    "\u215E",
                                                    "\u215F",
                                                    "\u4E00",
                                                    "\u1E00",
                                                    "\u0250",
                                                    "\xC3",
                                                    "\xE2",
                                                    "\xE2\x82",
                                                    "\x80",
                                                    "\xBF",
                                                    "\xC0\x80",
                                                    "\xE0\x80\x80",
                                                    "\xF0\x9F\x98\x80",
                                                    "\xFF",
                                                    "\xED\xA0\x80"};
    return pieces;
}

std::string slyText(Random &random, std::uint32_t longest) {
    std::string text;
    const std::uint32_t count = random.below(longest + 1);
    for (std::uint32_t i = 0; i < count; ++i) {
        text += slyPieces()[random.below(static_cast<std::uint32_t>(slyPieces().size()))];
    }
    return text;
}

// A text that differs from the given one in a byte or a piece, most often near its end.
std::string nearMiss(Random &random, std::string text) {
    const std::size_t reach = random.chance(50) ? text.size() : text.size() % 9;
    const std::size_t at = text.size() - random.below(static_cast<std::uint32_t>(reach + 1));
    const std::string &piece = slyPieces()[random.below(static_cast<std::uint32_t>(slyPieces().size()))];
    switch (random.below(4)) {
    case 0:
        return text.insert(at, piece);
    case 1:
        return text.replace(at, random.below(4), piece);
    case 2:
        return text.erase(at, 1 + random.below(3));
    default:
        if (at < text.size()) {
            text[at] = static_cast<char>(1 + random.below(255));
        }
        return text;
    }
}

TEST(CollateModel, AllPairsOfSlyPieces) {
    std::size_t turn = 0;
    for (const std::string &a : slyPieces()) {
        for (const std::string &b : slyPieces()) {
            for (std::size_t i = turn++ % 5; i < slyPieces().size(); i += 5) {
                const std::string &tail = slyPieces()[i];
                ASSERT_EQ(collate(a + tail, b), model().compare(a + tail, b));
                ASSERT_EQ(collate(tail + a, tail + b), model().compare(tail + a, tail + b));
            }
        }
    }
}

// Whatever the texts share in front changes nothing but where they part. The lengths lie around 8, 72 and 200, where
// the search for shared bytes changes its stride.
TEST(CollateModel, PiecesBehindCommonTexts) {
    const std::vector<std::string> fronts = {"a", "\u00DF", "\u0416", "\u4E00", "\x80", "\xC3", "\xE2\x82", "-"};
    for (const std::string &front : fronts) {
        for (const std::size_t length : {1U,  2U,  3U,  4U,  6U,  7U,  8U,   9U,   10U,  16U,  39U,
                                         40U, 70U, 71U, 72U, 73U, 74U, 198U, 199U, 200U, 201U, 202U}) {
            std::string common;
            while (common.size() < length) {
                common += front;
            }
            common.resize(length);
            for (std::size_t i = 0; i < slyPieces().size(); ++i) {
                for (std::size_t j = (i + length) % 13; j < slyPieces().size(); j += 13) {
                    const std::string a = common + slyPieces()[i];
                    const std::string b = common + slyPieces()[j];
                    ASSERT_EQ(collate(a, b), model().compare(a, b)) << length << " " << i << " " << j;
                }
            }
        }
    }
}

TEST(CollateModel, RandomTexts) {
    Random random(601);
    for (int round = 0; round < 20000; ++round) {
        const std::string a = slyText(random, 12);
        const std::string b = slyText(random, 12);
        ASSERT_EQ(collate(a, b), model().compare(a, b)) << a << " | " << b;
    }
}

TEST(CollateModel, NearlyEqualTexts) {
    Random random(602);
    for (int round = 0; round < 15000; ++round) {
        const std::string a = slyText(random, round % 8 == 0 ? 120 : 24);
        std::string b = a;
        for (std::uint32_t change = random.below(4); change > 0; --change) {
            b = nearMiss(random, b);
        }
        ASSERT_EQ(collate(a, b), model().compare(a, b)) << a << " | " << b;
    }
}

TEST(CollateModel, RandomBytes) {
    Random random(603);
    for (int round = 0; round < 10000; ++round) {
        std::string a;
        for (std::uint32_t i = random.below(40); i > 0; --i) {
            a.push_back(static_cast<char>(1 + random.below(255)));
        }
        const std::string b = nearMiss(random, a);
        ASSERT_EQ(collate(a, b), model().compare(a, b));
    }
}

TEST(CollateModel, LongTexts) {
    Random random(604);
    for (const char *front : {"abc ", "\u00DF", "\u4E00", "\x80", "--"}) {
        std::string common;
        while (common.size() < 35000) {
            common += front;
        }
        for (int round = 0; round < 2; ++round) {
            const std::string a = common + slyText(random, 3) + common;
            const std::string b = nearMiss(random, common) + slyText(random, 3) + common;
            ASSERT_EQ(collate(a, b), model().compare(a, b));
            ASSERT_EQ(collate(a, a), 0);
        }
    }
}

// Sorting needs an order: equal texts stay equal against a third, and the smaller of two stays smaller.
TEST(CollateOrder, AntisymmetricAndTransitive) {
    Random random(605);
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    for (int round = 0; round < 40000; ++round) {
        const std::string a = slyText(random, 4);
        const std::string b = random.chance(50) ? nearMiss(random, a) : slyText(random, 4);
        const std::string c = random.chance(50) ? nearMiss(random, b) : slyText(random, 4);
        const int ab = sign(collate(a, b));
        const int bc = sign(collate(b, c));
        const int ac = sign(collate(a, c));
        ASSERT_EQ(ab, -sign(collate(b, a)));
        ASSERT_EQ(collate(a, a), 0);
        if (ab == bc || ab == 0 || bc == 0) {
            ASSERT_EQ(ac, ab != 0 ? ab : bc) << a << " | " << b << " | " << c;
        }
    }
}

} // namespace
