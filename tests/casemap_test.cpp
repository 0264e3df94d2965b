// Case mapping and classes, walked whole against tables of another shape: case as pairs of letters, classes as
// stretches in code order.
#include "zelk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <map>
#include <string_view>

namespace {

// Capitals before their small letters. These map both ways.
constexpr std::u16string_view pairs =
    u"AaBbCcDdEeFfGgHhIiJjKkLlMmNnOoPpQqRrSsTtUuVvWwXxYyZz"
    u"ÀàÁáÂâÃãÄäÅåÆæÇçÈèÉéÊêËëÌìÍíÎîÏïÐðÑñÒòÓóÔôÕõÖöØøÙùÚúÛûÜüÝýÞþ"
    u"ĀāĂăĄąĆćĈĉĊċČčĎďĐđĒēĔĕĖėĘęĚěĜĝĞğĠġĢģĤĥĦħĨĩĪīĬĭĮįĲĳĴĵĶķĹĺĻļĽľĿŀŁłŃńŅņŇňŊŋŌōŎŏŐőŒœŔŕŖŗŘřŚś"
    u"ŜŝŞşŠšŢţŤťŦŧŨũŪūŬŭŮůŰűŲųŴŵŶŷŸÿŹźŻżŽž"
    u"ƵƶǍǎǏǐǑǒǓǔǦǧǨǩǪǫǴǵǸǹȊȋȘșȚțȞȟȦȧȨȩȮȯȲȳ"
    u"ΆάΈέΉήΊίΌόΎύΏώΑαΒβΓγΔδΕεΖζΗηΘθΙιΚκΛλΜμΝνΞξΟοΠπΡρΣσΤτΥυΦφΧχΨψΩωΪϊΫϋ"
    u"ЀѐЁёЂђЃѓЄєЅѕІіЇїЈјЉљЊњЋћЌќЎўЏџАаБбВвГгДдЕеЖжЗзИиЙйКкЛлМмНнОоПпРрСсТтУуФфХхЦцЧчШшЩщЪъЫыЬь"
    u"ЭэЮюЯя"
    u"ḂḃḊḋḐḑḒḓḞḟḠḡḦḧḨḩḪḫḰḱḼḽḾḿṀṁṄṅṊṋṔṕṖṗṘṙṠṡṪṫṰṱṼṽẀẁẂẃẄẅẆẇẌẍẎẏẐẑẸẹẼẽỲỳỸỹ";

struct OneWay {
    unsigned int from;
    unsigned int to;
};
constexpr OneWay onlyUpward[] = {{0x0131, 'I'},    {0x0149, 'N'}, {0x01F0, 'J'}, {0x0390, 0x03AA},
                                 {0x03B0, 0x03AB}, {0x1E97, 'T'}, {0x1E98, 'W'}, {0x1E99, 'Y'}};
constexpr OneWay onlyDownward[] = {{0x0130, 'i'}};

// A class holds from its code point to the next row's.
struct Stretch {
    unsigned int first;
    unsigned int bits;
};
// clang-format off
constexpr Stretch stretches[] = {
    {0x0000, 0x8000}, {0x0020, 0x0008}, {0x0021, 0x00A4}, {0x0022, 0x0004}, {0x0023, 0x0100}, {0x0027, 0x0004},
    {0x0028, 0x0014}, {0x0029, 0x0024}, {0x002A, 0x0100}, {0x002C, 0x0084}, {0x002D, 0x0044}, {0x002E, 0x0084},
    {0x002F, 0x0044}, {0x0030, 0x0001}, {0x003A, 0x0084}, {0x003C, 0x0114}, {0x003D, 0x0100}, {0x003E, 0x0124},
    {0x003F, 0x00A4}, {0x0040, 0x0100}, {0x0041, 0x0002}, {0x005B, 0x0014}, {0x005C, 0x0100}, {0x005D, 0x0024},
    {0x005E, 0x0400}, {0x005F, 0x0004}, {0x0060, 0x0400}, {0x0061, 0x0002}, {0x007B, 0x0014}, {0x007C, 0x0100},
    {0x007D, 0x0024}, {0x007E, 0x0004}, {0x007F, 0x0100}, {0x0080, 0x8000}, {0x00A0, 0x0008}, {0x00A1, 0x0014},
    {0x00A2, 0x0100}, {0x00A8, 0x0400}, {0x00A9, 0x0100}, {0x00AA, 0x0102}, {0x00AB, 0x0014}, {0x00AC, 0x0100},
    {0x00AD, 0x0040}, {0x00AE, 0x0100}, {0x00AF, 0x0400}, {0x00B0, 0x0100}, {0x00B2, 0x4001}, {0x00B4, 0x0400},
    {0x00B5, 0x0102}, {0x00B6, 0x0100}, {0x00B7, 0x0004}, {0x00B8, 0x0400}, {0x00B9, 0x4001}, {0x00BA, 0x0102},
    {0x00BB, 0x0024}, {0x00BC, 0x0100}, {0x00BF, 0x0014}, {0x00C0, 0x0002}, {0x00D7, 0x0100}, {0x00D8, 0x0002},
    {0x00F7, 0x0100}, {0x00F8, 0x0002}, {0x02B0, 0x0202}, {0x02B9, 0x0600}, {0x02C7, 0x0400}, {0x02C8, 0x0600},
    {0x02D8, 0x0400}, {0x02DE, 0x0600}, {0x02E0, 0x0202}, {0x02E4, 0x0600}, {0x034F, 0x0200}, {0x0350, 0x0600},
    {0x0363, 0x0202}, {0x0370, 0x0002}, {0x0374, 0x0004}, {0x0376, 0x0002}, {0x0378, 0x0000}, {0x037A, 0x0400},
    {0x037B, 0x0102}, {0x037E, 0x0084}, {0x037F, 0x0000}, {0x0384, 0x0400}, {0x0386, 0x0002}, {0x0387, 0x0400},
    {0x0388, 0x0002}, {0x038B, 0x0000}, {0x038C, 0x0002}, {0x038D, 0x0000}, {0x038E, 0x0002}, {0x03A2, 0x0000},
    {0x03A3, 0x0002}, {0x03CF, 0x0102}, {0x03D8, 0x0002}, {0x03F0, 0x0102}, {0x03F3, 0x0002}, {0x03F4, 0x0102},
    {0x03F7, 0x0002}, {0x03F9, 0x0102}, {0x03FA, 0x0002}, {0x03FC, 0x0102}, {0x0400, 0x0002}, {0x0482, 0x0100},
    {0x0483, 0x0600}, {0x0488, 0x0300}, {0x048A, 0x0002}, {0x0500, 0x0000}, {0x1E00, 0x0002}, {0x1F00, 0x0000},
    {0x2000, 0x0100}, {0x2002, 0x0008}, {0x200B, 0x0848}, {0x200D, 0x0800}, {0x2010, 0x0044}, {0x2011, 0x0004},
    {0x2018, 0x0014}, {0x2019, 0x0024}, {0x201A, 0x0014}, {0x201B, 0x0024}, {0x201C, 0x0014}, {0x201D, 0x0024},
    {0x201E, 0x0014}, {0x201F, 0x0024}, {0x2020, 0x0000}, {0x2028, 0x0800}, {0x202F, 0x0008}, {0x2030, 0x0004},
    {0x2032, 0x0024}, {0x2035, 0x0014}, {0x2038, 0x0004}, {0x2039, 0x0014}, {0x203A, 0x0024}, {0x203B, 0x0000},
    {0x204F, 0x0004}, {0x2050, 0x0000}, {0x2052, 0x0004}, {0x2053, 0x0000}, {0x2056, 0x0004}, {0x2057, 0x0000},
    {0x2058, 0x0004}, {0x205B, 0x0000}, {0x205F, 0x0008}, {0x2060, 0x0800}, {0x2065, 0x0000}, {0x206A, 0x0800},
    {0x2070, 0x4001}, {0x2071, 0x4002}, {0x2072, 0x0000}, {0x2074, 0x4001}, {0x207A, 0x4100}, {0x207B, 0x4001},
    {0x207C, 0x4100}, {0x207D, 0x4014}, {0x207E, 0x4024}, {0x207F, 0x4002}, {0x2080, 0x2001}, {0x208A, 0x2100},
    {0x208B, 0x2001}, {0x208C, 0x2100}, {0x208D, 0x2014}, {0x208E, 0x2024}, {0x208F, 0x0000}, {0x2090, 0x2002},
    {0x209D, 0x0000}, {0x20A0, 0x0100}, {0x20A1, 0x0004}, {0x20A2, 0x0100}, {0x20BA, 0x0000}, {0x20D0, 0x0200},
    {0x20DD, 0x0300}, {0x20E1, 0x0200}, {0x20E2, 0x0300}, {0x20E5, 0x0200}, {0x20E7, 0x0300}, {0x20E8, 0x0200},
    {0x20F1, 0x0000},
};
// clang-format on

using CaseMap = std::map<unsigned int, unsigned int>;

CaseMap upperMap() {
    CaseMap map;
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
        map[pairs[i + 1]] = pairs[i];
    }
    for (const OneWay entry : onlyUpward) {
        map[entry.from] = entry.to;
    }
    return map;
}

