// Marks and bases of DVB text, mark by mark as the standards list them, spread into grids when compiled.
#include "tables/dvb_marks.h"

#include "detail/utf8_char.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace zelk::tables {
namespace {

using detail::continuationBits;

// One mark of the Latin grid. A letter that is not listed stays itself, so that the mark is dropped.
struct LatinMark {
    char16_t spacing;
    std::string_view letters;
    std::u16string_view composed;
};

// Column n is mark 0xC0 + n of ISO/IEC 6937, the columns of 0xC9 and 0xCC have no mark. Kept on purpose: the ring gives
// E and e the dot above, and the ogonek gives S, T, s and t the comma below.
constexpr LatinMark latinMarks[latinColumns] = {
    {0x0060, "AEINOUWYaeinouwy", u"ÀÈÌǸÒÙẀỲàèìǹòùẁỳ"},                                       // 0xC1 grave
    {0x00B4, "ACEGIKLMNOPRSUWYZacegiklmnoprsuwyz", u"ÁĆÉǴÍḰĹḾŃÓṔŔŚÚẂÝŹáćéǵíḱĺḿńóṕŕśúẃýź"},   // 0xC2 acute
    {0x005E, "ACDEGHIJLNOSTUWYZacdeghijlnostuwyz", u"ÂĈḒÊĜĤÎĴḼṊÔŜṰÛŴŶẐâĉḓêĝĥîĵḽṋôŝṱûŵŷẑ"},   // 0xC3 circumflex
    {0x007E, "AEINOUVYaeinouvy", u"ÃẼĨÑÕŨṼỸãẽĩñõũṽỹ"},                                       // 0xC4 tilde
    {0x00AF, "AEGIOUYaegiouy", u"ĀĒḠĪŌŪȲāēḡīōūȳ"},                                           // 0xC5 macron
    {0x02D8, "AEGHIOUaeghiou", u"ĂĔĞḪĬŎŬăĕğḫĭŏŭ"},                                           // 0xC6 breve
    {0x02D9, "ABCDEFGIMNOPRSTWYZabcdefgmnoprstwyz", u"ȦḂĊḊĖḞĠİṀṄȮṖṘṠṪẆẎŻȧḃċḋėḟġṁṅȯṗṙṡṫẇẏż"}, // 0xC7 dot above
    {0x00A8, "AEHIOUWXYaehiotuwxy", u"ÄËḦÏÖÜẄẌŸäëḧïöẗüẅẍÿ"},                                 // 0xC8 diaeresis
    {0x0323, "", u""},                                                                       // dot below
    {0x02DA, "AEUaeuwy", u"ÅĖŮåėůẘẙ"},                                                       // 0xCA ring
    {0x00B8, "CDEGHKLNRSTcdeghklnrst", u"ÇḐȨĢḨĶĻŅŖŞŢçḑȩģḩķļņŗşţ"},                           // 0xCB cedilla
    {0x005F, "", u""},                                                                       // low line
    {0x02DD, "OUou", u"ŐŰőű"},                                                               // 0xCD double acute
    {0x02DB, "AEIOSTUaeiostu", u"ĄĘĮǪȘȚŲąęįǫșțų"},                                           // 0xCE ogonek
    {0x02C7, "ACDEGHIKLNORSTUZacdeghijklnorstuz", u"ǍČĎĚǦȞǏǨĽŇǑŘŠŤǓŽǎčďěǧȟǐǰǩľňǒřšťǔž"},     // 0xCF caron
};

struct MarkByte {
    std::uint8_t byte;
    std::uint8_t column; // from 1
};

constexpr MarkByte iso6937Marks[] = {{0xC1, 1}, {0xC2, 2},  {0xC3, 3},  {0xC4, 4},  {0xC5, 5},  {0xC6, 6}, {0xC7, 7},
                                     {0xC8, 8}, {0xCA, 10}, {0xCB, 11}, {0xCD, 13}, {0xCE, 14}, {0xCF, 15}};
constexpr MarkByte latin1Marks[] = {{0xA8, 8}, {0xB4, 2}, {0xB8, 11}};
constexpr MarkByte greekMarks[] = {{0xA8, 1}, {0xB4, 2}, {0xB5, 3}};

// Greek capitals and small letters at their places of ISO 8859-7, with diaeresis, tonos and both.
struct GreekBase {
    std::uint8_t byte;
    std::array<char16_t, greekColumns> composed;
};

constexpr GreekBase greekBases[greekRows] = {
    {0x20, {0x00A8, 0x0384, 0x0385}}, // the marks alone
    {0xC1, {0x0391, 0x0386, 0x0391}}, // capital alpha
    {0xC5, {0x0395, 0x0388, 0x0395}}, // capital epsilon
    {0xC7, {0x0397, 0x0389, 0x0397}}, // capital eta
    {0xC9, {0x03AA, 0x038A, 0x03AA}}, // capital iota
    {0xCF, {0x039F, 0x038C, 0x039F}}, // capital omicron
    {0xD5, {0x03AB, 0x038E, 0x03AB}}, // capital upsilon
    {0xD9, {0x03A9, 0x038F, 0x03A9}}, // capital omega
    {0xE1, {0x03B1, 0x03AC, 0x03B1}}, // alpha
    {0xE5, {0x03B5, 0x03AD, 0x03B5}}, // epsilon
    {0xE7, {0x03B7, 0x03AE, 0x03B7}}, // eta
    {0xE9, {0x03CA, 0x03AF, 0x0390}}, // iota
    {0xEF, {0x03BF, 0x03CC, 0x03BF}}, // omicron
    {0xF5, {0x03CB, 0x03CD, 0x03B0}}, // upsilon
    {0xF9, {0x03C9, 0x03CE, 0x03C9}}, // omega
};

constexpr std::string_view latinBases = " ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

template <std::size_t Count>
constexpr MarkSet makeSet(const MarkByte (&marks)[Count], unsigned int grid, unsigned int columns) {
    MarkSet set{};
    for (const MarkByte mark : marks) {
        set.columnOf[mark.byte] = mark.column;
    }
    set.grid = static_cast<std::uint16_t>(grid);
    set.columns = static_cast<std::uint16_t>(columns);
    return set;
}

template <std::size_t Count>
constexpr MarkSet makeLatinSet(const MarkByte (&marks)[Count]) {
    MarkSet set = makeSet(marks, 0, latinColumns);
    for (unsigned int row = 0; row < latinRows; ++row) {
        set.rowOf[static_cast<unsigned char>(latinBases[row])] = static_cast<std::uint8_t>(row + 1);
    }
    return set;
}

constexpr unsigned int greekGrid = latinRows * latinColumns;

constexpr MarkSet makeGreekSet() {
    MarkSet set = makeSet(greekMarks, greekGrid, greekColumns);
    for (unsigned int row = 0; row < greekRows; ++row) {
        set.rowOf[greekBases[row].byte] = static_cast<std::uint8_t>(row + 1);
    }
    return set;
}

constexpr DvbMarks expand() {
    DvbMarks marks{{makeLatinSet(iso6937Marks), makeGreekSet(), makeLatinSet(latin1Marks)}, {}};
    for (unsigned int row = 0; row < latinRows; ++row) {
        const char base = latinBases[row];
        for (unsigned int column = 0; column < latinColumns; ++column) {
            const LatinMark &mark = latinMarks[column];
            const std::size_t place = mark.letters.find(base);
            char16_t composed = static_cast<unsigned char>(base);
            if (base == ' ') {
                composed = mark.spacing;
            } else if (place != std::string_view::npos) {
                composed = mark.composed[place];
            }
            marks.composed[row * latinColumns + column] = composed;
        }
    }
    for (unsigned int row = 0; row < greekRows; ++row) {
        for (unsigned int column = 0; column < greekColumns; ++column) {
            marks.composed[greekGrid + row * greekColumns + column] = greekBases[row].composed[column];
        }
    }
    return marks;
}

constexpr bool everyLetterHasItsPartner() {
    return std::ranges::all_of(latinMarks,
                               [](const LatinMark &mark) { return mark.letters.size() == mark.composed.size(); });
}

constexpr std::size_t composedLetters() {
    std::size_t count = 0;
    for (const LatinMark &mark : latinMarks) {
        count += mark.letters.size();
    }
    return count;
}

} // namespace

