// The rows of the collation table and their expansion. A change of a row changes the order of lists that receivers have
// stored sorted: docs/collation.md says which rows are fixed and by what plan the others were chosen.
#include "tables/collation.h"

#include <array>
#include <string_view>

namespace zelk::tables {
namespace {

using Keys = std::array<std::uint32_t, collationPageCount * collationPageSize>;

constexpr std::uint32_t keyOf(unsigned int main, unsigned int accent, unsigned int letterCase) {
    return main << 24U | accent << 16U | letterCase << 8U;
}

// The letters of one main key, each a capital and its small letter; a dot stands where the table has none. The first is
// the plain letter, accent 0; the accents of the others count up from firstAccent of their alphabet.
struct LetterRow {
    std::uint8_t main;
    std::u16string_view letters;
};

constexpr char16_t absent = u'\u00B7';

// clang-format off

// Latin: one column for each mark, so that a mark has the same accent number with every letter. Where that is not so,
// a sorted list somewhere depends on it: A has tilde and dot above exchanged (08, 0C), C has circumflex and cedilla
// (03, 0D), Y with diaeresis stands at 04; 01 of N, O and I belongs to the small n and to two ligatures, and their
// acute moves to 11. D has the eth at 09, A the ash at 0D.
constexpr unsigned int firstLatinAccent = 0x01;
constexpr LetterRow latinRows[] = {
    // 01 acute, 02 breve, 03 circumflex, 04 grave, 05 diaeresis, 06 caron, 07 stroke, 08 tilde, 09 ring, 0A macron,
    // 0B ogonek, 0C dot above, 0D cedilla, 0E double acute, 0F double grave, 10 inverted breve, 11 acute where 01 is
    // taken, 12 hook, 13 horn or comma below, from 14 on others
    //       00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1B
    {0x13, u"Aa Áá Ăă Ââ Àà Ää Ǎǎ Ⱥ· Ȧȧ Åå Āā Ąą Ãã Ææ ·· Ȁȁ Ȃȃ ·· ·· ·· Ǟǟ Ǡǡ Ǻǻ Ǽǽ Ǣǣ"},
    {0x15, u"Bb ·· ·· ·· ·· ·· ·· ·ƀ ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· Ɓ· ·· Ƃƃ"},
    {0x16, u"Cc Ćć ·· Çç ·· ·· Čč Ȼȼ ·· ·· ·· ·· Ċċ Ĉĉ ·· ·· ·· ·· Ƈƈ"},
    {0x1A, u"Dd ·· ·· ·· ·· ·· Ďď Đđ ·· Ðð ·· ·· ·· ·· ·· ·· ·· ·· Ɗ· ·· Ɖ· Ƌƌ ·ȡ Ǆǆ Ǳǳ ·ȸ"},
    {0x1B, u"Ee Éé Ĕĕ Êê Èè Ëë Ěě ·· ·· ·· Ēē Ęę Ėė Ȩȩ ·· Ȅȅ Ȇȇ ·· ·· ·· Ǝǝ Ə· Ɛ·"},
    {0x1D, u"Ff ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· Ƒƒ"},
    {0x1E, u"Gg Ǵǵ Ğğ Ĝĝ ·· ·· Ǧǧ Ǥǥ ·· ·· ·· ·· Ġġ Ģģ ·· ·· ·· ·· Ɠ· ·· Ɣ· Ƣƣ"},
    {0x1F, u"Hh ·· ·· Ĥĥ ·· ·· Ȟȟ Ħħ ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· Ƕƕ"},
    {0x21, u"Ii Ĳĳ Ĭĭ Îî Ìì Ïï Ǐǐ Ɨ· Ĩĩ ·· Īī Įį İ· ·· ·· Ȉȉ Ȋȋ Íí ·· ·· ·ı Ɩ·"},
    {0x22, u"Jj ·· ·· Ĵĵ ·· ·· ·ǰ ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·ȷ"},
    {0x23, u"Kk ·· ·· ·· ·· ·· Ǩǩ ·· ·· ·· ·· ·· ·· Ķķ ·· ·· ·· ·· Ƙƙ"},
    {0x24, u"Ll Ĺĺ ·· ·· ·· ·· Ľľ Łł ·· ·· ·· ·· ·· Ļļ ·· ·· ·· ·· ·· ·· Ŀŀ Ƚƚ ·ƛ ·ȴ Ǉǉ"},
    {0x25, u"Mm"},
    {0x26, u"N· ·n ·· ·· Ǹǹ ·· Ňň ·· Ññ ·· ·· ·· ·· Ņņ ·· ·· ·· Ńń Ɲ· ·· ·ŉ Ŋŋ Ƞƞ ·ȵ Ǌǌ"},
    {0x27, u"Oo Œœ Ŏŏ Ôô Òò Öö Ǒǒ Øø Õõ ·· Ōō Ǫǫ Ȯȯ ·· Őő Ȍȍ Ȏȏ Óó ·· Ơơ Ǭǭ Ǿǿ Ȫȫ Ȭȭ Ȱȱ Ɔ· Ɵ· Ȣȣ"},
    {0x28, u"Pp ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· Ƥƥ"},
    {0x2A, u"Qq ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·ȹ ·ĸ"},
    {0x2B, u"Rr Ŕŕ ·· ·· ·· ·· Řř ·· ·· ·· ·· ·· ·· Ŗŗ ·· Ȑȑ Ȓȓ ·· ·· ·· Ʀ·"},
    {0x2C, u"Ss Śś ·· Ŝŝ ·· ·· Šš ·· ·· ·· ·· ·· ·· Şş ·· ·· ·· ·· ·· Șș ·ſ Ʃ· ·ƪ ·ȿ"},
    {0x2F, u"Tt ·· ·· ·· ·· ·· Ťť Ŧŧ ·· ·· ·· ·· ·· Ţţ ·· ·· ·· ·· Ƭƭ Țț Ʈ· Ⱦ· ·ƫ ·ȶ"},
    {0x31, u"Þþ"},
    {0x32, u"Uu Úú Ŭŭ Ûû Ùù Üü Ǔǔ ·· Ũũ Ůů Ūū Ųų ·· ·· Űű Ȕȕ Ȗȗ ·· ·· Ưư Ǖǖ Ǘǘ Ǚǚ Ǜǜ Ʊ· Ɯ·"},
    {0x35, u"Vv ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· Ʋ·"},
    {0x37, u"Ww ·· ·· Ŵŵ"},
    {0x39, u"Xx"},
    {0x3B, u"Yy Ýý ·· Ŷŷ Ÿÿ ·· ·· ·· ·· ·· Ȳȳ ·· ·· ·· ·· ·· ·· ·· Ƴƴ"},
    {0x3C, u"Ȝȝ"},
    {0x3E, u"Zz Źź ·· ·· ·· ·· Žž Ƶƶ ·· ·· ·· ·· Żż ·· ·· ·· ·· ·· Ȥȥ"},
    {0x3F, u"Ʒ· ·· ·· ·· ·· ·· Ǯǯ ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· ·· Ƹƹ ·ƺ"},
    {0x40, u"Ƿƿ"},
};

// Greek: plain, tonos, dialytika, both, others. Without a Latin letter of their own: theta, chi, psi, omega; after Z
// the letters of old and Coptic texts.
constexpr unsigned int firstGreekAccent = 0x20;
constexpr LetterRow greekRows[] = {
    //       00 20 21 22 23 24 25 26
    {0x13, u"Αα Άά"},
    {0x15, u"Ββ"},
    {0x1A, u"Δδ"},
    {0x1B, u"Εε Έέ"},
    {0x1D, u"Φφ"},
    {0x1E, u"Γγ"},
    {0x1F, u"Ηη Ήή ·· ·· Ͱͱ"},
    {0x20, u"Θθ"},
    {0x21, u"Ιι Ίί Ϊϊ ·ΐ"},
    {0x22, u"·· ·· ·· ·· Ϳϳ"},
    {0x23, u"Κκ ·· ·· ·· Ϗϗ"},
    {0x24, u"Λλ"},
    {0x25, u"Μμ"},
    {0x26, u"Νν"},
    {0x27, u"Ο· Όό"}, // the small omicron is a fixed row
    {0x28, u"Ππ"},
    {0x2B, u"Ρρ ·· ·· ·· ·ϼ"},
    {0x2C, u"Σσ ·· ·· ·· ·ς Ͻͻ Ͼͼ Ͽͽ"},
    {0x2F, u"Ττ"},
    {0x39, u"Ξξ"},
    {0x3B, u"Υυ Ύύ Ϋϋ ·ΰ"},
    {0x3D, u"Χχ"},
    {0x3E, u"Ζζ"},
    {0x41, u"Ψψ"},
    {0x42, u"Ωω Ώώ"},
    {0x43, u"Ϝϝ ·· ·· ·· Ͷͷ"},
    {0x44, u"Ϛϛ"},
    {0x45, u"Ϻϻ"},
    {0x46, u"Ϙϙ ·· ·· ·· Ϟϟ"},
    {0x47, u"Ϡϡ ·· ·· ·· Ͳͳ"},
    {0x48, u"Ϸϸ"},
    {0x49, u"Ϣϣ"},
    {0x4A, u"Ϥϥ"},
    {0x4B, u"Ϧϧ"},
    {0x4C, u"Ϩϩ"},
    {0x4D, u"Ϫϫ"},
    {0x4E, u"Ϭϭ"},
    {0x4F, u"Ϯϯ"},
};

// Cyrillic: plain, then the letters of the neighbouring languages that one Latin letter serves as well. Without a Latin
// letter of their own: Є, Ж, Ч, Ш, Щ, Ъ, Ь, Э, Ю, Я; after them the letters of old texts. Ж shares its gap with theta.
constexpr unsigned int firstCyrillicAccent = 0x30;
constexpr LetterRow cyrillicRows[] = {
    //       00 30 31 32
    {0x13, u"Аа"},
    {0x15, u"Бб"},
    {0x16, u"Цц Ћћ"},
    {0x1A, u"Дд Ђђ Џџ"},
    {0x1B, u"Ее Ѐѐ Ёё"},
    {0x1C, u"Єє"},
    {0x1D, u"Фф"},
    {0x1E, u"Гг Ѓѓ"},
    {0x1F, u"Хх"},
    {0x20, u"·· Жж"},
    {0x21, u"Ии Ѝѝ Іі Її"},
    {0x22, u"Јј Йй"},
    {0x23, u"Кк Ќќ"},
    {0x24, u"Лл Љљ"},
    {0x25, u"Мм"},
    {0x26, u"Нн Њњ"},
    {0x27, u"О· Ѻѻ"}, // the small o is a fixed row
    {0x28, u"Пп"},
    {0x2B, u"Рр"},
    {0x2C, u"Сс"},
    {0x2F, u"Тт"},
    {0x32, u"Уу Ўў Ѹѹ"},
    {0x33, u"Чч"},
    {0x34, u"Шш"},
    {0x35, u"Вв"},
    {0x36, u"Щщ"},
    {0x3A, u"Ъъ"},
    {0x3B, u"Ыы"},
    {0x3E, u"Зз Ѕѕ"},
    {0x50, u"Ьь"},
    {0x51, u"Ѣѣ"},
    {0x52, u"Ээ"},
    {0x53, u"Юю"},
    {0x54, u"Яя"},
    {0x55, u"Ѡѡ Ѽѽ Ѿѿ"},
    {0x56, u"Ѥѥ"},
    {0x57, u"Ѧѧ"},
    {0x58, u"Ѫѫ"},
    {0x59, u"Ѩѩ"},
    {0x5A, u"Ѭѭ"},
    {0x5B, u"Ѯѯ"},
    {0x5C, u"Ѱѱ"},
    {0x5D, u"Ѳѳ"},
    {0x5E, u"Ѵѵ Ѷѷ"},
};

// A sign that sorts as a letter, before the letter whose key it carries.
constexpr std::u16string_view signsAsLetters =
    u"¢c £L ¤E ¥Y ©c ªa ®r µm " // Latin-1
    u"ǅǄ ǈǇ ǋǊ ǲǱ "             // title case: the capital
    u"ϐβ ϑθ ϒΥ ϓΎ ϔΫ ϕφ ϖπ ϰκ ϱρ ϲσ ϴΘ ϵε ϹΣ "
    u"ⁱi ⁿn ₐa ₑe ₒo ₓx ₕh ₖk ₗl ₘm ₙn ₚp ₛs ₜt "
    u"₠E ₡C ₢C ₣F ₤L ₥M ₦N ₧P ₨R ₩W ₪S ₫D €E ₭K ₮T ₯D ₰P ₱P ₲G ₳A ₴H ₵C ₶L ₷S ₸T ₹R ₺L ₻M ₼M ₽R ₾L ₿B "
    u"ℂC ℇE ℊg ℋH ℌH ℍH ℎh ℏħ ℐI ℑI ℒL ℓl ℕN ℗p ℘p ℙP ℚQ ℛR ℜR ℝR ℞R ℟R ℣V ℤZ \u2126Ω ℧Ω ℨZ ℩ι \u212AK \u212BÅ "
    u"ℬB ℭC ℮e ℯe ℰE ℱF ℲF ℳM ℴo ℹi ℺Q ℼπ ℽγ ℾΓ ℿΠ ⅁G ⅂L ⅃L ⅄Y ⅅD ⅆd ⅇe ⅈi ⅉj ⅎf ";

struct KeyRow {
    std::uint16_t code;
    std::uint32_t key;
};

// Keys that no plan yields. They win over all rows above.
constexpr KeyRow fixedRows[] = {
    // Symbols before, between and after the digits
    {'#', 0x01000000}, {'$', 0x02000000}, {'&', 0x03000000}, {'*', 0x04000000},
    {'@', 0x0F000000}, {0x00A7, 0x10000000}, {0x00B0, 0x11000000}, {0x00B6, 0x12000000},
    // Digits in other forms: superscripts and subscripts, then the fractions by their numerators
    {0x00B9, 0x06010000}, {0x00B2, 0x07010000}, {0x00B3, 0x08030000},
    {0x2070, 0x05100000}, {0x2074, 0x09100000}, {0x2075, 0x0A100000}, {0x2076, 0x0B100000}, {0x2077, 0x0C100000},
    {0x2078, 0x0D100000}, {0x2079, 0x0E100000},
    {0x2080, 0x05110000}, {0x2081, 0x06110000}, {0x2082, 0x07110000}, {0x2083, 0x08110000}, {0x2084, 0x09110000},
    {0x2085, 0x0A110000}, {0x2086, 0x0B110000}, {0x2087, 0x0C110000}, {0x2088, 0x0D110000}, {0x2089, 0x0E110000},
    {0x2153, 0x06120000}, {0x2154, 0x07120000},                                           // thirds
    {0x2155, 0x06130000}, {0x2156, 0x07130000}, {0x2157, 0x08130000}, {0x2158, 0x09130000}, // fifths
    {0x2159, 0x06140000}, {0x215A, 0x0A140000},                                           // sixths
    {0x2150, 0x06150000}, {0x2151, 0x06160000}, {0x2152, 0x06170000},                     // seventh, ninth, tenth
    // Signs of several letters, as the first of them
    {0x2100, 0x13400000}, {0x2101, 0x13410000}, {0x214D, 0x13420000}, // a/c, a/s, A/S
    {0x2103, 0x16400000}, {0x2105, 0x16410000}, {0x2106, 0x16420000}, // degree Celsius, c/o, c/u
    {0x2109, 0x1D400000}, {0x213B, 0x1D410000},                       // degree Fahrenheit, FAX
    {0x2114, 0x24400100},                                             // lb
    {0x2120, 0x2C400000}, {0x2121, 0x2F400000}, {0x2122, 0x2F080000}, // SM, TEL, TM
    {0x2094, 0x1B150100},                                             // subscript schwa
    // Two characters in one: the low byte is the second. The ordinal o, the omicron and the Cyrillic o sort as the
    // ligature oe; this is kept, and lists depend on it.
    {'%', 0x05010030}, {0x2030, 0x05020030},
    {0x00BC, 0x06030034}, {0x00BD, 0x06020032}, {0x00BE, 0x08010034},
    {0x215B, 0x06040038}, {0x215C, 0x08020038}, {0x215D, 0x0A010038}, {0x215E, 0x0C010038},
    {0x00DF, 0x2C000373}, {0x0132, 0x2101006A}, {0x0133, 0x2101016A}, {0x2116, 0x2601006F},
    {0x0152, 0x27010065}, {0x0153, 0x27010165}, {0x00BA, 0x27010165}, {0x03BF, 0x27010165}, {0x043E, 0x27010165},
};
// clang-format on

// What counts for nothing: controls, punctuation and spacing accents, as far as the receiver's character sets have
// them.
struct IgnorableRange {
    std::uint16_t first;
    std::uint16_t last;
};
constexpr IgnorableRange controls[] = {{0x0000, 0x001F}, {0x007F, 0x009F}};
constexpr std::u16string_view ignorablePunctuation = u" !\"'()+,-./:;<=>?[\\]^_`{|}~"
                                                     u"\u00A0¡¦¨«¬\u00AD¯±´·¸»¿×÷"
                                                     u"ͺ΄΅"
                                                     u"\u200E\u200F–—―‗‘’‚“”„†‡•…‹›";

consteval void addLetters(Keys &keys, const auto &rows, unsigned int firstAccent) {
    for (const LetterRow &row : rows) {
        for (std::size_t i = 0; i < row.letters.size(); i += 3) {
            const auto column = static_cast<unsigned int>(i / 3);
            const unsigned int accent = column == 0 ? 0 : firstAccent + column - 1;
            for (unsigned int letterCase = 0; letterCase < 2; ++letterCase) {
                const char16_t letter = row.letters[i + letterCase];
                if (letter == absent) {
                    continue;
                }
                if (keys[letter] != catchAllKey) {
                    throw "a letter has two places";
                }
                keys[letter] = keyOf(row.main, accent, letterCase);
            }
        }
    }
}

consteval Keys expandKeys() {
    Keys keys{};
    keys.fill(catchAllKey);
    for (unsigned int digit = 0; digit < 10; ++digit) {
        keys['0' + digit] = keyOf(0x05 + digit, 0, 0);
    }
    addLetters(keys, latinRows, firstLatinAccent);
    addLetters(keys, greekRows, firstGreekAccent);
    addLetters(keys, cyrillicRows, firstCyrillicAccent);
    for (std::size_t i = 0; i < signsAsLetters.size(); i += 3) {
        if (keys[signsAsLetters[i]] != catchAllKey || keys[signsAsLetters[i + 1]] == catchAllKey) {
            throw "a sign has a place of its own, or its letter has none";
        }
        keys[signsAsLetters[i]] = keys[signsAsLetters[i + 1]];
    }
    for (const KeyRow row : fixedRows) {
        keys[row.code] = row.key;
    }
    for (const IgnorableRange range : controls) {
        for (unsigned int code = range.first; code <= range.last; ++code) {
            keys[code] = 0;
        }
    }
    for (const char16_t character : ignorablePunctuation) {
        keys[character] = 0;
    }
    return keys;
}

constexpr Keys keys = expandKeys();

consteval unsigned int countIf(auto condition) {
    unsigned int count = 0;
    for (unsigned int code = 0; code <= lastCollated; ++code) {
        count += condition(keys[code]) ? 1 : 0;
    }
    return count;
}

static_assert(countIf([](std::uint32_t key) { return key == 0; }) == 129, "ignorable characters");
static_assert(countIf([](std::uint32_t key) { return expansionOf(key) != 0; }) == 18, "expansions");
static_assert(countIf([](std::uint32_t key) { return mainOf(key) == 0 && key != 0; }) == 0);
static_assert(countIf([](std::uint32_t key) { return expansionOf(keys[expansionOf(key)]) != 0; }) == 0,
              "the second character of an expansion never expands, nor is it ignorable");
static_assert(countIf([](std::uint32_t key) { return expansionOf(key) != 0 && keys[expansionOf(key)] == 0; }) == 0);

// Inside an alphabet no two letters share both main key and accent, whatever their case.
consteval bool everyAccentIsTakenOnce(const auto &rows, unsigned int firstAccent) {
    std::array<std::array<bool, 0x60>, 0x60> taken{};
    for (const LetterRow &row : rows) {
        for (std::size_t i = 0; i < row.letters.size(); i += 3) {
            const std::size_t accent = i == 0 ? 0 : firstAccent + i / 3 - 1;
            const bool present = row.letters[i] != absent || row.letters[i + 1] != absent;
            if (present && taken[row.main][accent]) {
                return false;
            }
            taken[row.main][accent] = taken[row.main][accent] || present;
        }
    }
    return true;
}
static_assert(everyAccentIsTakenOnce(latinRows, firstLatinAccent));
static_assert(everyAccentIsTakenOnce(greekRows, firstGreekAccent));
static_assert(everyAccentIsTakenOnce(cyrillicRows, firstCyrillicAccent));

// Whole pages without a key of their own.
consteval bool hasNoKeys(unsigned int first, unsigned int last) {
    for (unsigned int code = first; code <= last; ++code) {
        if (keys[code] != catchAllKey) {
            return false;
        }
    }
    return true;
}
static_assert(hasNoKeys(0x0240, 0x033F) && hasNoKeys(0x0480, 0x1FFF));

// Rows that callers know.
static_assert(keys['0'] == 0x05000000 && keys['9'] == 0x0E000000 && keys['A'] == 0x13000000 && keys['a'] == 0x13000100);
static_assert(keys['Z'] == 0x3E000000 && keys['N'] == 0x26000000 && keys['n'] == 0x26010100);
static_assert(keys[0x00C0] == 0x13040000 && keys[0x00C1] == 0x13010000 && keys[0x00C2] == 0x13030000);
static_assert(keys[0x00C3] == 0x130C0000 && keys[0x00C4] == 0x13050000 && keys[0x00C5] == 0x13090000);
static_assert(keys[0x00C6] == 0x130D0000 && keys[0x00C7] == 0x16030000 && keys[0x00C9] == 0x1B010000);
static_assert(keys[0x00D0] == 0x1A090000 && keys[0x00D1] == 0x26080000 && keys[0x00D8] == 0x27070000);
static_assert(keys[0x00DE] == 0x31000000 && keys[0x00E9] == 0x1B010100 && keys[0x00FF] == 0x3B040100);
static_assert(keys[0x00A2] == 0x16000100 && keys[0x00A9] == 0x16000100 && keys[0x00A3] == 0x24000000);
static_assert(keys[0x00A4] == 0x1B000000 && keys[0x00A5] == 0x3B000000 && keys[0x00AE] == 0x2B000100);
static_assert(keys[0x00AA] == 0x13000100 && keys[0x00B5] == 0x25000100 && keys[0x20AC] == 0x1B000000);
static_assert(keys[0x0391] == 0x13000000 && keys[0x0410] == 0x13000000 && keys[0x03B1] == 0x13000100);
static_assert(keys[0x0392] == 0x15000000 && keys[0x0411] == 0x15000000 && keys[0x0431] == 0x15000100);
static_assert(keys[0x039F] == 0x27000000 && keys[0x041E] == 0x27000000 && keys[0x2122] == 0x2F080000);

constexpr CollationKeys paged = inPages<collationPageSize, []() { return keys; }>();
static_assert([]() {
    for (unsigned int page = 0; page < directlyIndexed / collationPageSize; ++page) {
        if (paged.pageOf[page] != page) {
            return false;
        }
    }
    return true;
}());

} // namespace

constinit const CollationKeys collationKeys = paged;

static_assert(
    []() {
        unsigned int outsiders = 0;
        for (unsigned int code = 0; code < 128; ++code) {
            outsiders += expansionOf(keys[code]) != 0 || mainOf(keys[code]) == 0xFF ? 1 : 0;
        }
        return outsiders;
    }() == 1,
    "the percent sign alone stands for itself among the main keys of ASCII");

constinit const AsciiCollation asciiCollation = []() {
    AsciiCollation planes{};
    for (unsigned int code = 0; code < 128; ++code) {
        const std::uint32_t key = keys[code];
        planes.mains[code] = static_cast<std::uint8_t>(expansionOf(key) != 0 ? 0xFF : mainOf(key));
        planes.accents[code] = static_cast<std::uint8_t>(accentOf(key));
        planes.cases[code] = static_cast<std::uint8_t>(caseOf(key));
    }
    return planes;
}();

} // namespace zelk::tables