CaseMap lowerMap() {
    CaseMap map;
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
        map[pairs[i]] = pairs[i + 1];
    }
    for (const OneWay entry : onlyDownward) {
        map[entry.from] = entry.to;
    }
    return map;
}

unsigned int expected(const CaseMap &map, unsigned int code) {
    const auto found = map.find(code);
    return found == map.end() ? code & 0xFFFFU : found->second;
}

// 249 letters have two cases; the walk below would not notice a pair named twice.
TEST(CaseMap, OracleIsWhole) {
    EXPECT_EQ(pairs.size(), 2 * 249U);
    EXPECT_EQ(upperMap().size(), 249U + 8U);
    EXPECT_EQ(lowerMap().size(), 249U + 1U);
}

TEST(CaseMap, WalksEveryCodePoint) {
    const CaseMap upper = upperMap();
    const CaseMap lower = lowerMap();
    for (unsigned int code = 0; code <= 0x10FFFF; ++code) {
        ASSERT_EQ(zelk2upperChar(code), expected(upper, code)) << std::hex << code;
        ASSERT_EQ(zelk2lowerChar(code), expected(lower, code)) << std::hex << code;
    }
}

TEST(CaseMap, CodesAbove16BitsComeBackAsTheirLowHalf) {
    for (const unsigned int code : {0x10061U, 0x20041U, 0x110000U, 0x7FFFFFFFU, 0x80000061U, 0xFFFFFFFFU}) {
        EXPECT_EQ(zelk2upperChar(code), code & 0xFFFFU) << std::hex << code;
        EXPECT_EQ(zelk2lowerChar(code), code & 0xFFFFU) << std::hex << code;
        EXPECT_EQ(zelkcharGetClass(code), 0U) << std::hex << code;
    }
}

