// Which table a text is in, by what it would say.
//
// Each candidate table turns the bytes to characters, and each language says how many bits these cost: letters by the
// letter before (tables/guess_tables.h), what is no letter by how usual it is, capitals inside words, bytes without a
// character. The cheapest reading is the best guess; the distance to the others gives the confidence. Candidates that
// say the same text share their confidence.
#include "guess.h"
#include "byte_tables.h"
#include "utf8.h"

#include "../tables/guess_tables.h"

#include "detail/dvb_select.h"
#include "tables/derived.h"
#include "tables/dvb_marks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace zelk::insight {
namespace {

constexpr unsigned int longestLook = 512; // bytes: what a guess is made of

// ---- Candidates ----

struct Candidate {
    zelkInsightTable table;
    unsigned int prior; // bits: how seldom it is sent without being announced
};

constexpr Candidate candidates[] = {
    {ZelkInsightTableDefault, 2},           {ZelkInsightTableUtf8, 0},
    {ZelkInsightTableIso8859_1, 1},         {static_cast<zelkInsightTable>(10), 2}, // ISO 8859-9
    {static_cast<zelkInsightTable>(15), 2},                                         // ISO 8859-15
    {static_cast<zelkInsightTable>(6), 2},                                          // ISO 8859-5
    {static_cast<zelkInsightTable>(8), 2},                                          // ISO 8859-7
    {static_cast<zelkInsightTable>(3), 2},                                          // ISO 8859-2
    {ZelkInsightTableWindows1252, 3},       {ZelkInsightTableWindows1250, 4},
    {ZelkInsightTableWindows1251, 3},       {ZelkInsightTableIso8859_13, 3},
    {static_cast<zelkInsightTable>(5), 5}, // ISO 8859-4
    {static_cast<zelkInsightTable>(7), 3}, // ISO 8859-6
    {static_cast<zelkInsightTable>(9), 3}, // ISO 8859-8
    {ZelkInsightTableIso8859_11, 3},        {ZelkInsightTableWindows1253, 4},
    {ZelkInsightTableWindows1254, 4},       {ZelkInsightTableWindows1257, 4},
    {ZelkInsightTableIso8859_16, 6},        {static_cast<zelkInsightTable>(11), 6}, // ISO 8859-10
    {static_cast<zelkInsightTable>(14), 7},                                         // ISO 8859-14
    {static_cast<zelkInsightTable>(4), 8},                                          // ISO 8859-3
    {ZelkInsightTableLatin9Marks, 2}, // only where it is announced: one region has it
};
constexpr unsigned int candidateCount = std::size(candidates);
static_assert(candidateCount <= ZELK_INSIGHT_MOST_GUESSES);

// ---- Costs, in bits ----

constexpr unsigned int unknownLetter = 20; // a letter that the language does not have
constexpr unsigned int afterUnknown = 8;
constexpr unsigned int foreignLetter = 6;      // of ASCII, in a language of another script
constexpr unsigned int capitalInside = 9;      // after a small letter
constexpr unsigned int smallInside = 5;        // beyond ASCII, between capitals
constexpr unsigned int otherScriptInside = 12; // a letter next to one of another script
constexpr unsigned int signInside = 10;        // a sign beyond ASCII between two letters
constexpr unsigned int usualSign = 5;
constexpr unsigned int rareSign = 14;
constexpr unsigned int lostControl = 22;
constexpr unsigned int noCharacter = 40;
constexpr unsigned int announcedGain = 30; // what speaks for the table that the string names
constexpr unsigned int languageGain = 12;

// Costs are added up as if letters were independent: so many bits count as one. Two to the power of minus the parts:
constexpr unsigned int bitsOfDoubt = 4;
constexpr std::array<double, bitsOfDoubt> partsOfBit = {1, 0.8408964152537145, 0.7071067811865476, 0.5946035575013605};

constexpr unsigned int lostCharacter = 0xFFFE; // of a byte that gives nothing
constexpr unsigned int missingCharacter = 0xFFFF;
// The same to the costs, and another text: the default table has marks that stand alone, and nothing for its holes.
constexpr unsigned int lonelyMark = 0xDFFE;
constexpr unsigned int lostByte = 0xDFFF;

constexpr bool isMissing(unsigned int character) {
    return character == missingCharacter || character == lonelyMark || character == lostByte;
}

bool isLetter(unsigned int character) {
    return character >= 0x100 ? (zelkcharGetClass(character) & (CharClassLetter | CharClassMark)) != 0 ||
                                    (character >= 0x0370 && character < 0x1100) || character >= 0x3040
                              : (zelkcharGetClass(character) & CharClassLetter) != 0;
}

unsigned int signCost(unsigned int character) {
    static constexpr unsigned short usual[] = {0x00A0, 0x00A1, 0x00A3, 0x00A7, 0x00AB, 0x00AE, 0x00B0, 0x00B4,
                                               0x00B7, 0x00BB, 0x00BC, 0x00BD, 0x00BE, 0x00BF, 0x00A9, 0x2013,
                                               0x2014, 0x2015, 0x2018, 0x2019, 0x201A, 0x201C, 0x201D, 0x201E,
                                               0x2022, 0x2026, 0x20AC, 0x2122, 0x266A};
    if (character < 0x80) {
        return character < 0x20 && character != 0x0A && character != 0x09 ? lostControl : 0;
    }
    return character == lostCharacter                                                    ? lostControl
           : isMissing(character)                                                        ? noCharacter
           : std::find(std::begin(usual), std::end(usual), character) != std::end(usual) ? usualSign
                                                                                         : rareSign;
}

// ---- Reading by a table ----

// The text as characters, and once more as numbers of the different ones among them.
struct Characters {
    std::array<unsigned short, longestLook> units;
    std::array<unsigned char, longestLook> numbers;
    std::array<unsigned short, 256> different;
    unsigned int count = 0;
    unsigned int differentCount = 0;

