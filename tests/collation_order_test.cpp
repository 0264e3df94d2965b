// The letters of each alphabet in the order of main keys against the root collation of ICU, which follows the Unicode
// Collation Algorithm. The two differ on purpose: every letter that stands elsewhere is named here with the number of
// pairs it decides otherwise, and docs/collation.md has the reasons. Nothing else may differ.
#include "zelk.h"

#include <gtest/gtest.h>
#include <unicode/coll.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr unsigned int beyondTable = 0xFFFF;

struct Group {
    const char *reason;
    std::u16string_view letters;
    unsigned int pairs; // that differ and belong to no group before this one
};

struct Alphabet {
    UScriptCode script;
    std::size_t letters;
    std::vector<Group> groups;
};

std::string utf8(UChar32 letter) {
    std::string result;
    return icu::UnicodeString(letter).toUTF8String(result);
}

bool isLetter(UChar32 code, UScriptCode script) {
    UErrorCode status = U_ZERO_ERROR;
    return (U_GET_GC_MASK(code) & (U_GC_LU_MASK | U_GC_LL_MASK | U_GC_LT_MASK)) != 0 &&
           uscript_getScript(code, &status) == script;
}

// Letters that the table leaves to the catch-all have no order to compare.
std::vector<UChar32> lettersOf(UScriptCode script) {
    std::vector<UChar32> letters;
    for (UChar32 code = 0; code <= 0x215E; ++code) {
        const bool collated = zelkCollateCharsByMainKey(0, static_cast<unsigned int>(code), beyondTable) != 0;
        if (isLetter(code, script) && collated && code < 0x2000) {
            letters.push_back(code);
        }
    }
    return letters;
}

class RootOrder {
public:
    RootOrder() {
        UErrorCode status = U_ZERO_ERROR;
        collator_.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
        EXPECT_TRUE(U_SUCCESS(status));
        collator_->setStrength(icu::Collator::PRIMARY);
    }
    int compare(UChar32 a, UChar32 b) const {
        UErrorCode status = U_ZERO_ERROR;
        return collator_->compare(icu::UnicodeString(a), icu::UnicodeString(b), status);
    }

private:
    std::unique_ptr<icu::Collator> collator_;
};

int compare(UChar32 a, UChar32 b) {
    const int difference = zelkCollateCharsByMainKey(0, static_cast<unsigned int>(a), static_cast<unsigned int>(b));
    return (difference > 0) - (difference < 0);
}

struct Pair {
    UChar32 a;
    UChar32 b;
    bool has(UChar32 letter) const { return a == letter || b == letter; }
};

std::vector<Pair> differingPairs(UScriptCode script) {
    const RootOrder root;
    const std::vector<UChar32> letters = lettersOf(script);
    std::vector<Pair> pairs;
    for (std::size_t i = 0; i < letters.size(); ++i) {
        for (std::size_t j = i + 1; j < letters.size(); ++j) {
            if (root.compare(letters[i], letters[j]) != compare(letters[i], letters[j])) {
                pairs.push_back({letters[i], letters[j]});
            }
        }
    }
    return pairs;
}

// All differences are those of the named letters, no letter is named in vain, and the numbers are exact.
void expectOnlyTheseDiffer(const Alphabet &alphabet) {
    EXPECT_EQ(lettersOf(alphabet.script).size(), alphabet.letters);
    std::vector<Pair> left = differingPairs(alphabet.script);
    const std::vector<Pair> all = left;

    std::u16string named;
    for (const Group &group : alphabet.groups) {
        named += group.letters;
        const auto explained = [&group](const Pair &pair) {
            return std::any_of(group.letters.begin(), group.letters.end(),
                               [&pair](char16_t letter) { return pair.has(letter); });
        };
        const std::size_t before = left.size();
        left.erase(std::remove_if(left.begin(), left.end(), explained), left.end());
        EXPECT_EQ(before - left.size(), group.pairs) << group.reason;
    }
    for (const Pair &pair : left) {
        ADD_FAILURE() << utf8(pair.a) << " and " << utf8(pair.b) << " differ from the root order without a reason";
    }
    const auto isNamed = [&named](UChar32 letter) {
        return named.find(static_cast<char16_t>(letter)) != std::u16string::npos;
    };
    for (const char16_t letter : named) {
        EXPECT_TRUE(
            std::any_of(all.begin(), all.end(),
                        [&](const Pair &pair) { return pair.has(letter) && !(isNamed(pair.a) && isNamed(pair.b)); }))
            << utf8(letter) << " is named, but stands where the root order has it";
    }
}

TEST(CollationOrder, Latin) {
    expectOnlyTheseDiffer(
        {USCRIPT_LATIN,
         421,
         {
             {"thorn has its place between T and U", u"Þþ", 164},
             {"two letters in one, and n with an apostrophe, are variants of the first",
              u"ŉĲĳŒœÆæǢǣǼǽȢȣßǄǅǆǇǈǉǊǋǌǱǲǳȸȹ", 870},
             {"letters with a stroke or a bar are variants", u"ȺƀȻȼǤǥƗƚȽƛŦŧȾƵƶƟ", 275},
             {"letters with a hook, a tail or a curl are variants", u"ƁƇƈƉƊƋƌȡƑƒƓƘƙȴƝƞȠȵƤƥƫƬƭƮȶȿƲƳƴȤȥƂƃ", 293},
             {"turned letters and letters of other origin are variants", u"ıȷĸƎǝƏƐƔƢƣƕǶƖŊŋƆƦƩƪƱƜƸƹƺ", 420},
         }});
}