constexpr DvbMarks dvbMarks = expand();

constexpr std::array<std::uint16_t, 256> marksWornBy = []() {
    std::array<std::uint16_t, 256> result{};
    result.fill(1);
    for (const MarkByte mark : iso6937Marks) {
        for (const char letter : latinBases) {
            const auto base = static_cast<unsigned char>(letter);
            if (letter == ' ' || composeIn(dvbMarks, 0, base, mark.byte) != base) {
                result[base] = static_cast<std::uint16_t>(result[base] | 1U << mark.column);
            }
        }
    }
    return result;
}();

namespace {

// The characters U+00C0 to U+017F and U+0200 to U+023F by their upper bits, which UTF-8 puts into the first byte.
constexpr std::uint8_t pages[] = {0x00C0 >> continuationBits, 0x0100 >> continuationBits, 0x0140 >> continuationBits,
                                  0x0200 >> continuationBits};
constexpr unsigned int lastBits = (1U << continuationBits) - 1;

constexpr int noCode = -1;

// Eight bits for one of these characters: the number of its page and the six bits that UTF-8 puts into the last byte.
constexpr int codeOf(unsigned int character) {
    const auto *const page = std::ranges::find(pages, character >> continuationBits);
    const auto number = static_cast<unsigned int>(page - pages);
    return page == std::end(pages) ? noCode : static_cast<int>(number << continuationBits | (character & lastBits));
}

constexpr int codeOfPair(unsigned int mark, unsigned int letter) {
    return codeOf(composeIn(dvbMarks, 0, letter, mark));
}

// A letter of each case by the five bits that both have.
constexpr unsigned int capital(unsigned int bits) {
    return 0x40 | bits;
}
constexpr unsigned int small(unsigned int bits) {
    return 0x60 | bits;
}

constexpr bool composesWith(unsigned int mark, unsigned int bits) {
    return codeOfPair(mark, capital(bits)) != noCode || codeOfPair(mark, small(bits)) != noCode;
}

constexpr unsigned int firstMark = 0xC0;
constexpr unsigned int lastMark = 0xCF;

using Letters = std::array<bool, 32>; // by five bits

constexpr Letters lettersOf(unsigned int mark) {
    Letters letters{};
    for (unsigned int bits = 0; bits < letters.size(); ++bits) {
        letters[bits] = composesWith(mark, bits);
    }
    return letters;
}

// Finds a row for each mark, those with the most letters first.
class Rows {
public:
    constexpr unsigned int place(const Letters &letters) {
        unsigned int row = 0;
        while (!isFree(row, letters)) {
            ++row; // past the end of the plane there is a position too many, and the table does not compile
        }
        for (unsigned int bits = 0; bits < letters.size(); ++bits) {
            taken_[(row + bits) % taken_.size()] |= letters[bits];
        }
        return row;
    }

private:
    constexpr bool isFree(unsigned int row, const Letters &letters) const {
        if (row >= taken_.size()) {
            throw "no place for a row";
        }
        for (unsigned int bits = 0; bits < letters.size(); ++bits) {
            if (letters[bits] && taken_[(row + bits) % taken_.size()]) {
                return false;
            }
        }
        return true;
    }