    // Where more different ones come than there are numbers, the others count as the first.
    unsigned char numberOf(unsigned int character) {
        const auto unit = static_cast<unsigned short>(character);
        const unsigned short *const begin = different.data();
        const auto number = static_cast<unsigned int>(std::find(begin, begin + differentCount, unit) - begin);
        if (number == different.size()) {
            return 0;
        }
        if (number == differentCount) {
            different[differentCount++] = unit;
        }
        return static_cast<unsigned char>(number);
    }
    void add(unsigned int character, unsigned char number) {
        units[count] = static_cast<unsigned short>(character);
        numbers[count++] = number;
    }
    void add(unsigned int character) { add(character, numberOf(character)); }
};

// False where the bytes cannot be UTF-8. A sequence that the look cuts off is no fault.
bool readUtf8(const unsigned char *bytes, unsigned int count, Characters &characters) {
    for (unsigned int at = 0; at < count;) {
        const Utf8Character character = utf8Read(bytes + at, count - at);
        if (!character.valid) {
            return at + 4 > count && count == longestLook;
        }
        characters.add(character.codePoint > 0xFFFD ? 0xFFFDU : character.codePoint);
        at += character.length;
    }
    return true;
}

// What a byte stands for where it is no mark of the letter after it.
unsigned int characterOf(zelkInsightTable number, const tables::CodePoints &set, unsigned int byte) {
    if (byte >= 0x80 && byte < 0xA0 && !isWindows(number)) {
        const bool known = byte == 0x8A || byte == 0x86 || byte == 0x87;
        return known ? 0x0AU : lostCharacter;
    }
    const bool isDefault = number == ZelkInsightTableDefault;
    if (isDefault && tables::dvbMarks.sets[tables::latinMarks].columnOf[byte] != 0) {
        return lonelyMark;
    }
    // The default table has no control codes below 0x20; all others have.
    return set[byte] != tables::unassigned ? set[byte]
           : byte < 0x80                   ? lostCharacter
           : isDefault                     ? lostByte
                                           : missingCharacter;
}

void readBytes(zelkInsightTable number, const unsigned char *bytes, unsigned int count, Characters &characters) {
    const tables::DvbTable table = byteTable(number);
    const tables::CodePoints &set = tables::codePointsOf(table.set);
    const bool marks = table.marks != tables::noMarks;
    std::array<bool, 256> seen{};
    std::array<unsigned short, 256> units;
    std::array<unsigned char, 256> numbers;
    for (unsigned int at = 0; at < count; ++at) {
        const unsigned int byte = bytes[at];
        if (marks && byte >= 0xA0 && at + 1 < count) {
            const unsigned int composed = tables::composeIn(tables::dvbMarks, table.marks, bytes[at + 1], byte);
            if (composed != 0) {
                ++at;
                // A mark that the letter cannot wear is none of this text.
                characters.add(composed == bytes[at] ? missingCharacter : composed);
                continue;
            }
        }
        if (!seen[byte]) {
            seen[byte] = true;
            units[byte] = static_cast<unsigned short>(characterOf(number, set, byte));
            numbers[byte] = characters.numberOf(units[byte]);
        }
        characters.add(units[byte], numbers[byte]);
    }
}

// ---- Alphabets ----

// The place of a letter in an alphabet, from 1, or one of these.
constexpr unsigned char none = 0;
constexpr unsigned char unknown = 255;
constexpr unsigned char foreign = 254; // of ASCII, in an alphabet of another script

constexpr unsigned int languageCount = std::size(models::guessLanguages);
constexpr unsigned int noAsciiLetter = 26;

using Places = std::array<unsigned char, languageCount>; // of one character

// By the letters of ASCII, of which most text has the most, and `none` for what is no letter.
ZELK_DERIVING std::array<Places, noAsciiLetter + 1> placesOfAscii() {
    std::array<Places, noAsciiLetter + 1> places{};
    for (unsigned int i = 0; i < languageCount; ++i) {
        const models::GuessLanguage &language = models::guessLanguages[i];
        const std::uint16_t *const alphabet = models::guessLetters + language.letters;
        for (unsigned int letter = 0; letter < noAsciiLetter; ++letter) {
            places[letter][i] = alphabet[0] == 'a' ? unknown : foreign;
        }
        for (unsigned int place = 0; place < language.letterCount && alphabet[place] < 0x80; ++place) {
            places[alphabet[place] - 'a'][i] = static_cast<unsigned char>(place + 1);
        }
    }
    return places;
}

ZELK_DERIVED auto asciiPlaces = placesOfAscii();

#if defined(ZELK_COMPACT)

// The others are looked for in all alphabets.
void findPlaces(unsigned int small, Places &places) {
    if (small - 'a' < noAsciiLetter) {
        places = asciiPlaces[small - 'a'];
        return;
    }
    for (unsigned int i = 0; i < languageCount; ++i) {
        const models::GuessLanguage &language = models::guessLanguages[i];
        const std::uint16_t *const alphabet = models::guessLetters + language.letters;
        const auto place = std::find(alphabet, alphabet + language.letterCount, small) - alphabet;
        places[i] = place == language.letterCount ? unknown : static_cast<unsigned char>(place + 1);
    }
}

#else

// The other letters of all alphabets, in order, one after another where several alphabets have them.
struct LetterPlace {
    unsigned short letter;
    unsigned char language;
    unsigned char place;
};

constexpr std::size_t letterPlaceCount = []() {
    std::size_t count = 0;
    for (const models::GuessLanguage &language : models::guessLanguages) {
        for (unsigned int i = 0; i < language.letterCount; ++i) {
            count += models::guessLetters[language.letters + i] >= 0x80 ? 1 : 0;
        }
    }
    return count;
}();

constexpr auto letterPlaces = []() {
    std::array<LetterPlace, letterPlaceCount> all{};
    std::size_t count = 0;
    for (unsigned int i = 0; i < languageCount; ++i) {
        const models::GuessLanguage &language = models::guessLanguages[i];
        for (unsigned int k = 0; k < language.letterCount; ++k) {
            const std::uint16_t letter = models::guessLetters[language.letters + k];
            if (letter >= 0x80) {
                all[count++] = {letter, static_cast<unsigned char>(i), static_cast<unsigned char>(k + 1)};
            }
        }
    }
    std::sort(all.begin(), all.end(), [](LetterPlace a, LetterPlace b) { return a.letter < b.letter; });
    return all;
}();

void findPlaces(unsigned int small, Places &places) {
    if (small - 'a' < noAsciiLetter) {
        places = asciiPlaces[small - 'a'];
        return;
    }
    places.fill(unknown);
    const auto isBefore = [](LetterPlace candidate, unsigned int letter) { return candidate.letter < letter; };
    const LetterPlace *const end = letterPlaces.data() + letterPlaces.size();
    const LetterPlace *at = std::lower_bound(letterPlaces.data(), end, small, isBefore);
    for (; at != end && at->letter == small; ++at) {
        places[at->language] = at->place;
    }
}

#endif

// ---- Weighing ----

enum Kind : unsigned char { NoLetter, Small, Capital };
enum Script : unsigned char { NoScript, Latin, OtherScript };

bool isApostrophe(unsigned int character) {
    return character == 0x2019 || character == 0x2018 || character == 0x00B7 || character == 0x00AD;
}

// What the different characters of a text are, and where in the alphabets.
struct Letters {
    explicit Letters(const Characters &characters) {
        for (unsigned int i = 0; i < characters.differentCount; ++i) {
            const unsigned int character = characters.different[i];
            if (character == lostCharacter || isMissing(character) || !isLetter(character)) {
                kinds[i] = NoLetter;
                places[i].fill(none);
            } else {
                const unsigned int small = zelk2lowerChar(character);
                kinds[i] = small != character ? Capital : Small;
                findPlaces(small, places[i]);
            }
        }
    }