TEST(CollationOrder, Greek) {
    expectOnlyTheseDiffer({USCRIPT_GREEK,
                           113,
                           {
                               {"phi sorts as F", u"Φφϕ", 246},
                               {"zeta sorts as Z", u"Ζζ", 148},
                               {"xi sorts as X", u"Ξξ", 60},
                               {"gamma sorts as G", u"Γγ", 14},
                               {"old letters stand after Z", u"ͶͷϚϛϜϝϘϙϞϟϺϻ", 650},
                               {"forms of a letter are variants", u"ͻͼͽϽϾϿͰͱϏϗϼͲͳ", 63},
                           }});
}

TEST(CollationOrder, Cyrillic) {
    expectOnlyTheseDiffer({USCRIPT_CYRILLIC,
                           128,
                           {
                               {"ve sorts as V", u"Вв", 152},
                               {"ghe and gje sort as G", u"ГгЃѓ", 80},
                               {"ze and dze sort as Z", u"ЗзЅѕ", 260},
                               {"ef sorts as F", u"Фф", 96},
                               {"ha sorts as H", u"Хх", 96},
                               {"tse and tshe sort as C", u"ЦцЋћ", 232},
                               {"dzhe and dje sort as D", u"ЏџЂђ", 136},
                               {"letters of neighbouring languages are variants", u"ІіЇїЈјЉљЊњ", 28},
                               {"old letters stand after Ya, or are variants", u"ѠѡѼѽѾѿѺѻѸѹ", 184},
                           }});
}

// Signs that are letters in another form, such as the script capital R, stand where the Unicode Character Database says
// whose form they are.
TEST(CollationOrder, SignsStandWithTheirLetters) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2 *const forms = icu::Normalizer2::getNFKDInstance(status);
    ASSERT_TRUE(U_SUCCESS(status));
    int signs = 0;
    for (UChar32 sign = 0x2000; sign <= 0x215E; ++sign) {
        const icu::UnicodeString form = forms->normalize(icu::UnicodeString(sign), status);
        const UChar32 letter = form.char32At(0);
        const bool isForm = form.countChar32() == 1 && letter != sign && u_isalpha(letter) != 0;
        if (isForm && compare(sign, beyondTable) != 0 && compare(letter, beyondTable) != 0) {
            EXPECT_EQ(compare(sign, letter), 0) << utf8(sign) << " and " << utf8(letter);
            ++signs;
        }
    }
    EXPECT_EQ(signs, 53);
}

// Superscripts, subscripts and fractions stand after the digit, or the numerator, that they begin with; signs of
// several letters, such as the trade mark, with the first one, after a degree sign if there is one.
TEST(CollationOrder, SignsOfDigitsAndOfSeveralLettersStandWithTheFirst) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2 *const forms = icu::Normalizer2::getNFKDInstance(status);
    ASSERT_TRUE(U_SUCCESS(status));
    int ofDigits = 0;
    int ofLetters = 0;
    for (UChar32 sign = 0x80; sign <= 0x215E; ++sign) {
        const icu::UnicodeString form = forms->normalize(icu::UnicodeString(sign), status);
        const UChar32 first = form.char32At(form.char32At(0) == 0xB0 ? 1 : 0);
        if (first != sign && first >= '0' && first <= '9') {
            EXPECT_EQ(compare(sign, first), 0) << utf8(sign);
            EXPECT_GT(zelkCollate(0, utf8(sign).c_str(), utf8(first).c_str()), 0) << utf8(sign);
            ++ofDigits;
        } else if (sign >= 0x2000 && form.countChar32() > 1 && u_isalpha(first) != 0) {
            EXPECT_EQ(compare(sign, first), 0) << utf8(sign);
            ++ofLetters;
        }
    }
    EXPECT_EQ(ofDigits, 10 + 10 + 3 + 15); // superscripts, subscripts, fractions of Latin-1 and later ones
    EXPECT_EQ(ofLetters, 13);
}

// Currency signs stand with the first letter of the currency, by the name of the character: LIRA SIGN, NEW SHEQEL SIGN.
TEST(CollationOrder, CurrencySignsStandWithTheirCurrencies) {
    constexpr UChar32 livreTournois = 0x20B6;
    int signs = 0;
    for (UChar32 sign = 0x20A0; sign <= 0x20CF; ++sign) {
        UErrorCode status = U_ZERO_ERROR;
        char buffer[128] = {};
        u_charName(sign, U_UNICODE_CHAR_NAME, buffer, sizeof buffer, &status);
        const std::string_view name = buffer;
        if (name.size() > 5 && name.substr(name.size() - 5) == " SIGN" && compare(sign, beyondTable) != 0) {
            const std::string_view currency = name.substr(0, name.size() - 5);
            const char first = sign == livreTournois ? 'L' : currency[currency.rfind(' ') + 1];
            EXPECT_EQ(compare(sign, first), 0) << name;
            ++signs;
        }
    }
    EXPECT_EQ(signs, 32);
}

} // namespace
