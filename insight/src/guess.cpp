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

bool isLetter(unsigned int character) {
    return character >= 0x100 ? (zelkcharGetClass(character) & (CharClassLetter | CharClassMark)) != 0 ||
                                    (character >= 0x0370 && character < 0x1100) || character >= 0x3040
                              : (zelkcharGetClass(character) & CharClassLetter) != 0;
}

unsigned int signCost(unsigned int character) {
    constexpr std::array<unsigned short, 31> usual = {0x00A0, 0x00A1, 0x00A3, 0x00A7, 0x00AA, 0x00AB, 0x00AE, 0x00B0,
                                                      0x00B4, 0x00B7, 0x00BA, 0x00BB, 0x00BC, 0x00BD, 0x00BE, 0x00BF,
                                                      0x00A9, 0x2013, 0x2014, 0x2015, 0x2018, 0x2019, 0x201A, 0x201C,
                                                      0x201D, 0x201E, 0x2022, 0x2026, 0x20AC, 0x2122, 0x266A};
    if (character < 0x80) {
        return character < 0x20 && character != 0x0A && character != 0x09 ? lostControl : 0;
    }
    return character == lostCharacter                                        ? lostControl
           : character == missingCharacter                                   ? noCharacter
           : std::find(usual.begin(), usual.end(), character) != usual.end() ? usualSign
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
    bool whole = true; // false where more different ones came than there are numbers

    void add(unsigned int character) {
        const auto unit = static_cast<unsigned short>(character);
        const unsigned short *const begin = different.data();
        auto number = static_cast<unsigned int>(std::find(begin, begin + differentCount, unit) - begin);
        if (number == differentCount) {
            if (differentCount == different.size()) {
                whole = false;
                number = 0;
            } else {
                different[differentCount++] = unit;
            }
        }
        units[count] = unit;
        numbers[count++] = static_cast<unsigned char>(number);
    }
};

// False where the bytes cannot be UTF-8. A sequence that the look cuts off is no fault.
bool readUtf8(const unsigned char *bytes, unsigned int count, Characters &characters) {
    for (unsigned int at = 0; at < count;) {
        const Utf8Character character = utf8Read(bytes + at, count - at);
        if (!character.valid) {
            return at + 4 > count && count == longestLook && at != 0;
        }
        characters.add(character.codePoint > 0xFFFD ? 0xFFFDU : character.codePoint);
        at += character.length;
    }
    return true;
}

void readBytes(zelkInsightTable number, const unsigned char *bytes, unsigned int count, Characters &characters) {
    const tables::DvbTable table = byteTable(number);
    const tables::CodePoints &set = tables::codePointsOf(table.set);
    const bool marks = table.set == tables::ByteSet::DvbDefault;
    for (unsigned int at = 0; at < count; ++at) {
        const unsigned int byte = bytes[at];
        if (byte >= 0x80 && byte < 0xA0 && !isWindows(number)) {
            const bool known = byte == 0x8A || byte == 0x86 || byte == 0x87;
            characters.add(known ? 0x0AU : lostCharacter);
            continue;
        }
        if (marks && at + 1 < count) {
            const unsigned int composed = tables::composeIn(tables::dvbMarks, tables::latinMarks, bytes[at + 1], byte);
            if (composed != 0) {
                ++at;
                // A mark that the letter cannot wear is none of this text.
                characters.add(composed == bytes[at] ? missingCharacter : composed);
                continue;
            }
        }
        const bool markAlone = marks && tables::dvbMarks.sets[tables::latinMarks].columnOf[byte] != 0;
        const unsigned int character = set[byte];
        characters.add(markAlone                                        ? missingCharacter
                       : character != tables::unassigned || byte < 0x80 ? character
                                                                        : missingCharacter);
    }
}

// ---- Weighing ----

enum Kind : unsigned char { NoLetter, Small, Capital };
enum Script : unsigned char { NoScript, Latin, OtherScript };

bool isApostrophe(unsigned int character) {
    return character == 0x2019 || character == 0x2018 || character == 0x00B7 || character == 0x00AD;
}