    std::array<bool, 128> taken_{};
};

constexpr void putCode(MarkPlanes &planes, unsigned int mark, unsigned int letter, std::uint8_t (&characters)[128]) {
    const int code = codeOfPair(mark, letter);
    if (code == noCode) {
        return;
    }
    characters[(planes.rows[mark & 0x3FU] + letter) % 128] = static_cast<std::uint8_t>(code);
    const bool isFirst = mark < firstMark + 8;
    (isFirst ? planes.firstMarks : planes.lastMarks)[letter & 0x3FU] |= planes.bits[mark & 0x7FU];
}

consteval MarkPlanes spreadOut() {
    MarkPlanes planes{};
    for (unsigned int i = 0; i < 64; ++i) {
        const std::uint8_t page = pages[i >> 4U];
        const unsigned int firstOfPage = static_cast<unsigned int>(page) << continuationBits;
        planes.leads[i] = static_cast<std::uint8_t>(detail::leadByte(firstOfPage, 2));
        planes.lows[i] = static_cast<std::uint8_t>(firstOfPage & 0xFFU);
        planes.highs[i] = static_cast<std::uint8_t>(firstOfPage >> 8U);
    }
    std::array<std::pair<std::ptrdiff_t, unsigned int>, 16> byLetters{};
    for (unsigned int mark = firstMark; mark <= lastMark; ++mark) {
        const bool isMark = dvbMarks.sets[0].columnOf[mark] != 0;
        planes.bits[mark & 0x7FU] = static_cast<std::uint8_t>(isMark ? 1U << (mark & 7U) : 0);
        byLetters[mark - firstMark] = {-std::ranges::count(lettersOf(mark), true), mark};
    }
    std::ranges::sort(byLetters);
    Rows rows;
    for (const auto &[letters, mark] : byLetters) {
        planes.rows[mark & 0x3FU] = static_cast<std::uint8_t>(rows.place(lettersOf(mark)));
        for (unsigned int bits = 0; bits < 32; ++bits) {
            putCode(planes, mark, capital(bits), planes.capitals);
            putCode(planes, mark, small(bits), planes.smalls);
        }
    }
    return planes;
}

} // namespace

