#include "tables/teletext.h"

#include <string_view>

namespace zelk::tables {

namespace {

struct Letters {
    unsigned int first; // the private code of the first letter; the others follow
    std::u16string_view letters;
};

// One row of the decoder's character generator each. Kept on purpose: where no precomposed letter was chosen, the plain
// one stands, and some letters carry another mark than their neighbours.
constexpr Letters rows[] = {
    {0xE1F5, u"κ"},
    {0xE200, u"ĽǑYďľǒťy"},
    {0xE210, u"ḼṊRẐḽṋrẑ"},
    {0xE220, u"CẼGĨLRZcẽgĩrz"},
    {0xE230, u"CGLNRŸZcglnrz"},
    {0xE240, u"ĆǴĹŃRZćǵĺńŕýź"},
    {0xE250, u"Ḱḱ"},
    {0xE260, u"Ee"},
    {0xE270, u"Ẹẹ"},
    {0xE280, u"Ėė"},
    {0xE290, u"ęį"},
    {0xE2A0, u"Όz"},
    {0xE2B0, u"e"},
};

consteval auto expandRows() {
    std::array<std::uint16_t, teletextLetterCount> codes{};
    codes.fill(u' ');
    for (const Letters &row : rows) {
        for (std::size_t i = 0; i < row.letters.size(); ++i) {
            codes.at(row.first - firstTeletextLetter + i) = row.letters[i];
        }
    }
    return codes;
}

} // namespace

constexpr std::array<std::uint16_t, teletextLetterCount> teletextLetters = expandRows();

namespace {

constexpr unsigned int at(unsigned int code) {
    return teletextLetters[code - firstTeletextLetter];
}

constexpr unsigned int letterCount() {
    unsigned int count = 0;
    for (const std::uint16_t code : teletextLetters) {
        count += code != u' ' ? 1U : 0U;
    }
    return count;
}

static_assert(letterCount() == 69);
static_assert(at(0xE1F5) == 0x03BA && at(0xE200) == 0x013D && at(0xE207) == u'y' && at(0xE208) == u' ');
static_assert(at(0xE210) == 0x1E3C && at(0xE217) == 0x1E91 && at(0xE21F) == u' ');
static_assert(at(0xE22C) == u'z' && at(0xE235) == 0x0178 && at(0xE23C) == u'z');
static_assert(at(0xE24A) == 0x0155 && at(0xE24B) == 0x00FD && at(0xE24C) == 0x017A);
static_assert(at(0xE251) == 0x1E31 && at(0xE261) == u'e' && at(0xE271) == 0x1EB9 && at(0xE281) == 0x0117);
static_assert(at(0xE290) == 0x0119 && at(0xE291) == 0x012F && at(0xE2A0) == 0x038C && at(0xE2B0) == u'e');

} // namespace

} // namespace zelk::tables