// What does not depend on the language: signs, capitals, and letters of two scripts in one word.
unsigned int costOfSigns(const Characters &characters) {
    std::array<Kind, 256> kinds;
    std::array<Script, 256> scripts;
    std::array<unsigned char, 256> costs;
    for (unsigned int i = 0; i < characters.differentCount; ++i) {
        const unsigned int character = characters.different[i];
        const bool letter = character < lostCharacter && isLetter(character);
        const bool latin = character < 0x0250 || (character >= 0x1E00 && character < 0x1F00);
        kinds[i] = !letter ? NoLetter : zelk2lowerChar(character) != character ? Capital : Small;
        scripts[i] = !letter ? NoScript : latin ? Latin : OtherScript;
        costs[i] = letter ? 0 : static_cast<unsigned char>(signCost(character));
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

unsigned int costByLanguage(const Characters &characters, const models::GuessLanguage &language) {
    constexpr unsigned char none = 0;
    constexpr unsigned char unknown = 255;
    constexpr unsigned char foreign = 254;
    const auto *const letters = models::guessLetters + language.letters;
    const auto *const lettersEnd = letters + language.letterCount;
    const bool latin = letters[0] == 'a';
    std::array<unsigned char, 256> places;
    for (unsigned int i = 0; i < characters.differentCount; ++i) {
        const unsigned int character = characters.different[i];
        const unsigned int small = character < lostCharacter ? zelk2lowerChar(character) : character;
        const auto *const found = std::lower_bound(letters, lettersEnd, small);
        const bool known = found != lettersEnd && *found == small;
        places[i] = known ? static_cast<unsigned char>(found - letters + 1)
                    : character >= lostCharacter || !isLetter(character) ? none
                    : small < 0x80 && !latin                             ? foreign
                                                                         : unknown;
    }
    const unsigned int width = language.letterCount + 1U;
    const unsigned char *const costs = models::guessCosts + language.costs;
    unsigned int cost = 0;
    unsigned int before = none;
    bool known = true; // the one before
    for (unsigned int i = 0; i < characters.count; ++i) {
        const unsigned int now = places[characters.numbers[i]];
        if (now >= foreign) {
            cost += now == unknown ? unknownLetter : foreignLetter;
            known = false;
            continue;
        }
        if (known) {
            const unsigned int place = before * width + now;
            cost += place % 2 == 0 ? costs[place / 2] >> 4U : costs[place / 2] & 0x0FU;
        } else {
            cost += now == none ? 1 : afterUnknown;
        }
        before = now;
        known = true;
    }
    return cost;
}

bool isLanguage(const models::GuessLanguage &language, const char *code) {
    return std::strcmp(language.code, code) == 0 || std::strcmp(language.bibliographic, code) == 0 ||
           std::strcmp(language.terminologic, code) == 0;
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

Weighed weigh(const Characters &characters, const char *language) {
    Weighed best{0xFFFFFFFFU, 0, hashOf(characters)};
    for (unsigned int i = 0; i < std::size(models::guessLanguages); ++i) {
        unsigned int cost = costByLanguage(characters, models::guessLanguages[i]) + languageGain;
        if (language != nullptr && isLanguage(models::guessLanguages[i], language)) {
            cost -= languageGain;
        }
        if (cost < best.cost) {
            best.cost = cost;
            best.language = i;
        }
    }
    best.cost += costOfSigns(characters);
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
    std::array<Weighed, candidateCount> weighed;
    std::array<unsigned int, candidateCount> order;
    unsigned int found = 0;
    unsigned int announcedPlace = candidateCount;
    for (unsigned int i = 0; i < candidateCount; ++i) {
        Characters characters;
        const zelkInsightTable table = candidates[i].table;
        if (table != ZelkInsightTableUtf8) {
            readBytes(table, bytes, count, characters);
        } else if (!readUtf8(bytes, count, characters)) {
            continue;
        }
        weighed[i] = weigh(characters, language);
        weighed[i].cost += candidates[i].prior;
        announcedPlace = table == announced ? i : announcedPlace;
        order[found++] = i;
    }
    // What the string says of itself counts for all candidates that say the same.
    if (marked && announcedPlace != candidateCount) {
        const std::uint64_t text = weighed[announcedPlace].text;
        for (unsigned int i = 0; i < found; ++i) {
            weighed[order[i]].cost += weighed[order[i]].text == text ? 0 : announcedGain;
        }
    }
    const auto isBefore = [&](unsigned int a, unsigned int b) {
        const bool announcedFirst = a == announcedPlace && weighed[a].text == weighed[b].text;
        return announcedFirst ||
               (weighed[a].cost < weighed[b].cost && !(b == announcedPlace && weighed[a].text == weighed[b].text));
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
        // A text counts once, with its cheapest candidate.
        const Weighed &now = weighed[order[i]];
        bool counted = false;
        for (unsigned int k = 0; k < i; ++k) {
            if (weighed[order[k]].text == now.text) {
                share[i] = share[k];
                counted = true;
            }
        }
        if (!counted) {
            const unsigned int above = now.cost - weighed[order[0]].cost;
            share[i] = std::ldexp(partsOfBit[above % bitsOfDoubt], -static_cast<int>(above / bitsOfDoubt));
            sum += share[i];
        }
    }
    for (unsigned int i = 0; i < found && i < room && guesses != nullptr; ++i) {
        const Weighed &now = weighed[order[i]];
        guesses[i].table = candidates[order[i]].table;
        guesses[i].confidence = static_cast<unsigned int>(share[i] / sum * ZELK_INSIGHT_CERTAIN + 0.5);
        std::memcpy(guesses[i].language, models::guessLanguages[now.language].bibliographic, 4);
        guesses[i].announced = announcedPlace != candidateCount && now.text == weighed[announcedPlace].text ? 1 : 0;
    }
    return found;
}

} // namespace zelk::insight