    std::array<Kind, 256> kinds;
    std::array<Places, 256> places;
};

// What does not depend on the language: signs, capitals, and letters of two scripts in one word.
unsigned int costOfSigns(const Characters &characters, const Letters &letters) {
    const std::array<Kind, 256> &kinds = letters.kinds;
    std::array<Script, 256> scripts;
    std::array<unsigned char, 256> costs;
    for (unsigned int i = 0; i < characters.differentCount; ++i) {
        const unsigned int character = characters.different[i];
        const bool latin = character < 0x0250 || (character >= 0x1E00 && character < 0x1F00);
        scripts[i] = kinds[i] == NoLetter ? NoScript : latin ? Latin : OtherScript;
        costs[i] = kinds[i] == NoLetter ? static_cast<unsigned char>(signCost(character)) : 0;
    }
    unsigned int cost = 0;
    Kind beforeThat = NoLetter;
    Kind before = NoLetter;
    Script scriptBefore = NoScript;
    bool asciiBefore = true;
    for (unsigned int i = 0; i < characters.count; ++i) {
        const unsigned int number = characters.numbers[i];
        const Kind kind = kinds[number];
        const bool ascii = characters.units[i] < 0x80;
        cost += costs[number];
        if (kind == Capital && before == Small && !(ascii && asciiBefore)) {
            cost += capitalInside;
        } else if (kind == Small && before == Capital && beforeThat == Capital && !ascii) {
            cost += smallInside;
        }
        if (scriptBefore != NoScript && scripts[number] != NoScript && scripts[number] != scriptBefore) {
            cost += otherScriptInside;
        }
        const bool inside =
            before != NoLetter && i + 1 < characters.count && kinds[characters.numbers[i + 1]] != NoLetter;
        if (kind == NoLetter && !ascii && inside && !isApostrophe(characters.units[i])) {
            cost += signInside;
        }
        beforeThat = before;
        before = kind;
        scriptBefore = scripts[number];
        asciiBefore = ascii;
    }
    return cost;
}

// What a character costs after another, by their places.
unsigned int costAfter(const models::GuessLanguage &language, unsigned int before, unsigned int now) {
    if (now >= foreign) {
        return now == unknown ? unknownLetter : foreignLetter;
    }
    if (before >= foreign) {
        return now == none ? 1 : afterUnknown;
    }
    const unsigned int place = before * (language.letterCount + 1U) + now;
    const unsigned int pair = models::guessCosts[language.costs + place / 2];
    return place % 2 == 0 ? pair >> 4U : pair & 0x0FU;
}

// Where in a text its cost depends on the table that it is read by, and by language the cost of all else.
struct Differences {
    std::array<unsigned short, longestLook> places;
    unsigned int count = 0;
    std::array<unsigned int, languageCount> alike{};
};

// Of tables with a character for each byte: one of ASCII after another costs the same in all of them.
void findDifferences(const unsigned char *bytes, unsigned int count, Differences &differences) {
    std::array<unsigned char, longestLook + 1> letters; // the first is before the text
    std::array<unsigned short, longestLook> others;
    unsigned int otherCount = 0;
    letters[0] = noAsciiLetter;
    for (unsigned int at = 0; at < count; ++at) {
        const unsigned int letter = (bytes[at] | 0x20U) - 'a';
        letters[at + 1] = static_cast<unsigned char>(std::min(letter, noAsciiLetter));
        const bool differs = bytes[at] >= 0x80 || (at != 0 && bytes[at - 1] >= 0x80);
        (differs ? differences.places[differences.count++] : others[otherCount++]) = static_cast<unsigned short>(at);
    }
    for (unsigned int i = 0; i < languageCount; ++i) {
        for (unsigned int k = 0; k < otherCount; ++k) {
            const unsigned int at = others[k];
            differences.alike[i] +=
                costAfter(models::guessLanguages[i], asciiPlaces[letters[at]][i], asciiPlaces[letters[at + 1]][i]);
        }
    }
}

void takeAll(unsigned int count, Differences &differences) {
    for (; differences.count < count; ++differences.count) {
        differences.places[differences.count] = static_cast<unsigned short>(differences.count);
    }
}

// Gives up above `limit`: a language that costs more than another is not the text's.
unsigned int costByLanguage(const Characters &characters, const Letters &letters, const Differences &differences,
                            unsigned int number, unsigned int limit) {
    const auto placeAt = [&](unsigned int at) { return letters.places[characters.numbers[at]][number]; };
    unsigned int cost = differences.alike[number];
    for (unsigned int i = 0; i < differences.count && cost <= limit; ++i) {
        const unsigned int at = differences.places[i];
        cost += costAfter(models::guessLanguages[number], at == 0 ? none : placeAt(at - 1), placeAt(at));
    }
    return cost;
}

// The languages of countries (ISO 3166) whose broadcasts are likely in one of those above.
struct Country {
    char code[3];
    char languages[3][4]; // as GuessLanguage::bibliographic has them
};

constexpr Country countries[] = {
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

static_assert(std::all_of(std::begin(countries), std::end(countries), [](const Country &country) {
    return std::all_of(std::begin(country.languages), std::end(country.languages), [](const char(&code)[4]) {
        return code[0] == 0 || std::any_of(std::begin(models::guessLanguages), std::end(models::guessLanguages),
                                           [&code](const models::GuessLanguage &language) {
                                               return std::equal(code, code + 4, language.bibliographic);
                                           });
    });
}));

// A bit for each language that goes by this code or is one of the country's of this code, which may be null.
std::uint64_t languagesOf(const char *code) {
    static_assert(languageCount <= 64);
    if (code == nullptr) {
        return 0;
    }
    const auto *const country = std::find_if(std::begin(countries), std::end(countries),
                                             [code](const Country &one) { return std::strcmp(one.code, code) == 0; });
    std::uint64_t bits = 0;
    for (unsigned int i = 0; i < languageCount; ++i) {
        const models::GuessLanguage &language = models::guessLanguages[i];
        const auto isSpoken = [&language](const char *spoken) {
            return std::strcmp(spoken, language.bibliographic) == 0;
        };
        const bool expected = country != std::end(countries)
                                  ? std::any_of(std::begin(country->languages), std::end(country->languages), isSpoken)
                                  : isSpoken(code) || std::strcmp(language.code, code) == 0 ||
                                        std::strcmp(language.terminologic, code) == 0;
        bits |= static_cast<std::uint64_t>(expected) << i;
    }
    return bits;
}

struct Weighed {
    unsigned int cost;
    unsigned int language;
    std::uint64_t text; // a hash: the same for candidates that say the same
};

std::uint64_t hashOf(const Characters &characters) {
    std::uint64_t hash = 0xCBF29CE484222325U; // FNV-1a
    for (unsigned int i = 0; i < characters.count; ++i) {
        hash = (hash ^ characters.units[i]) * 0x100000001B3U;
    }
    return hash;
}

// Begins with the language `first`, which the result does not depend on: what is likely cheap lets the others end
// early.
Weighed weigh(const Characters &characters, const Differences &differences, std::uint64_t expected,
              unsigned int first) {
    const Letters letters(characters);
    Weighed best{0xFFFFFFFFU, languageCount, 0};
    for (unsigned int i = 0; i <= languageCount; ++i) {
        const unsigned int number = i == 0 ? first : i - 1;
        const unsigned int prior = (expected >> number & 1U) != 0 ? 0 : languageGain;
        if (best.cost < prior) {
            continue;
        }
        const unsigned int cost = prior + costByLanguage(characters, letters, differences, number, best.cost - prior);
        if (cost < best.cost || (cost == best.cost && number < best.language)) {
            best.cost = cost;
            best.language = number;
        }
    }
    best.cost += costOfSigns(characters, letters);
    return best;
}

} // namespace

unsigned int guessTables(const unsigned char *bytes, unsigned int length, zelkInsightTable announced, bool marked,
                         const char *language, zelkInsightGuess *guesses, unsigned int room) {
    const unsigned int count = std::min(length, longestLook);
    const bool ascii = std::all_of(bytes, bytes + count, [](unsigned char byte) { return byte < 0x80; });
    if (ascii) {
        if (guesses != nullptr && room != 0) {
            guesses[0] = {announced, ZELK_INSIGHT_CERTAIN, {}, 1};
        }
        return 1;
    }
    const std::uint64_t expected = languagesOf(language);
    Differences byteByByte;
    findDifferences(bytes, count, byteByByte);
    std::array<Weighed, candidateCount> weighed;
    std::array<unsigned int, candidateCount> order;
    unsigned int found = 0;
    unsigned int announcedPlace = candidateCount;
    for (unsigned int i = 0; i < candidateCount; ++i) {
        Characters characters;
        const zelkInsightTable table = candidates[i].table;
        if (table == ZelkInsightTableLatin9Marks && table != announced) {
            continue;
        }
        if (table != ZelkInsightTableUtf8) {
            readBytes(table, bytes, count, characters);
        } else if (!readUtf8(bytes, count, characters)) {
            continue;
        }
        const std::uint64_t text = hashOf(characters);
        const unsigned int *const first = order.data();
        const unsigned int *const end = first + found;
        const unsigned int *const same =
            std::find_if(first, end, [&](unsigned int other) { return weighed[other].text == text; });
        if (same != end) {
            weighed[i] = weighed[*same];
            weighed[i].cost -= candidates[*same].prior;
        } else {
            Differences all;
            const bool joined = characters.count != count; // several bytes to one character
            if (joined) {
                takeAll(characters.count, all);
            }
            weighed[i] = weigh(characters, joined ? all : byteByByte, expected,
                               found == 0 ? 0 : weighed[order[found - 1]].language);
            weighed[i].text = text;
        }
        weighed[i].cost += candidates[i].prior;
        announcedPlace = table == announced ? i : announcedPlace;
        order[found++] = i;
    }
    // What the string says of itself counts for all candidates that say the same. Of these it names the most usual one.
    if (announcedPlace != candidateCount) {
        Weighed &own = weighed[announcedPlace];
        for (unsigned int i = 0; i < found; ++i) {
            Weighed &other = weighed[order[i]];
            if (other.text == own.text) {
                own.cost = std::min(own.cost, other.cost);
            } else if (marked) {
                other.cost += announcedGain;
            }
        }
    }
    // A text is as likely as its cheapest candidate: those that say the same are together.
    std::array<unsigned int, candidateCount> costOfText{};
    for (unsigned int i = 0; i < found; ++i) {
        unsigned int &cost = costOfText[order[i]];
        cost = weighed[order[i]].cost;
        for (unsigned int k = 0; k < found; ++k) {
            const Weighed &other = weighed[order[k]];
            cost = other.text == weighed[order[i]].text ? std::min(cost, other.cost) : cost;
        }
    }
    const auto isBefore = [&](unsigned int a, unsigned int b) {
        const auto keyOf = [&](unsigned int one) { return std::array{costOfText[one], weighed[one].cost}; };
        return keyOf(a) < keyOf(b) || (keyOf(a) == keyOf(b) && a == announcedPlace);
    };
    // By insertion: the standard library's stable sort may allocate.
    for (unsigned int i = 1; i < found; ++i) {
        const unsigned int now = order[i];
        unsigned int place = i;
        for (; place > 0 && isBefore(now, order[place - 1]); --place) {
            order[place] = order[place - 1];
        }
        order[place] = now;
    }
    double sum = 0;
    std::array<double, candidateCount> share{};
    for (unsigned int i = 0; i < found; ++i) {
        const unsigned int now = order[i];
        const unsigned int above = costOfText[now] - costOfText[order[0]];
        share[i] = std::ldexp(partsOfBit[above % bitsOfDoubt], -static_cast<int>(above / bitsOfDoubt));
        const bool counted = std::any_of(order.data(), order.data() + i,
                                         [&](unsigned int other) { return weighed[other].text == weighed[now].text; });
        sum += counted ? 0 : share[i];
    }
    for (unsigned int i = 0; i < found && i < room && guesses != nullptr; ++i) {
        const Weighed &now = weighed[order[i]];
        guesses[i].table = candidates[order[i]].table;
        guesses[i].confidence = static_cast<unsigned int>(std::nearbyint(share[i] / sum * ZELK_INSIGHT_CERTAIN));
        std::memcpy(guesses[i].language, models::guessLanguages[now.language].bibliographic, 4);
        guesses[i].announced = announcedPlace != candidateCount && now.text == weighed[announcedPlace].text ? 1 : 0;
    }
    return found;
}

} // namespace zelk::insight
