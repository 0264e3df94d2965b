// The guess of a character table, as slow and plain as it can be written: every table is read whole, and every language
// weighs every character. Its sets are the system's and the rows of the model of DVB text; of the library it has the
// statistics of languages and what is a letter.
#pragma once

#include "reference/dvb_model.h"

#include "../../insight/tables/guess_tables.h"
#include "zelk.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelk_test {

// By the numbers of zelkInsightTable, with what speaks against a table that no string announces, in bits.
struct ModelCandidate {
    unsigned int table;
    unsigned int prior;
};

inline constexpr unsigned int modelUtf8Table = 64;
inline constexpr ModelCandidate modelCandidates[] = {{0, 2},  {modelUtf8Table, 0},
                                                     {2, 1},  {10, 2},
                                                     {15, 2}, {6, 2},
                                                     {8, 2},  {3, 2},
                                                     {34, 3}, {32, 4},
                                                     {33, 3}, {13, 3},
                                                     {5, 5},  {7, 3},
                                                     {9, 3},  {12, 3},
                                                     {35, 4}, {36, 4},
                                                     {37, 4}, {16, 6},
                                                     {11, 6}, {14, 7},
                                                     {4, 8},  {18, 2}};

struct ModelGuess {
    unsigned int table;
    unsigned int confidence;
    std::string language;
    bool announced;
};

class GuessModel {
public:
    // `announced` is the table that the string is read with otherwise, `marked` whether its selector names that.
    static std::vector<ModelGuess> guesses(const std::string &body, unsigned int announced, bool marked,
                                           const std::vector<std::string> &expected) {
        const std::string seen = body.substr(0, 512);
        std::vector<Weighed> all;
        for (const ModelCandidate &candidate : modelCandidates) {
            if (candidate.table == 18 && announced != 18) {
                continue; // one region alone has it
            }
            if (const auto text = textBy(candidate.table, seen)) {
                Weighed weighed = weigh(*text, expected);
                weighed.table = candidate.table;
                weighed.cost += candidate.prior;
                all.push_back(weighed);
            }
        }
        const auto own =
            std::find_if(all.begin(), all.end(), [&](const Weighed &one) { return one.table == announced; });
        if (own != all.end()) {
            for (Weighed &other : all) {
                if (other.text == own->text) {
                    own->cost = std::min(own->cost, other.cost); // it is as usual as whatever says the same
                } else {
                    other.cost += marked ? 30 : 0;
                }
            }
        }
        const std::optional<std::u16string> ownText = own == all.end() ? std::nullopt : std::optional(own->text);
        for (Weighed &one : all) {
            one.cheapest = one.cost;
            for (const Weighed &other : all) {
                one.cheapest = other.text == one.text ? std::min(one.cheapest, other.cost) : one.cheapest;
            }
        }
        std::stable_sort(all.begin(), all.end(), [&](const Weighed &a, const Weighed &b) {
            if (a.cheapest != b.cheapest) {
                return a.cheapest < b.cheapest;
            }
            return a.cost != b.cost ? a.cost < b.cost : a.table == announced && b.table != announced;
        });
        // Four bits count as one, for letters do not come independently.
        const auto shareOf = [&all](const Weighed &one) {
            return std::exp2((static_cast<double>(all.front().cheapest) - static_cast<double>(one.cheapest)) / 4);
        };
        double sum = 0;
        for (std::size_t i = 0; i < all.size(); ++i) {
            const auto same = [&](const Weighed &other) { return other.text == all[i].text; };
            sum += std::any_of(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(i), same) ? 0 : shareOf(all[i]);
        }
        std::vector<ModelGuess> result;
        for (const Weighed &one : all) {
            result.push_back({one.table, static_cast<unsigned int>(std::lround(shareOf(one) / sum * 10000)),
                              one.language, one.text == ownText});
        }
        return result;
    }

private:
    // A text in characters, with some that stand for none: dropped controls, U+FFFD, and of the default table alone
    // marks without a letter and bytes that leave nothing.
    static constexpr char16_t lost = 0xFFFE;
    static constexpr char16_t missing = 0xFFFF;
    static constexpr char16_t lonely = 0xDFFE;
    static constexpr char16_t nothing = 0xDFFF;