constexpr MarkPlanes markPlanes = spreadOut();

namespace {

// What a kernel finds for a mark and a letter; 0 where the planes do not have the pair.
constexpr unsigned int found(unsigned int mark, unsigned int letter) {
    const auto &sets = (mark & 8U) == 0 ? markPlanes.firstMarks : markPlanes.lastMarks;
    if ((sets[letter & 0x3FU] & markPlanes.bits[mark & 0x7FU]) == 0) {
        return 0;
    }
    const auto &characters = (letter & 0x20U) == 0 ? markPlanes.capitals : markPlanes.smalls;
    const unsigned int code = characters[(markPlanes.rows[mark & 0x3FU] + letter) % 128];
    const unsigned int page = code >> 2U;
    return static_cast<unsigned int>(markPlanes.highs[page]) << 8U | markPlanes.lows[page] | (code & lastBits);
}

// Of all pairs, those in the planes; none if one is wrong there.
constexpr unsigned int pairsFound() {
    unsigned int count = 0;
    for (unsigned int mark = firstMark; mark <= lastMark; ++mark) {
        for (unsigned int letter = 0x40; letter < 0x80; ++letter) {
            const unsigned int expected = codeOfPair(mark, letter) != noCode ? composeIn(dvbMarks, 0, letter, mark) : 0;
            if (found(mark, letter) != expected) {
                return 0;
            }
            count += expected != 0 ? 1U : 0U;
        }
    }
    return count;
}

static_assert(pairsFound() == 177);

} // namespace

static_assert(everyLetterHasItsPartner() && composedLetters() == 263);
static_assert(std::size(iso6937Marks) == 13 && latinBases.size() == latinRows && composedCount == 840);
static_assert(composeIn(dvbMarks, 0, 'e', 0xC2) == 0x00E9 && composeIn(dvbMarks, 0, ' ', 0xC2) == 0x00B4);
static_assert(composeIn(dvbMarks, 0, 'B', 0xC2) == 'B' && composeIn(dvbMarks, 0, '1', 0xC2) == 0);
static_assert(composeIn(dvbMarks, 0, 'E', 0xCA) == 0x0116 && composeIn(dvbMarks, 0, 'S', 0xCE) == 0x0218);
static_assert(composeIn(dvbMarks, 0, 'e', 0xC9) == 0 && composeIn(dvbMarks, 0, 'e', 0xCC) == 0);
static_assert(composeIn(dvbMarks, 1, 0xE9, 0xB5) == 0x0390 && composeIn(dvbMarks, 1, 'e', 0xB5) == 0);
static_assert(composeIn(dvbMarks, 2, 'u', 0xA8) == 0x00FC && composeIn(dvbMarks, 2, 'c', 0xB8) == 0x00E7);

} // namespace zelk::tables