TEST(CaseMap, UpperExamples) {
    EXPECT_EQ(zelk2upperChar(0x00E9), 0x00C9);
    EXPECT_EQ(zelk2upperChar(0x00FF), 0x0178);
    EXPECT_EQ(zelk2upperChar(0x0101), 0x0100);
    EXPECT_EQ(zelk2upperChar(0x0100), 0x0100);
    EXPECT_EQ(zelk2upperChar(0x1EF9), 0x1EF8);
    EXPECT_EQ(zelk2upperChar(0x1EFA), 0x1EFA);
    EXPECT_EQ(zelk2upperChar(0x1F00), 0x1F00);
}

TEST(CaseMap, UpperDropsMarksThatHaveNoCapital) {
    EXPECT_EQ(zelk2upperChar(0x0131), 'I');
    EXPECT_EQ(zelk2upperChar(0x0149), 'N');
    EXPECT_EQ(zelk2upperChar(0x01F0), 'J');
    EXPECT_EQ(zelk2upperChar(0x0390), 0x03AA);
    EXPECT_EQ(zelk2upperChar(0x03B0), 0x03AB);
    EXPECT_EQ(zelk2upperChar(0x1E97), 'T');
    EXPECT_EQ(zelk2upperChar(0x1E98), 'W');
    EXPECT_EQ(zelk2upperChar(0x1E99), 'Y');
}