    static bool isMissing(char16_t character) {
        return character == missing || character == lonely || character == nothing;
    }

    struct Weighed {
        unsigned int table = 0;
        unsigned int cost = 0;
        unsigned int cheapest = 0; // of all that say the same
        std::string language;
        std::u16string text;
    };

    static unsigned int characterIn(unsigned int table, unsigned int byte) {
        static const std::vector<reference::Set> windows = [] {
            std::vector<reference::Set> sets;
            for (unsigned int number = 1; number <= 6; ++number) {
                sets.push_back(reference::windowsSet(number));
            }
            return sets;
        }();
        return table >= 32 ? windows[table - 32][byte] : dvbModelTables()[table][byte];
    }

    static std::optional<std::u16string> textBy(unsigned int table, const std::string &bytes) {
        return table == modelUtf8Table ? utf8Text(bytes) : tableText(table, bytes);
    }

    static std::u16string tableText(unsigned int table, const std::string &bytes) {
        std::u16string text;
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            const unsigned int byte = static_cast<unsigned char>(bytes[at]);
            const unsigned int next = at + 1 < bytes.size() ? static_cast<unsigned char>(bytes[at + 1]) : 0;
            const bool marks = table < 32 && next != 0;
            const unsigned int composed = marks ? modelCompose(modelMarkSet(table), next, byte) : 0;
            const bool mark = table == 0 && modelComposeLatin(' ', byte) != 0;
            if (composed != 0) {
                text += composed == next ? missing : static_cast<char16_t>(composed);
                ++at;
            } else if (byte < 0x20 || byte == 0x7F) {
                text += table == 0 ? lost : static_cast<char16_t>(byte);
            } else if (byte >= 0x80 && byte < 0xA0 && table < 32) {
                text += byte == 0x8A || byte == 0x86 || byte == 0x87 ? u'\n' : lost;
            } else {
                const unsigned int character = characterIn(table, byte);
                text += mark                  ? lonely
                        : character != 0xFFFD ? static_cast<char16_t>(character)
                        : table == 0          ? nothing
                                              : missing;
            }
        }
        return text;
    }

    // Nothing where the bytes are not UTF-8, but for a sequence that the look of 512 bytes cuts.
    static std::optional<std::u16string> utf8Text(const std::string &bytes) {
        std::u16string text;
        for (std::size_t at = 0; at < bytes.size();) {
            const unsigned int lead = static_cast<unsigned char>(bytes[at]);
            const std::size_t length = lead < 0x80                   ? 1
                                       : lead >= 0xC2 && lead < 0xE0 ? 2
                                       : lead >= 0xE0 && lead < 0xF0 ? 3
                                       : lead >= 0xF0 && lead < 0xF5 ? 4
                                                                     : 0;
            unsigned int character = length < 2 ? lead : lead & (0x7FU >> length);
            bool valid = length != 0 && at + length <= bytes.size();
            for (std::size_t i = 1; valid && i < length; ++i) {
                const unsigned int byte = static_cast<unsigned char>(bytes[at + i]);
                valid = (byte & 0xC0U) == 0x80;
                character = character << 6U | (byte & 0x3FU);
            }
            constexpr unsigned int least[] = {0, 0, 0x80, 0x800, 0x10000};
            valid = valid && character >= least[length] && character <= 0x10FFFF &&
                    (character < 0xD800 || character > 0xDFFF);
            if (!valid) {
                const bool cut = at + 4 > bytes.size() && bytes.size() == 512;
                return cut ? std::optional(text) : std::nullopt;
            }
            text += character > 0xFFFD ? u'\uFFFD' : static_cast<char16_t>(character);
            at += length;
        }
        return text;
    }

    static bool isLetter(char16_t character) {
        const bool named = (zelkcharGetClass(character) & CharClassLetter) != 0;
        const bool mark = character >= 0x100 && (zelkcharGetClass(character) & CharClassMark) != 0;
        const bool script = (character >= 0x370 && character < 0x1100) || character >= 0x3040;
        return character != lost && !isMissing(character) && (named || mark || script);
    }

    static unsigned int signCost(char16_t character) {
        constexpr std::u16string_view usual = u"\u00A0¡£§«®°´·»¼½¾¿©–—―‘’‚“”„•…€™♪";
        if (isMissing(character)) {
            return 40;
        }
        if (character == lost || (character < 0x20 && character != '\n' && character != '\t')) {
            return 22;
        }
        return character < 0x80 ? 0 : usual.find(character) != std::u16string_view::npos ? 5 : 14;
    }

    static unsigned int costOfSigns(const std::u16string &text) {
        const auto letterAt = [&text](std::size_t at) { return at < text.size() && isLetter(text[at]); };
        const auto capitalAt = [&](std::size_t at) { return letterAt(at) && zelk2lowerChar(text[at]) != text[at]; };
        const auto smallAt = [&](std::size_t at) { return letterAt(at) && !capitalAt(at); };
        const auto latinAt = [&text](std::size_t at) {
            return text[at] < 0x250 || (text[at] >= 0x1E00 && text[at] < 0x1F00);
        };
        constexpr std::u16string_view apostrophes = u"’‘·\u00AD";
        unsigned int cost = 0;
        for (std::size_t at = 0; at < text.size(); ++at) {
            const std::size_t before = at - 1; // of the first character a place that has none
            const bool ascii = text[at] < 0x80;
            cost += letterAt(at) ? 0 : signCost(text[at]);
            if (capitalAt(at) && smallAt(before)) {
                cost += ascii && text[before] < 0x80 ? 0 : 9;
            }
            if (smallAt(at) && !ascii && capitalAt(before) && capitalAt(before - 1)) {
                cost += 5;
            }
            if (letterAt(at) && letterAt(before) && latinAt(at) != latinAt(before)) {
                cost += 12;
            }
            if (!letterAt(at) && !ascii && letterAt(before) && letterAt(at + 1) &&
                apostrophes.find(text[at]) == std::u16string_view::npos) {
                cost += 10;
            }
        }
        return cost;
    }

    // The number of a letter in an alphabet from 1, and 0 for what is none; less for those of others.
    static constexpr int unknown = -1;
    static constexpr int foreign = -2;

    static int placeOf(const zelk::insight::models::GuessLanguage &language, char16_t character) {
        if (!isLetter(character)) {
            return 0;
        }
        const std::uint16_t *const alphabet = zelk::insight::models::guessLetters + language.letters;
        const unsigned int small = zelk2lowerChar(character);
        const std::uint16_t *const end = alphabet + language.letterCount;
        const std::uint16_t *const found = std::find(alphabet, end, small);
        if (found != end) {
            return static_cast<int>(found - alphabet) + 1;
        }
        return small < 0x80 && alphabet[0] != 'a' ? foreign : unknown;
    }

    static unsigned int costOfLetters(const zelk::insight::models::GuessLanguage &language,
                                      const std::u16string &text) {
        unsigned int cost = 0;
        int before = 0;
        for (const char16_t character : text) {
            const int now = placeOf(language, character);
            if (now < 0) {
                cost += now == unknown ? 20 : 6;
            } else if (before < 0) {
                cost += now == 0 ? 1 : 8;
            } else {
                const int cell = before * (language.letterCount + 1) + now;
                const unsigned int pair = zelk::insight::models::guessCosts[language.costs + cell / 2];
                cost += cell % 2 == 0 ? pair / 16 : pair % 16;
            }
            before = now;
        }
        return cost;
    }

    static Weighed weigh(const std::u16string &text, const std::vector<std::string> &expected) {
        Weighed best;
        for (const zelk::insight::models::GuessLanguage &language : zelk::insight::models::guessLanguages) {
            const bool isExpected =
                std::find(expected.begin(), expected.end(), language.bibliographic) != expected.end();
            const unsigned int cost = costOfLetters(language, text) + (isExpected ? 0 : 12);
            if (best.language.empty() || cost < best.cost) {
                best.cost = cost;
                best.language = language.bibliographic;
            }
        }
        best.cost += costOfSigns(text);
        best.text = text;
        return best;
    }
};

} // namespace zelk_test