TEST(CaseMap, LettersLeftAlone) {
    for (const unsigned int code :
         {0x00B5U, 0x00DFU, 0x017FU, 0x0180U, 0x01C6U, 0x01DDU, 0x0201U, 0x024FU, 0x03C2U, 0x045DU, 0x1E01U, 0x1EA1U}) {
        EXPECT_EQ(zelk2upperChar(code), code) << std::hex << code;
    }
    for (const unsigned int code : {0x01C4U, 0x01DEU, 0x0200U, 0x040DU, 0x1E00U, 0x1EA0U}) {
        EXPECT_EQ(zelk2lowerChar(code), code) << std::hex << code;
    }
}

TEST(CaseMap, LowerExamples) {
    EXPECT_EQ(zelk2lowerChar(0x0041), 0x0061);
    EXPECT_EQ(zelk2lowerChar(0x0130), 0x0069);
    EXPECT_EQ(zelk2lowerChar(0x0178), 0x00FF);
    EXPECT_EQ(zelk2lowerChar(0x1EF8), 0x1EF9);
    EXPECT_EQ(zelk2lowerChar(0x1EF9), 0x1EF9);
}

TEST(CharClass, WalksEveryCodePoint) {
    const Stretch *stretch = stretches;
    for (unsigned int code = 0; code <= 0x10FFFF; ++code) {
        if (stretch + 1 != std::end(stretches) && stretch[1].first == code) {
            ++stretch;
        }
        ASSERT_EQ(zelkcharGetClass(code), stretch->bits) << std::hex << code;
        ASSERT_EQ(zelkcharGetClass(code) & ~0xEFFFU, 0U) << std::hex << code;
    }
    EXPECT_EQ(stretch + 1, std::end(stretches));
}

TEST(CharClass, Examples) {
    EXPECT_EQ(zelkcharGetClass('A'), CharClassLetter);
    EXPECT_EQ(zelkcharGetClass('5'), CharClassDigit);
    EXPECT_EQ(zelkcharGetClass('('), 0x0014U);
    EXPECT_EQ(zelkcharGetClass('!'), 0x00A4U);
    EXPECT_EQ(zelkcharGetClass('<'), 0x0114U);
    EXPECT_EQ(zelkcharGetClass(0x00B2), 0x4001U);
    EXPECT_EQ(zelkcharGetClass(0x200B), 0x0848U);
    EXPECT_EQ(zelkcharGetClass(0x0009), 0x8000U);
    EXPECT_EQ(zelkcharGetClass(0x0531), 0U);
    EXPECT_EQ(zelkcharGetClass(0x20F0), 0x0200U);
    EXPECT_EQ(zelkcharGetClass(0x20F1), 0U);
}

TEST(CharClass, BitsHaveTheirNames) {
    EXPECT_EQ(CharClassDigit, 0x0001);
    EXPECT_EQ(CharClassLetter, 0x0002);
    EXPECT_EQ(CharClassPunctuation, 0x0004);
    EXPECT_EQ(CharClassSpace, 0x0008);
    EXPECT_EQ(CharClassOpening, 0x0010);
    EXPECT_EQ(CharClassClosing, 0x0020);
    EXPECT_EQ(CharClassBreak, 0x0040);
    EXPECT_EQ(CharClassStop, 0x0080);
    EXPECT_EQ(CharClassSymbol, 0x0100);
    EXPECT_EQ(CharClassMark, 0x0200);
    EXPECT_EQ(CharClassModifier, 0x0400);
    EXPECT_EQ(CharClassFormat, 0x0800);
    EXPECT_EQ(CharClassSubscript, 0x2000);
    EXPECT_EQ(CharClassSuperscript, 0x4000);
    EXPECT_EQ(CharClassControl, 0x8000);
}

TEST(CharClass, ClosedBlocksAndGapsAreKept) {
    for (unsigned int code = 0x0100; code <= 0x02AF; ++code) {
        EXPECT_EQ(zelkcharGetClass(code), 0x0002U) << std::hex << code;
    }
    for (unsigned int code = 0x0500; code <= 0x1DFF; ++code) {
        EXPECT_EQ(zelkcharGetClass(code), 0U) << std::hex << code;
    }
    for (unsigned int code = 0x2020; code <= 0x2027; ++code) {
        EXPECT_EQ(zelkcharGetClass(code), 0U) << std::hex << code;
    }
}

} // namespace
